/// Strings of any length, with escapes, for the strict reader.

#include "strict_reader.hpp"
#include "string_escapes.hpp"
#include "text_scan.hpp"

#include <algorithm>

namespace ostra::io::json::core {

namespace {

constexpr std::size_t vectorSize = sizeof(__m128i);

/// More than one step of the loop writes: a vector, an escape, and the final zero.
constexpr std::ptrdiff_t longestStep = 32;

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
