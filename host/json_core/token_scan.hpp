#pragma once

/// Short tokens of the strict reader, inlined into its state machine; everything else is passed on
/// to functions in other files.
///
/// All return the position after the token. Those that read a value write it to a slot that is not
/// yet on the stack, and return null if the token is not strict JSON.

#include "decimal.hpp"
#include "strict_reader.hpp"
#include "text_scan.hpp"

#include <array>

namespace ostra::io::json::core {

/// @param usual  the length of the white space last skipped here; updated.
[[gnu::always_inline]] inline const char* StrictReader::skipSpace(const char* at,
                                                                  std::size_t& usual) {
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
    const auto count = lowestBit(other);
    // The lines of a container are indented alike. A branch on that, which is nearly always
    // predicted, lets the processor go on before the count is known: 20 to 28 % on indented text.
    if (anyNumber(usual) == count) [[likely]] {
        return at + usual;
    }
    usual = count;
    return at + count;
}

/// @param at    after the opening quote.
/// @param seen  the bytes of the string, and a few after it, are ORed into it.
[[gnu::always_inline]] inline const char*
StrictReader::readString(const char* at, rapidjson::Value* value, __m128i& seen) {
    const __m128i block = loadVector(at);
    seen = _mm_or_si128(seen, block);
    const auto mask = [](__m128i bytes) {
        return static_cast<std::uint32_t>(_mm_movemask_epi8(bytes));
    };
    const std::uint32_t quotes = mask(_mm_cmpeq_epi8(block, _mm_set1_epi8('"')));
    const __m128i lastControl = _mm_set1_epi8(0x1F);
    const std::uint32_t other =
        mask(_mm_or_si128(_mm_cmpeq_epi8(_mm_max_epu8(block, lastControl), lastControl),
                          _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'))));
    if (quotes != 0 && ((quotes ^ (quotes - 1)) & other) == 0) [[likely]] {
        const auto length = lowestBit(quotes);
        storeShortString(value, block, length);
        return at + length + 1;
    }
    return readLongString(at, value);
}

[[gnu::always_inline]] inline const char* StrictReader::readLiteral(const char* at,
                                                                    rapidjson::Value* value) {
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

/// Handles up to nine digits before the decimal point, and 19 or so in all, without an exponent.
[[gnu::always_inline]] inline const char* StrictReader::readNumber(const char* at,
                                                                   rapidjson::Value* value) {
    const char* const number = at;
    const std::uint64_t negative = *at == '-' ? 1 : 0;
    at += negative;
    std::uint64_t magnitude = digitAt(at);
    std::size_t count = 1;
    if (magnitude - 1 < 9) [[likely]] {
        constexpr std::size_t most = 9;
#pragma GCC unroll 9
        for (; count <= most; ++count) {
            const unsigned digit = digitAt(at + count);
            if (digit > 9) {
                break;
            }
            magnitude = magnitude * 10 + digit;
        }
        if (count > most) [[unlikely]] {
            return readWideNumber(number, value);
        }
    } else if (magnitude != 0 || digitAt(at + 1) <= 9) [[unlikely]] {
        return nullptr;
    }
    at += count;
    if (*at > ',') { // most integers are followed by a comma or white space
        if (*at == '.') {
            const char* const fraction = at + 1;
            Digits digits = loadDigits(fraction);
            if (digits.count == 0) [[unlikely]] {
                return nullptr;
            }
            std::uint64_t all = magnitude * powersOfTen[digits.count] + joinDigits(digits);
            std::size_t fractionDigits = digits.count;
            if (digits.count == 8) {
                digits = loadDigits(fraction + 8);
                all = all * powersOfTen[digits.count] + joinDigits(digits);
                fractionDigits += digits.count;
                if (digits.count == 8) {
                    digits = loadDigits(fraction + 16);
                    all = all * powersOfTen[digits.count] + joinDigits(digits);
                    fractionDigits += digits.count;
                }
                if (count + fractionDigits > 19 + (magnitude == 0 ? 1 : 0)) [[unlikely]] {
                    return readFraction(at, number, magnitude, value);
                }
            }
            // Predicting this length as that of white space does not pay: trailing zeros are not
            // written, so one number in five is shorter or longer than the rest.
            at = fraction + fractionDigits;
            if (isExponentMark(*at)) [[unlikely]] {
                return readExponent(at, number, all, fractionDigits, value);
            }
            if (all <= largestExact) {
                storeReal(value,
                          static_cast<double>(static_cast<std::int64_t>(all)) /
                              fast_float::powers_of_ten_double[fractionDigits],
                          negative);
                return at;
            }
            const std::uint64_t bits =
                nearestByTable(all, -static_cast<std::int64_t>(fractionDigits));
            if (bits >= firstNonFinite) [[unlikely]] {
                return readLongNumber(number, value);
            }
            storeValue(value, bits | negative << 63U, base::RawValue::realWord);
            return at;
        }
        if (isExponentMark(*at)) [[unlikely]] {
            return readExponent(at, number, magnitude, 0, value);
        }
    }
    const auto small = static_cast<std::int64_t>((magnitude ^ (0 - negative)) + negative);
    storeValue(value, static_cast<std::uint64_t>(small), base::RawValue::integerWord(0, small < 0));
    return at;
}

} // namespace ostra::io::json::core
