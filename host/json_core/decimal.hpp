#pragma once

/// The double nearest to a decimal number whose digits have been scanned already.

#include <fast_float/decimal_to_binary.h>

#include <bit>
#include <cstdint>

namespace ostra::io::json::core {

/// Doubles hold all integers from 0 to this one.
inline constexpr std::uint64_t largestExact = std::uint64_t{1} << 53U;

/// Lower bits are those of a finite double.
inline constexpr std::uint64_t firstNonFinite = std::uint64_t{0x7FF} << 52U;

// Both round `magnitude * 10^exponent` to the nearest double, ties to even, and return its bits;
// `firstNonFinite` or more if the result is not finite, or undecided.

/// By the algorithm of Eisel and Lemire (https://arxiv.org/abs/2101.11408), undecided only in
/// extremely rare cases.
[[gnu::always_inline]] inline std::uint64_t nearestByTable(std::uint64_t magnitude,
                                                           std::int64_t exponent) {
    const auto nearest =
        fast_float::compute_float<fast_float::binary_format<double>>(exponent, magnitude);
    return nearest.power2 < 0
               ? ~std::uint64_t{0}
               : static_cast<std::uint64_t>(nearest.power2) << 52U | nearest.mantissa;
}

/// The same, but by one correctly rounded operation (IEEE 754) if both operands are exact doubles.
[[gnu::always_inline]] inline std::uint64_t nearestDoubleBits(std::uint64_t magnitude,
                                                              std::int64_t exponent) {
    constexpr int largest = 22;
    if (magnitude > largestExact || exponent < -largest || exponent > largest) {
        return nearestByTable(magnitude, exponent);
    }
    const auto exact = static_cast<double>(static_cast<std::int64_t>(magnitude));
    return std::bit_cast<std::uint64_t>(exponent < 0
                                            ? exact / fast_float::powers_of_ten_double[-exponent]
                                            : exact * fast_float::powers_of_ten_double[exponent]);
}

} // namespace ostra::io::json::core
