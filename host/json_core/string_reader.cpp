/// Strings of any length, with escapes, for the strict reader.

#include "strict_reader.hpp"
#include "text_scan.hpp"

#include <algorithm>
#include <array>

namespace ostra::io::json::core {

namespace {

constexpr std::size_t vectorSize = sizeof(__m128i);

/// More than one step of the loop writes: a vector, an escape, and the final zero.
constexpr std::ptrdiff_t longestStep = 32;

/// What a backslash and a character stand for; 0 if they are not an escape.
constexpr std::array<char, 256> simpleEscapes = [] {
    std::array<char, 256> result{};
    result['"'] = '"';
    result['\\'] = '\\';
    result['/'] = '/';
    result['b'] = '\b';
    result['f'] = '\f';
    result['n'] = '\n';
    result['r'] = '\r';
    result['t'] = '\t';
    return result;
}();

/// The values of hexadecimal digits; negative for all other bytes.
constexpr std::array<std::int8_t, 256> hexDigits = [] {
    std::array<std::int8_t, 256> result{};
    for (std::size_t c = 0; c < result.size(); ++c) {
        const auto from = [c](char first, char last) {
            return c >= static_cast<unsigned char>(first) && c <= static_cast<unsigned char>(last);
        };
        const std::size_t value = from('0', '9')   ? c - '0'
                                  : from('a', 'f') ? c - 'a' + 10
                                  : from('A', 'F') ? c - 'A' + 10
                                                   : 0xFF;
        result[c] = static_cast<std::int8_t>(value);
    }
    return result;
}();

/// @return the value of four hexadecimal digits; negative if one of them is not.
[[gnu::always_inline]] inline int hexUnit(const char* at) {
    const auto digit = [at](std::size_t i) {
        return int{hexDigits[static_cast<unsigned char>(at[i])]};
    };
    return digit(0) << 12 | digit(1) << 8 | digit(2) << 4 | digit(3);
}

/// Writes a code point above U+007F that is not a surrogate; may write up to four bytes.
/// @return the position after it.
[[gnu::always_inline]] inline char* writeUtf8(char* to, unsigned codePoint) {
    const auto tail = [codePoint](unsigned shift) {
        return 0x80U | ((codePoint >> shift) & 0x3FU);
    };
    const auto write = [to](unsigned bytes, std::size_t count) {
        std::memcpy(to, &bytes, sizeof bytes);
        return to + count;
    };
    if (codePoint < 0x800) {
        return write(0xC0U | codePoint >> 6U | tail(0) << 8U, 2);
    }
    if (codePoint < 0x10000) {
        return write(0xE0U | codePoint >> 12U | tail(6) << 8U | tail(0) << 16U, 3);
    }
    return write(0xF0U | codePoint >> 18U | tail(12) << 8U | tail(6) << 16U | tail(0) << 24U, 4);
}

/// Reads the escape at `at`, at most 12 bytes.
/// @return the position after it, null if it is malformed.
[[gnu::always_inline]] inline const char* readEscape(const char* at, char*& to) {
    if (at[1] != 'u') {
        const char character = simpleEscapes[static_cast<unsigned char>(at[1])];
        *to++ = character;
        return character != 0 ? at + 2 : nullptr;
    }
    const int unit = hexUnit(at + 2);
    at += 6;
    if (unit < 0x80) {
        *to++ = static_cast<char>(unit);
        return unit >= 0 ? at : nullptr;
    }
    auto codePoint = static_cast<unsigned>(unit);
    if ((codePoint & 0xF800U) == 0xD800U) {
        const int low = at[0] == '\\' && at[1] == 'u' ? hexUnit(at + 2) : -1;
        if (codePoint >= 0xDC00 || low < 0xDC00 || low > 0xDFFF) {
            return nullptr;
        }
        codePoint = 0x10000 + ((codePoint - 0xD800) << 10U) + (static_cast<unsigned>(low) - 0xDC00);
        at += 6;
    }
    to = writeUtf8(to, codePoint);
    return at;
}

/// @param at  inside a string, not inside an escape.
/// @return the quote that ends the string, or a control character; `end` if there is neither.
const char* findStringEnd(const char* at, const char* end) {
    while (at < end) {
        if (end - at >= static_cast<std::ptrdiff_t>(vectorSize)) {
            const std::uint32_t special = specialInString(loadVector(at));
            if (special == 0) {
                at += vectorSize;
                continue;
            }
            at += lowestBit(special);
        }
        if (*at == '"' || static_cast<unsigned char>(*at) < 0x20) {
            return at;
        }
        at += *at == '\\' ? 2 : 1;
    }
    return end;
}

/// Makes a value of the string that lies in the free part of the storage, up to `end`.
void finishString(rapidjson::Value* value, ValueStorage& storage, const char* end) {
    char* const copy = storage.free();
    const auto length = static_cast<std::size_t>(end - copy);
    if (length > base::RawValue::longestInline) {
        copy[length] = '\0';
        storage.commit(length + 1);
        storeValue(value, length,
                   base::RawValue::stringWord | reinterpret_cast<std::uintptr_t>(copy));
    } else if (length < vectorSize) {
        storeShortString(value, loadVector(copy), length);
    } else {
        const std::uint64_t wanted = (std::uint64_t{1} << (8 * (length - vectorSize))) - 1;
        storeValue(value, loadVector(copy),
                   base::RawValue::inlineWord(length) |
                       (loadWord<std::uint64_t>(copy + vectorSize) & wanted));
    }
}

} // namespace

/// @param at  after the opening quote.
const char* StrictReader::readLongString(const char* at, rapidjson::Value* value) {
    char* to = storage_.free();
    __m128i seen = seen_;
    for (;;) {
        // Before `stop`, one step of the loop can run into neither the end of the text nor that of
        // the storage.
        const std::ptrdiff_t source = inTail_ ? end_ - at + 1 : end_ - at - longestStep;
        const std::ptrdiff_t room = storage_.free() + storage_.room() - to - longestStep;
        const char* const stop = at + std::min(source, room);
        while (at < stop) {
            const __m128i block = loadVector(at);
            seen = _mm_or_si128(seen, block);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
            const std::uint32_t special = specialInString(block);
            if (special == 0) {
                at += vectorSize;
                to += vectorSize;
                continue;
            }
            at += lowestBit(special);
            to += lowestBit(special);
            if (*at == '"') {
                seen_ = seen;
                finishString(value, storage_, to);
                ++at;
                return !inTail_ && end_ - at <= static_cast<std::ptrdiff_t>(scanAhead)
                           ? enterTail(at)
                           : at;
            }
            if (*at != '\\') {
                return nullptr;
            }
            do {
                at = readEscape(at, to);
                if (at == nullptr) {
                    return nullptr;
                }
            } while (*at == '\\' && at < stop);
        }
        if (source > room) {
            if (!makeRoomForString(at, to)) {
                return nullptr;
            }
        } else if (inTail_) {
            return nullptr;
        } else {
            at = enterTail(at);
        }
    }
}

/// Moves a partly written string to a block with room for all of it.
/// @param at  the rest of the string in the text.
/// @param to  where that goes; updated.
/// @return false if the string has no end.
bool StrictReader::makeRoomForString(const char* at, char*& to) {
    const char* const stringEnd = findStringEnd(at, end_);
    const char* const begin = storage_.free();
    const auto done = static_cast<std::size_t>(to - begin);
    const auto rest = static_cast<std::size_t>(stringEnd - at);
    storage_.require(done + rest + 2 * longestStep);
    std::copy_n(begin, done, storage_.free());
    to = storage_.free() + done;
    return stringEnd != end_;
}

} // namespace ostra::io::json::core
