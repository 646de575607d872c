#include "document/write_number.hpp"

#include "document/text_buffer.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace ostra::io::json::tree {

namespace {

/// The significant digits of a positive double and where its point stands.
struct Decimal {
    char digits[24]; // 17 at most
    int count;
    int point; // digits in front of the decimal point; negative: zeros behind it
};

/// Takes the zeros off the end of a positive integer.
/// @return how many there were.
int stripZeros(std::uint64_t& integer) {
    if (integer % 10 != 0) {
        return 0;
    }
    int zeros = 0;
    constexpr struct {
        std::uint64_t power;
        int digits;
    } steps[] = {{100'000'000, 8}, {10'000, 4}, {100, 2}, {10, 1}};
    for (const auto& [power, digits] : steps) {
        if (integer % power == 0) {
            integer /= power;
            zeros += digits;
        }
    }
    return zeros;
}

/// The integer nearest to a double of magnitude below 2^53.
std::int64_t nearestInteger(double value) {
    return _mm_cvtsd_si64(_mm_set_sd(value));
}

/// The integer nearest to the exact product of two doubles; 0 where two are equally near.
std::int64_t nearestProduct(double a, double b) {
    const double product = a * b;
    const double error = std::fma(a, b, -product);
    const std::int64_t near = nearestInteger(product);
    const double offset = (product - static_cast<double>(near)) + error;
    if (offset == 0.5 || offset == -0.5) {
        return 0;
    }
    return offset > 0.5 ? near + 1 : offset < -0.5 ? near - 1 : near;
}

/// The digits of a double that has at most 16 of them, as most doubles in files do.
///
/// A decimal whose digits and whose power of ten are both held exactly reads back to the double if
/// their quotient is the double: the quotient is correctly rounded. Of all decimals with up to 15
/// digits at most one reads back to a given double, so whichever does is the shortest and the
/// closest at once; it is found by scaling and rounding. If there is none, the closest decimal with
/// 16 digits is the shortest if it reads back. The general algorithm takes three times as long.
///
/// @return whether there was such a decimal.
bool shortDecimal(double value, Decimal& decimal) {
    constexpr double powers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                 1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    constexpr double fifteenDigits = 1e15;
    constexpr double largestExact = 0x1p53;
    if (!(value >= 1e-7 && value < fifteenDigits)) {
        return false;
    }
    // Decimal exponent of the power of two below: the right one or one too small.
    const int binaryExponent = static_cast<int>(std::bit_cast<std::uint64_t>(value) >> 52U) - 1023;
    const int exponent = binaryExponent * 1233 >> 12;
    int scale = 14 - exponent;
    if (value * powers[scale] >= fifteenDigits - 0.5) {
        --scale;
    }
    std::int64_t digits = nearestInteger(value * powers[scale]);
    if (static_cast<double>(digits) / powers[scale] != value) {
        ++scale;
        if (scale >= static_cast<int>(std::size(powers)) ||
            value * powers[scale] >= largestExact - 1) {
            return false;
        }
        digits = nearestProduct(value, powers[scale]);
        if (static_cast<double>(digits) / powers[scale] != value) {
            return false;
        }
    }
    auto integer = static_cast<std::uint64_t>(digits);
    scale -= stripZeros(integer);
    decimal.count = static_cast<int>(
        std::to_chars(decimal.digits, decimal.digits + sizeof decimal.digits, integer).ptr -
        decimal.digits);
    decimal.point = decimal.count - scale;
    return true;
}

Decimal shortestDecimal(double value) {
    Decimal decimal; // NOLINT(cppcoreguidelines-pro-type-member-init): written below
    if (shortDecimal(value, decimal)) {
        return decimal;
    }
    char text[smallPiece];
    const char* end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific).ptr;
    const char* exponent = std::find(static_cast<const char*>(text), end, 'e');
    decimal.digits[0] = text[0];
    decimal.count = 1;
    if (exponent - text > 2) { // "d.ddd", not "d"
        const auto fraction = exponent - text - 2;
        std::memcpy(decimal.digits + 1, text + 2, static_cast<std::size_t>(fraction));
        decimal.count += static_cast<int>(fraction);
    }
    // from_chars does not take the plus sign
    std::from_chars(exponent + (exponent[1] == '+' ? 2 : 1), end, decimal.point);
    ++decimal.point;
    return decimal;
}

char* put(char* out, const char* bytes, int count) {
    std::memcpy(out, bytes, static_cast<std::size_t>(count));
    return out + count;
}

char* putZeros(char* out, int count) {
    std::memset(out, '0', static_cast<std::size_t>(count));
    return out + count;
}

char* putFinite(char* out, double value) {
    constexpr int longestInteger = 21; // digits written before an exponent is used
    constexpr int mostLeadingZeros = 5;
    if (std::signbit(value)) {
        *out++ = '-';
        value = -value;
    }
    if (value == 0) {
        return putWord(out, "0.0");
    }
    const auto [digits, count, point] = shortestDecimal(value);
    if (count <= point && point <= longestInteger) { // 12300.0
        out = put(out, digits, count);
        out = putZeros(out, point - count);
        return putWord(out, ".0");
    }
    if (0 < point && point <= longestInteger) { // 12.3
        out = put(out, digits, point);
        *out++ = '.';
        return put(out, digits + point, count - point);
    }
    if (-mostLeadingZeros <= point && point <= 0) { // 0.00123
        out = putWord(out, "0.");
        out = putZeros(out, -point);
        return put(out, digits, count);
    }
    *out++ = digits[0]; // 1e30, 1.23e30
    if (count > 1) {
        *out++ = '.';
        out = put(out, digits + 1, count - 1);
    }
    *out++ = 'e';
    return std::to_chars(out, out + 5, point - 1).ptr;
}

/// Integers below 100,000,000, as most are, in one go: how many digits there are is hard to
/// predict, and a library function that counts them first takes twice as long.
/// @param out  room for eight characters.
char* putSmall(char* out, std::uint64_t value) {
    static_assert(std::endian::native == std::endian::little);
    // Two halves of four digits, then four pairs, then eight digits side by side, the first lowest.
    // Dividing by multiplying is exact for numbers as small as these.
    const std::uint64_t halves = value / 10'000 | value % 10'000 << 32U;
    const std::uint64_t hundreds = (halves * 10'486 >> 20U) & 0x0000007F0000007F;
    const std::uint64_t pairs = hundreds | (halves - 100 * hundreds) << 16U;
    const std::uint64_t tens = (pairs * 103 >> 10U) & 0x000F000F000F000F;
    const std::uint64_t digits = tens | (pairs - 10 * tens) << 8U;
    constexpr std::uint64_t lastDigit = std::uint64_t{1} << 56U; // stays where all are 0
    const int leadingZeros = std::countr_zero(digits | lastDigit) / 8;
    const std::uint64_t text = (digits | 0x3030303030303030) >> 8 * leadingZeros;
    std::memcpy(out, &text, sizeof text);
    return out + 8 - leadingZeros;
}

} // namespace

char* putNumber(char* at, const rapidjson::Value& number, bool allowNaNInf) {
    // The order matters: the number 0 of a fresh value carries every flag and is a double.
    if (number.IsDouble()) {
        return putDouble(at, number.GetDouble(), allowNaNInf);
    }
    char* const limit = at + smallPiece;
    if (number.IsUint64()) {
        const std::uint64_t value = number.GetUint64();
        return value < 100'000'000 ? putSmall(at, value) : std::to_chars(at, limit, value).ptr;
    }
    return std::to_chars(at, limit, number.GetInt64()).ptr;
}

char* putDouble(char* at, double value, bool allowNaNInf) {
    if (std::isfinite(value)) {
        return putFinite(at, value);
    }
    if (!allowNaNInf) {
        return putWord(at, "null");
    }
    if (std::isnan(value)) {
        return putWord(at, "NaN");
    }
    return value > 0 ? putWord(at, "Infinity") : putWord(at, "-Infinity");
}

} // namespace ostra::io::json::tree
