#include "nearest_double.hpp"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>

namespace ostra::io::json::core {

namespace {

/// Numbers up to this length go to `std::from_chars` as they are. It keeps exponents and digit
/// counts in narrow integers, so a number of hundreds of millions of digits is condensed first.
constexpr std::size_t longestPlainNumber = 1200;

/// No halfway point between two doubles has more significant digits than 767: what follows only
/// matters by being zero or not.
constexpr std::size_t decidingDigits = 770;

/// Beyond any exponent that a text's digits could make up for, far from overflowing.
constexpr std::int64_t largestExponent = std::int64_t{1} << 60;

/// A number as its sign, its deciding digits and the exponent of the first of them: the value is
/// +-d.ddd * 10^exponent, and zero if there are no digits.
struct Decimal {
    bool negative = false;
    std::string digits;
    std::int64_t exponent = 0;
};

std::int64_t writtenExponent(std::string_view number) {
    const std::size_t mark = number.find_first_of("eE");
    if (mark == std::string_view::npos) {
        return 0;
    }
    std::int64_t exponent = 0;
    for (const char c : number.substr(mark + 1)) {
        if (c >= '0' && c <= '9') {
            exponent = std::min(exponent * 10 + (c - '0'), largestExponent / 16);
        }
    }
    return number[mark + 1] == '-' ? -exponent : exponent;
}

Decimal condense(std::string_view number) {
    Decimal result;
    result.negative = number.front() == '-';
    const std::string_view mantissa = number.substr(0, number.find_first_of("eE"));
    const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
    const std::size_t first = mantissa.find_first_of("123456789");
    if (first == std::string_view::npos) {
        return result;
    }
    const auto integerDigits = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
    result.exponent = writtenExponent(number) + integerDigits - (first < point ? 1 : 0);
    bool remainder = false;
    for (const char c : mantissa.substr(first)) {
        if (c == '.') {
            continue;
        }
        if (result.digits.size() < decidingDigits) {
            result.digits += c;
        } else {
            remainder = remainder || c != '0';
        }
    }
    if (remainder) {
        result.digits += '1';
    }
    return result;
}

} // namespace

std::optional<double> nearestDouble(std::string_view number) {
    double value = 0.0;
    if (number.size() <= longestPlainNumber) {
        const auto [end, error] =
            std::from_chars(number.data(), number.data() + number.size(), value);
        if (error == std::errc()) {
            return value;
        }
    }
    // Either long or out of range, which from_chars reports alike for too large and too small.
    const Decimal decimal = condense(number);
    const double zero = decimal.negative ? -0.0 : 0.0;
    if (decimal.digits.empty() || decimal.exponent < -400) {
        return zero;
    }
    if (decimal.exponent > 400) {
        return std::nullopt;
    }
    std::string text = decimal.negative ? "-" : "";
    text += decimal.digits.substr(0, 1) + '.' + decimal.digits.substr(1) + "0e" +
            std::to_string(decimal.exponent);
    if (std::from_chars(text.data(), text.data() + text.size(), value).ec == std::errc()) {
        return value;
    }
    return decimal.exponent < 0 ? std::optional(zero) : std::nullopt;
}

} // namespace ostra::io::json::core
