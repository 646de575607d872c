#pragma once

/// From the digits and the exponent of a decimal number to the nearest double.

#include <fast_float/decimal_to_binary.h>

#include <bit>
#include <cstdint>

namespace ostra::io::json::core {

/// From 0 to here, doubles hold all integers.
inline constexpr std::uint64_t largestExact = std::uint64_t{1} << 53U;

/// The first bits that are no finite double's.
inline constexpr std::uint64_t firstNonFinite = std::uint64_t{0x7FF} << 52U;

// Both round `magnitude * 10^exponent` to the nearest double, ties to even. They return its bits;
// `firstNonFinite` or more where it is beyond all doubles, or undecided.

/// By the algorithm of Eisel and Lemire, which cannot decide one number in thousands of millions.
[[gnu::always_inline]] inline std::uint64_t nearestByTable(std::uint64_t magnitude,
                                                           std::int64_t exponent) {
    const auto nearest =
        fast_float::compute_float<fast_float::binary_format<double>>(exponent, magnitude);
    return nearest.power2 < 0
               ? ~std::uint64_t{0}
               : static_cast<std::uint64_t>(nearest.power2) << 52U | nearest.mantissa;
}

/// By one operation on two exact doubles, which IEEE 754 rounds correctly, where both are so.
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
