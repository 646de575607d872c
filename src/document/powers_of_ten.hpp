#pragma once

/// Powers of ten with 128 binary digits.

#include <array>
#include <cstddef>
#include <cstdint>

namespace ostra::io::json::tree {

/// The upper and lower half of a number of 128 bits, the highest of them set.
struct Significand {
    std::uint64_t high;
    std::uint64_t low;
};

// What scaling a double to 16 or 17 digits takes.
inline constexpr int lowestPowerOfTen = -292;
inline constexpr int highestPowerOfTen = 324;

/// floor(log2(10^n)) for |n| up to 330.
constexpr int floorLog2OfPowerOfTen(int n) {
    return n * 1741647 >> 19;
}

namespace powers_of_ten {

using Limbs = std::array<std::uint64_t, 4>; // lowest first

__extension__ using DoubleLimb = unsigned __int128;

/// Five times a number, shifted until its highest bit is set again.
constexpr Limbs timesFive(const Limbs& number) {
    Limbs result{};
    DoubleLimb carry = 0;
    for (std::size_t i = 0; i < number.size(); ++i) {
        carry += DoubleLimb{number[i]} * 5;
        result[i] = static_cast<std::uint64_t>(carry);
        carry >>= 64U;
    }
    for (; carry != 0; carry >>= 1U) {
        for (std::size_t i = 0; i + 1 < result.size(); ++i) {
            result[i] = result[i] >> 1U | result[i + 1] << 63U;
        }
        result.back() = result.back() >> 1U | static_cast<std::uint64_t>(carry) << 63U;
    }
    return result;
}

/// A fifth of a number, shifted likewise.
constexpr Limbs fifth(const Limbs& number) {
    Limbs result{};
    DoubleLimb rest = 0;
    for (std::size_t i = number.size(); i-- > 0;) {
        rest = rest << 64U | number[i];
        result[i] = static_cast<std::uint64_t>(rest / 5);
        rest %= 5;
    }
    while (result.back() >> 63U == 0) {
        for (std::size_t i = result.size(); i-- > 1;) {
            result[i] = result[i] << 1U | result[i - 1] >> 63U;
        }
        rest <<= 1U;
        result[0] = result[0] << 1U | static_cast<std::uint64_t>(rest / 5);
        rest %= 5;
    }
    return result;
}

constexpr auto make() {
    constexpr int lastExact = 55; // 5^55 < 2^128
    std::array<Significand, highestPowerOfTen - lowestPowerOfTen + 1> table{};
    const auto put = [&table](int n, const Limbs& number) {
        Significand& entry = table[static_cast<std::size_t>(n - lowestPowerOfTen)];
        const bool exact = 0 <= n && n <= lastExact;
        entry.low = number[2] + (exact ? 0 : 1);
        entry.high = number[3] + (!exact && entry.low == 0 ? 1 : 0);
    };
    // Twice the digits that are kept: what 324 steps cut off stays far below them.
    constexpr Limbs one = {0, 0, 0, std::uint64_t{1} << 63U};
    Limbs number = one;
    for (int n = 0; n <= highestPowerOfTen; ++n, number = timesFive(number)) {
        put(n, number);
    }
    number = one;
    for (int n = -1; n >= lowestPowerOfTen; --n) {
        number = fifth(number);
        put(n, number);
    }
    return table;
}

inline constexpr auto table = make();

} // namespace powers_of_ten

/// 10^n / 2^(floor(log2(10^n)) - 127): exactly if that is an integer, else the next larger integer.
constexpr const Significand& powerOfTen(int n) {
    return powers_of_ten::table[static_cast<std::size_t>(n - lowestPowerOfTen)];
}

} // namespace ostra::io::json::tree
