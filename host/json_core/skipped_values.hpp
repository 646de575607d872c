#pragma once

/// Values that nobody wants: the short ones, to be inlined into the reading of records.

#include "projected_reader.hpp"
#include "token_scan.hpp"

namespace ostra::io::json::core {

/// @param at  after the opening quote.
[[gnu::always_inline]] inline const char* ProjectedReader::skipString(const char* at,
                                                                      __m128i& seen) {
    const __m128i block = loadVector(at);
    const std::uint32_t special = specialInString(block);
    if (special != 0 && at[lowestBit(special)] == '"') [[likely]] {
        seen = _mm_or_si128(seen, block);
        return at + lowestBit(special) + 1;
    }
    return skipLongString(at);
}

/// Numbers of up to 19 digits or so without an exponent have no trouble but their form.
[[gnu::always_inline]] inline const char* ProjectedReader::skipNumber(const char* number) {
    constexpr std::ptrdiff_t most = 10;
    const char* at = number + (*number == '-' ? 1 : 0);
    const char* const first = at;
    while (digitAt(at) <= 9 && at - first < most) {
        ++at;
    }
    Value value;
    const bool isOdd = at == first || (*first == '0' && at != first + 1) || digitAt(at) <= 9;
    if (isOdd) [[unlikely]] {
        return readNumber(number, &value);
    }
    if (*at == '.') {
        const std::size_t digits = loadDigits(at + 1).count;
        at += 1 + digits;
        if (digits == 8) {
            at += loadDigits(at).count;
        }
        if (digits == 0 || digitAt(at) <= 9) [[unlikely]] {
            return readNumber(number, &value);
        }
    }
    return isExponentMark(*at) ? readNumber(number, &value) : at;
}

/// @param seen  the bytes of a string are ORed into it.
[[gnu::always_inline]] inline const char* ProjectedReader::skipValue(const char* at,
                                                                     __m128i& seen) {
    switch (*at) {
    case '"':
        return skipString(at + 1, seen);
    case '{':
    case '[':
        return skipContainer(at);
    case 't':
    case 'f':
    case 'n': {
        Value value;
        return readLiteral(at, &value);
    }
    default:
        return skipNumber(at);
    }
}

} // namespace ostra::io::json::core
