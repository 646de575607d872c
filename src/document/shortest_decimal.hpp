#pragma once

/// Doubles to decimal digits.

#include <cstdint>

namespace ostra::io::json::tree {

/// The number d.dddddddddddddddd * 10^exponent.
struct Decimal {
    std::uint64_t digits; // all 17 of them, the first is not 0
    int exponent;
};

/// The decimal with the fewest digits that reads back to a double and, of those, the closest to it;
/// of two equally close ones the one that ends in an even digit. Zeros follow up to 17 digits.
/// @param value  positive and finite.
Decimal shortestDecimal(double value);

} // namespace ostra::io::json::tree
