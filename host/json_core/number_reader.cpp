/// Numbers of any length, with exponents, for the strict reader.

#include "decimal.hpp"
#include "nearest_double.hpp"
#include "strict_reader.hpp"
#include "text_scan.hpp"

#include <algorithm>
#include <charconv>

namespace ostra::io::json::core {

namespace {

/// @return the position after the digits at `at`.
const char* skipDigits(const char* at, const char* end) {
    return std::find_if(at, end, [](char c) { return c < '0' || c > '9'; });
}

/// @return the position after the number at `at`, null if it violates JSON's grammar.
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

/// A number with more than nine digits before the decimal point.
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

/// The rest of a number from its decimal point or exponent on, which is at `at`.
/// @param magnitude  the value of the digits before it, at most 19.
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

/// The rest of a number from its exponent on, which may be at `at`.
/// @param magnitude  the value of all digits before it, at most 19.
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

/// The slow way, for numbers of more than 19 digits, out of range, with an unusual exponent, or
/// undecided by the fast ones.
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
        if (!nearest || (isInteger && bigIntegers_ == BigIntegerRule::Refuse)) {
            return nullptr;
        }
        ::new (value) rapidjson::Value(*nearest);
        if (isInteger && bigIntegers_ == BigIntegerRule::RoundAndMark) {
            builder_.markBigInteger(*value);
        }
    }
    return !inTail_ && end_ - at <= static_cast<std::ptrdiff_t>(scanAhead) ? enterTail(at) : at;
}

} // namespace ostra::io::json::core
