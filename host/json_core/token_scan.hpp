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

OSTRA_INLINE const char* StrictReader::readNumber(const char* at, rapidjson::Value* value) {
    constexpr std::size_t mostDigits = 19; // never more than 64 bits
    const char* const number = at;
    const bool negative = *at == '-';
    at += negative ? 1 : 0;
    const char* const digits = at;
    std::uint64_t magnitude = 0;
    for (unsigned digit = digitAt(at); digit <= 9; digit = digitAt(++at)) {
        magnitude = magnitude * 10 + digit;
    }
    std::ptrdiff_t count = at - digits;
    if (static_cast<std::size_t>(count - 1) >= mostDigits || (count > 1 && *digits == '0'))
        [[unlikely]] {
        return count <= static_cast<std::ptrdiff_t>(mostDigits) ? nullptr
                                                                : readLongNumber(number, value);
    }
    const auto isExponent = [](char c) { return (c | 0x20) == 'e'; };
    if (*at <= ',' || (*at != '.' && !isExponent(*at))) { // behind most integers there is a comma
        if (negative && magnitude > std::uint64_t{1} << 63U) [[unlikely]] {
            return readLongNumber(number, value);
        }
        storeValue(value, negative ? 0 - magnitude : magnitude,
                   base::RawValue::integerWord(magnitude, negative && magnitude != 0));
        return at;
    }
    std::int64_t exponent = 0;
    if (*at == '.') {
        static constexpr std::uint64_t powers[] = {1,      10,      100,      1000,     10000,
                                                   100000, 1000000, 10000000, 100000000};
        const char* const fraction = ++at;
        std::uint64_t eight = eightDigits(at);
        unsigned more = countDigits(eight);
        if (more == 0) [[unlikely]] {
            return nullptr;
        }
        if (more == 8) {
            magnitude = magnitude * powers[8] + joinDigits(eight);
            at += 8;
            eight = eightDigits(at);
            more = countDigits(eight);
            if (more == 8) {
                magnitude = magnitude * powers[8] + joinDigits(eight);
                at += 8;
                eight = eightDigits(at);
                more = countDigits(eight);
            }
        }
        if (more != 0) {
            magnitude = magnitude * powers[more] + joinDigits(eight << (64 - 8 * more));
            at += more;
        }
        exponent = fraction - at;
        count -= exponent;
    }
    if (count > static_cast<std::ptrdiff_t>(mostDigits)) [[unlikely]] {
        return readLongNumber(number, value);
    }
    if (isExponent(*at)) {
        ++at;
        const bool minus = *at == '-';
        at += minus || *at == '+' ? 1 : 0;
        std::uint64_t written = 0;
        const char* const begin = at;
        for (unsigned digit = digitAt(at); digit <= 9; digit = digitAt(++at)) {
            written = written * 10 + digit;
        }
        if (at == begin || at - begin > 5) [[unlikely]] { // none, or many
            return readLongNumber(number, value);
        }
        exponent += static_cast<std::int64_t>(minus ? 0 - written : written);
    }
    const std::uint64_t bits = nearestDoubleBits(magnitude, exponent);
    if (bits >= firstNonFinite) [[unlikely]] {
        return readLongNumber(number, value);
    }
    storeValue(value, bits | std::uint64_t{negative} << 63U, base::RawValue::realWord);
    return at;
}

} // namespace ostra::io::json::core
