/// The strict reader's ways through tokens of any length, with a look at the end of the text.

#include "decimal.hpp"
#include "number_text.hpp"
#include "strict_reader.hpp"
#include "text_scan.hpp"

#include <algorithm>
#include <charconv>
#include <optional>

namespace ostra::io::json::core {

namespace {

constexpr std::size_t vectorSize = sizeof(__m128i);

/// More than a vector, an escape, and a zero.
constexpr std::ptrdiff_t longestStep = 32;

/// @return what `\` and a character stand for, 0 where they are no such escape.
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

/// The values of hexadecimal digits; negative for all else.
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

/// @return the number of four hexadecimal digits; negative where they are no such.
OSTRA_INLINE int hexUnit(const char* at) {
    const auto digit = [at](std::size_t i) {
        return int{hexDigits[static_cast<unsigned char>(at[i])]};
    };
    return digit(0) << 12 | digit(1) << 8 | digit(2) << 4 | digit(3);
}

/// Writes a code point above U+007F, no surrogate; touches four bytes.
/// @return behind it.
OSTRA_INLINE char* writeUtf8(char* to, unsigned codePoint) {
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

/// Reads the escape at `at`, at most 12 bytes of text, into at most as many.
/// @return behind it, null where it is none.
OSTRA_INLINE const char* readEscape(const char* at, char*& to) {
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

/// @param at  within a string, behind an escape or none.
/// @return the quote that ends it, or a control character; `end` where there is neither.
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

/// Writes a string of any length that stands at the storage's free place.
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

/// @return where digits end that begin at `at`.
const char* skipDigits(const char* at, const char* end) {
    return std::find_if(at, end, [](char c) { return c < '0' || c > '9'; });
}

/// @return where the number ends that begins at `at`, null where it is none by JSON's grammar.
const char* findNumberEnd(const char* at, const char* end, bool& isInteger) {
    at += *at == '-' ? 1 : 0;
    const char* const digits = at;
    at = skipDigits(at, end);
    bool right = at != digits && (*digits != '0' || at - digits == 1);
    isInteger = true;
    if (at != end && *at == '.') {
        const char* const fraction = at + 1;
        at = skipDigits(fraction, end);
        right = right && at != fraction;
        isInteger = false;
    }
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        at += at != end && (*at == '+' || *at == '-') ? 1 : 0;
        const char* const exponent = at;
        at = skipDigits(exponent, end);
        right = right && at != exponent;
        isInteger = false;
    }
    return right ? at : nullptr;
}

} // namespace

/// Goes on with white space that is at least as long as has been skipped.
const char* StrictReader::skipLongSpace(const char* at) {
    for (;;) {
        if (!inTail_ && end_ - at <= static_cast<std::ptrdiff_t>(scanAhead)) {
            at = enterTail(at);
        }
        const std::uint32_t other = notSpace(at); // in the tail there are zeros at last
        if (other != 0) {
            return at + lowestBit(other);
        }
        at += vectorSize;
    }
}

/// @param at  behind the opening quote.
const char* StrictReader::readLongString(const char* at, rapidjson::Value* value) {
    char* to = storage_.free();
    __m128i seen = seen_;
    for (;;) {
        // Up to here neither side comes to an end, whatever one step of the loop does.
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

/// Moves the string that is being written to a place where there is room for all of it.
/// @param at  the text that is next.
/// @param to  where it goes.
/// @return whether the text has an end of it.
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

/// A number that begins like one, of up to 19 digits as a rule.
const char* StrictReader::readWideNumber(const char* number, rapidjson::Value* value) {
    constexpr std::size_t mostDigits = 19; // never more than 64 bits
    const std::uint64_t negative = *number == '-' ? 1 : 0;
    const char* const digits = number + negative;
    const char* at = digits;
    std::uint64_t magnitude = 0;
    for (unsigned digit = digitAt(at); digit <= 9; digit = digitAt(++at)) {
        magnitude = magnitude * 10 + digit;
    }
    const auto count = static_cast<std::size_t>(at - digits);
    if (count > mostDigits) {
        return readLongNumber(number, value);
    }
    if (*at == '.' || isExponentMark(*at)) {
        return readFraction(at, number, magnitude, value);
    }
    if (negative != 0 && magnitude > std::uint64_t{1} << 63U) {
        return readLongNumber(number, value);
    }
    storeValue(value, (magnitude ^ (0 - negative)) + negative,
               base::RawValue::integerWord(magnitude, negative != 0));
    return at;
}

/// The rest of a number, from the point or the exponent that is at `at` on.
/// @param magnitude  of the digits in front, at most 19.
const char* StrictReader::readFraction(const char* at, const char* number, std::uint64_t magnitude,
                                       rapidjson::Value* value) {
    std::size_t fractionDigits = 0;
    if (*at == '.') {
        const char* const fraction = ++at;
        Digits digits = loadDigits(at);
        if (digits.count == 0) {
            return nullptr;
        }
        for (int eights = 0; digits.count == 8 && eights < 2; ++eights) {
            magnitude = magnitude * powersOfTen[8] + joinDigits(digits);
            at += digits.count;
            digits = loadDigits(at);
        }
        magnitude = magnitude * powersOfTen[digits.count] + joinDigits(digits);
        at += digits.count;
        fractionDigits = static_cast<std::size_t>(at - fraction);
        constexpr std::ptrdiff_t mostDigits = 19;
        if (at - number > mostDigits + 1 + (*number == '-' ? 1 : 0)) {
            return readLongNumber(number, value);
        }
    }
    return readExponent(at, number, magnitude, fractionDigits, value);
}

/// The rest of a number, from the exponent on that may be at `at`.
/// @param magnitude  of all digits in front, at most 19.
const char* StrictReader::readExponent(const char* at, const char* number, std::uint64_t magnitude,
                                       std::size_t fractionDigits, rapidjson::Value* value) {
    auto exponent = -static_cast<std::int64_t>(fractionDigits);
    if (isExponentMark(*at)) {
        ++at;
        const bool minus = *at == '-';
        at += minus || *at == '+' ? 1 : 0;
        const char* const begin = at;
        std::uint64_t written = 0;
        for (unsigned digit = digitAt(at); digit <= 9; digit = digitAt(++at)) {
            written = written * 10 + digit;
        }
        constexpr std::ptrdiff_t usual = 5;
        if (at == begin || at - begin > usual) {
            return readLongNumber(number, value);
        }
        exponent += static_cast<std::int64_t>(minus ? 0 - written : written);
    }
    const std::uint64_t bits = nearestDoubleBits(magnitude, exponent);
    if (bits >= firstNonFinite) {
        return readLongNumber(number, value);
    }
    storeValue(value, bits | std::uint64_t{*number == '-'} << 63U, base::RawValue::realWord);
    return at;
}

/// A number that no 64-bit integer holds the digits of, or that has no usual exponent; at `number`.
const char* StrictReader::readLongNumber(const char* number, rapidjson::Value* value) {
    bool isInteger = false;
    const char* const at = findNumberEnd(number, end_, isInteger);
    if (at == nullptr) {
        return nullptr;
    }
    std::int64_t whole = 0;
    std::uint64_t natural = 0;
    if (isInteger && std::from_chars(number, at, whole).ec == std::errc()) {
        ::new (value) rapidjson::Value(whole);
    } else if (isInteger && std::from_chars(number, at, natural).ec == std::errc()) {
        ::new (value) rapidjson::Value(natural);
    } else {
        const auto nearest = nearestDouble({number, static_cast<std::size_t>(at - number)});
        if (!nearest) {
            return nullptr;
        }
        ::new (value) rapidjson::Value(*nearest);
    }
    return !inTail_ && end_ - at <= static_cast<std::ptrdiff_t>(scanAhead) ? enterTail(at) : at;
}

} // namespace ostra::io::json::core
