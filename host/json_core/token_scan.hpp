#pragma once

/// The strict reader's ways through short tokens, to be inlined into its state machine.
///
/// All return where they stopped. Those of values return null where the token is not strict JSON,
/// and write a value that is not on the stack yet.

#include "decimal.hpp"
#include "strict_reader.hpp"
#include "text_scan.hpp"

#include <array>

namespace ostra::io::json::core {

/// @param usual  how many bytes of white space there were last time; kept up to date.
OSTRA_INLINE const char* StrictReader::skipSpace(const char* at, std::size_t& usual) {
    if (static_cast<unsigned char>(*at) > ' ') {
        return at;
    }
    std::uint32_t other = notSpace(at);
    if (other == 0) {
        other = notSpace(at + 16) << 16U;
        if (other == 0) [[unlikely]] {
            return skipLongSpace(at + 32);
        }
    }
    const auto count = static_cast<std::size_t>(std::countr_zero(other));
    // Lines of one container are indented alike. As a branch, which is nearly always foretold, this
    // lets the processor go on before it has counted: a quarter faster on indented text.
    if (anyNumber(usual) == count) [[likely]] {
        return at + usual;
    }
    usual = count;
    return at + count;
}

/// @param at  behind the opening quote.
OSTRA_INLINE const char* StrictReader::readString(const char* at, rapidjson::Value* value) {
    const __m128i block = loadVector(at);
    const std::uint32_t special = specialInString(block);
    if (special != 0) [[likely]] {
        const auto length = static_cast<std::size_t>(std::countr_zero(special));
        if (at[length] == '"') [[likely]] {
            storeShortString(value, block, length);
            return at + length + 1;
        }
    }
    return readLongString(at, value);
}

OSTRA_INLINE const char* StrictReader::readLiteral(const char* at, rapidjson::Value* value) {
    const auto word = [](const char(&text)[5]) {
        return std::bit_cast<std::uint32_t>(std::array{text[0], text[1], text[2], text[3]});
    };
    const auto found = loadWord<std::uint32_t>(at);
    if (found == word("null")) {
        storeValue(value, std::uint64_t{0}, base::RawValue::nullWord);
        return at + 4;
    }
    if (found == word("true")) {
        storeValue(value, std::uint64_t{0}, base::RawValue::trueWord);
        return at + 4;
    }
    if (found == word("fals") && at[4] == 'e') {
        storeValue(value, std::uint64_t{0}, base::RawValue::falseWord);
        return at + 5;
    }
    return nullptr;
}

OSTRA_INLINE const char* StrictReader::readNumber(const char* at, rapidjson::Value* value, std::size_t& usualDigits) {
    constexpr std::size_t mostDigits = 19; // never more than 64 bits
    const char* const number = at;
    const std::uint64_t negative = *at == '-' ? 1 : 0;
    const auto withSign = [negative](std::uint64_t magnitude) {
        return static_cast<std::int64_t>((magnitude ^ (0 - negative)) + negative);
    };
    at += negative;
    const char* const digits = at;
    std::uint64_t magnitude = 0;
    for (unsigned digit = digitAt(at); digit <= 9; digit = digitAt(++at)) {
        magnitude = magnitude * 10 + digit;
    }
    auto count = static_cast<std::size_t>(at - digits);
    if (count - 1 >= mostDigits) [[unlikely]] {
        return count == 0 ? nullptr : readLongNumber(number, value);
    }
    if (*digits == '0' && count != 1) [[unlikely]] {
        return nullptr;
    }
    if (*at == '.') {
        const char* const fraction = ++at;
        std::uint64_t eight = eightDigits(at);
        unsigned more = countDigits(eight);
        if (more == 0) [[unlikely]] {
            return nullptr;
        }
        if (more == 8) {
            magnitude = magnitude * powersOfTen[8] + joinDigits(eight);
            at += 8;
            eight = eightDigits(at);
            more = countDigits(eight);
            if (more == 8) {
                magnitude = magnitude * powersOfTen[8] + joinDigits(eight);
                at += 8;
                eight = eightDigits(at);
                more = countDigits(eight);
            }
        }
        if (more != 0) {
            magnitude = magnitude * powersOfTen[more] + joinDigits(eight << (64 - 8 * more));
            if (anyNumber(usualDigits) == more) [[likely]] {
                at += usualDigits;
            } else {
                usualDigits = more;
                at += more;
            }
        }
        const auto fractionDigits = static_cast<std::size_t>(at - fraction);
        count += fractionDigits;
        // A magnitude of 0 goes another way, for its sign.
        if (magnitude - 1 < largestExact && count <= mostDigits && !isExponentMark(*at))
            [[likely]] {
            const double nearest = static_cast<double>(withSign(magnitude)) /
                                   fast_float::powers_of_ten_double[fractionDigits];
            storeValue(value, _mm_castpd_si128(_mm_set_sd(nearest)), base::RawValue::realWord);
            return at;
        }
        if (count <= mostDigits) {
            return readExponent(at, number, magnitude, fractionDigits, value);
        }
        return readLongNumber(number, value);
    }
    if (isExponentMark(*at)) [[unlikely]] {
        return readExponent(at, number, magnitude, 0, value);
    }
    constexpr std::uint64_t largestSmall = 0x7FFFFFFF;
    if (magnitude <= largestSmall) [[likely]] {
        const std::int64_t small = withSign(magnitude);
        storeValue(value, static_cast<std::uint64_t>(small),
                   base::RawValue::integerWord(0, small < 0));
        return at;
    }
    if (negative != 0 && magnitude > std::uint64_t{1} << 63U) {
        return readLongNumber(number, value);
    }
    storeValue(value, static_cast<std::uint64_t>(withSign(magnitude)),
               base::RawValue::integerWord(magnitude, negative != 0));
    return at;
}

} // namespace ostra::io::json::core
