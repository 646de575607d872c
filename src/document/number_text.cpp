#include "document/number_text.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace ostra::io::json::tree {

namespace {

/// The significant digits of a positive double and where its point stands.
struct Decimal {
    char digits[20]; // 17 at most
    int count;
    int point; // digits in front of the decimal point; negative: zeros behind it
};

Decimal shortestDecimal(double value) {
    char text[longestDouble];
    const char* end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::scientific).ptr;
    const char* exponent = std::find(static_cast<const char*>(text), end, 'e');
    Decimal decimal{};
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

} // namespace

char* writeFinite(char* out, double value) {
    constexpr int longestInteger = 21; // digits written before an exponent is used
    constexpr int mostLeadingZeros = 5;
    if (std::signbit(value)) {
        *out++ = '-';
        value = -value;
    }
    if (value == 0) {
        return put(out, "0.0", 3);
    }
    const auto [digits, count, point] = shortestDecimal(value);
    if (count <= point && point <= longestInteger) { // 12300.0
        out = put(out, digits, count);
        out = putZeros(out, point - count);
        return put(out, ".0", 2);
    }
    if (0 < point && point <= longestInteger) { // 12.3
        out = put(out, digits, point);
        *out++ = '.';
        return put(out, digits + point, count - point);
    }
    if (-mostLeadingZeros <= point && point <= 0) { // 0.00123
        out = put(out, "0.", 2);
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

} // namespace ostra::io::json::tree
