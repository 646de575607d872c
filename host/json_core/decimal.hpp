#pragma once

/// From the digits and the exponent of a decimal number to the nearest double.

#include <fast_float/decimal_to_binary.h>

#include <bit>
#include <cstdint>

namespace ostra::io::json::core {

/// From 0 to here, doubles hold all integers.
inline constexpr std::uint64_t largestExact = std::uint64_t{1} << 53U;

/// The double nearest to `magnitude * 10^exponent`, ties to even.
///
/// One operation on two exact doubles gives it, correctly rounded by IEEE 754, where both are
/// within 2^53 and 10^22; otherwise the algorithm of Eisel and Lemire does, but for cases that it
/// cannot decide, one in thousands of millions.
///
/// @return the bits of the double; above those of all finite ones where it is beyond them, or
///         undecided.
[[gnu::always_inline]] inline std::uint64_t nearestDoubleBits(std::uint64_t magnitude,
                                                              std::int64_t exponent) {
    using Format = fast_float::binary_format<double>;
    constexpr int largest = 22;
    if (magnitude <= largestExact && exponent >= -largest && exponent <= largest) {
        const auto exact = static_cast<double>(static_cast<std::int64_t>(magnitude));
        return std::bit_cast<std::uint64_t>(
            exponent < 0 ? exact / fast_float::powers_of_ten_double[-exponent]
                         : exact * fast_float::powers_of_ten_double[exponent]);
    }
    const fast_float::adjusted_mantissa nearest =
        fast_float::compute_float<Format>(exponent, magnitude);
    if (nearest.power2 < 0) {
        return ~std::uint64_t{0}; // undecided
    }
    return static_cast<std::uint64_t>(nearest.power2) << 52U | nearest.mantissa;
}

/// The first bits that are no finite double's.
inline constexpr std::uint64_t firstNonFinite = std::uint64_t{0x7FF} << 52U;

} // namespace ostra::io::json::core
