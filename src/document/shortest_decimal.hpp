#pragma once

/// Doubles to decimal digits.

#include <cstdint>

namespace ostra::io::json::tree {

/// The decimal number with the digits d.ddddddddddddddd and one more, times 10^exponent.
struct Decimal {
    std::uint64_t sixteen; // the first of the digits as an integer, at least 10^15
    unsigned last;         // the seventeenth
    int exponent;
};

/// The decimal with the fewest digits that reads back to a double and, of those, the closest to it;
/// of two equally close ones the one that ends in an even digit. Zeros follow up to 17 digits.
/// @param value  positive and finite.
Decimal shortestDecimal(double value);

} // namespace ostra::io::json::tree
