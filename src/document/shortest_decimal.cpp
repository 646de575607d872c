#include "document/shortest_decimal.hpp"

#include "document/powers_of_ten.hpp"

#include <bit>

/// The method of Raffaello Giulietti, "The Schubfach way to render doubles" (2021): scale the
/// double v = c * 2^q by the power 10^-k for which the width of its rounding interval, all the
/// decimals that read back to it, comes to lie between 1 and 10. Then the interval holds at least
/// one integer, and at most one multiple of ten. If it holds a multiple of ten, that is the
/// shortest decimal; if not, the integer next to v is.
///
/// While the paper scales both ends of the interval and the value, three products, here only the
/// value is: a multiple of ten can lie within half a width only if it is the one next to the
/// value. The distances are compared as fixed-point numbers. Over all doubles, the distance
/// between an end of the interval and a multiple of ten is 0 or above 21 * 2^-64, by the
/// convergents of 2^(q-1) / 10^(k+1), so that 61 binary places decide.

namespace ostra::io::json::tree {

namespace {

__extension__ using Wide = unsigned __int128;

constexpr int significandBits = 52;
constexpr std::uint64_t hiddenBit = std::uint64_t{1} << significandBits;
constexpr int exponentBias = 1075; // of the significand taken as an integer
constexpr std::uint64_t fewestOfSeventeenDigits = 10'000'000'000'000'000;

/// floor(log10(2^q)).
constexpr int floorLog10OfPowerOfTwo(int q) {
    return q * 315653 >> 20;
}

/// floor(log10(3/4 * 2^q)).
constexpr int floorLog10OfThreeQuarters(int q) {
    return (q * 315653 - 131072) >> 20;
}

/// A double divided by a power of ten.
struct Scaled {
    std::uint64_t integer;  // below 2^57
    std::uint64_t fraction; // in 2^-64; too large by less than 2^-71, cut off
    std::uint64_t below;    // in 2^-128: what was cut off
    std::uint64_t half;     // 2^(q-1) / 10^k, half the spacing of doubles, in 2^-61; cut off
};

Scaled scale(std::uint64_t c, int q, int k) {
    const Significand& power = powerOfTen(-k);
    const int shift = q + floorLog2OfPowerOfTen(-k) + 1; // 0 to 4
    const std::uint64_t factor = c << shift;
    const Wide low = Wide{factor} * power.low;
    const Wide high = Wide{factor} * power.high + static_cast<std::uint64_t>(low >> 64U);
    return {static_cast<std::uint64_t>(high >> 64U), static_cast<std::uint64_t>(high),
            static_cast<std::uint64_t>(low), power.high >> (4 - shift)};
}

/// The integer next to a scaled value.
std::uint64_t nearestInteger(const Scaled& scaled) {
    constexpr std::uint64_t oneHalf = std::uint64_t{1} << 63U;
    if (scaled.fraction == oneHalf) [[unlikely]] {
        const bool above = scaled.below >> 57U != 0;
        return scaled.integer + (above ? 1 : scaled.integer & 1U);
    }
    return scaled.integer + (scaled.fraction >> 63U);
}

/// The decimal `integer` * 10^exponent.
Decimal decimalOf(std::uint64_t integer, int exponent) {
    exponent += 16;
    for (; integer < fewestOfSeventeenDigits; --exponent) {
        integer *= 10;
    }
    return {integer / 10, static_cast<unsigned>(integer % 10), exponent};
}

/// One number or another: which of two decimals it is cannot be predicted, and a branch here costs
/// a third of the whole conversion.
std::uint64_t choose(bool condition, std::uint64_t one, std::uint64_t other) {
    const std::uint64_t mask = -std::uint64_t{condition};
    return other ^ ((other ^ one) & mask);
}

/// The shortest decimal for 2^q * 2^52, not the smallest of its kind: the next smaller double is
/// half as far away as the next larger one.
[[gnu::noinline]] Decimal decimalOfPowerOfTwo(int q) {
    const int k = floorLog10OfThreeQuarters(q);
    const Scaled scaled = scale(2 * hiddenBit, q - 1, k);
    const std::uint64_t half = scaled.half >> 1U; // of the lower side, in 2^-60
    const std::uint64_t last = scaled.integer % 10;
    const std::uint64_t down = last << 60U | scaled.fraction >> 4U; // to the multiple of ten
    const std::uint64_t up = (std::uint64_t{10} << 60U) - down;
    if (down <= half + 1) {
        return decimalOf(scaled.integer - last, k);
    }
    if (up <= 2 * half + 1) {
        return decimalOf(scaled.integer - last + 10, k);
    }
    const bool lowerReadsBack = scaled.fraction >> 4U <= half;
    return decimalOf(lowerReadsBack ? nearestInteger(scaled) : scaled.integer + 1, k);
}

/// The number 10 * tens + last.
struct Tens {
    std::uint64_t tens;
    std::uint64_t last;
};

/// The shortest integer in the rounding interval of c * 2^q, scaled.
Tens shortest(const Scaled& scaled, std::uint64_t c) {
    // From the next multiple of ten to the value, -5 to 5: modulo 8 beside 61 places, its magnitude
    // fits.
    const std::uint64_t nearestTens = (scaled.integer + 5) / 10;
    const std::uint64_t integers = scaled.integer - 10 * nearestTens;
    const std::uint64_t offset = (integers << 61U) + (scaled.fraction >> 3U);
    const std::uint64_t negative = -(integers >> 63U);
    const std::uint64_t distance = (offset ^ negative) - negative;
    // At the very end of the interval the two differ by 0 or 1, elsewhere by 2 and more (where the
    // multiple is outside) or at least 1 the other way. The ends belong to it if c is even.
    const bool readsBack = distance < scaled.half + 2 * (~c & 1U);

    // If it does not, the integer next to the value lies between the same multiples of ten.
    const std::uint64_t lowerTens = scaled.integer / 10;
    const std::uint64_t tens = choose(readsBack, nearestTens, lowerTens);
    const std::uint64_t last = choose(readsBack, 0, nearestInteger(scaled) - 10 * lowerTens);
    return {tens, last};
}

} // namespace

Decimal shortestDecimal(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const int biased = static_cast<int>(bits >> significandBits);
    const std::uint64_t significand = bits & (hiddenBit - 1);
    if (significand == 0 && biased > 1) {
        return decimalOfPowerOfTwo(biased - exponentBias);
    }
    if (biased == 0) [[unlikely]] {
        const int q = 1 - exponentBias;
        const int k = floorLog10OfPowerOfTwo(q);
        const auto [tens, last] = shortest(scale(significand, q, k), significand);
        return decimalOf(10 * tens + last, k);
    }
    const int q = biased - exponentBias;
    const int k = floorLog10OfPowerOfTwo(q);
    const auto [tens, last] = shortest(scale(significand | hiddenBit, q, k), significand);
    const bool few = tens < fewestOfSeventeenDigits / 10; // 15 digits, or else 16
    return {choose(few, 10 * tens + last, tens), static_cast<unsigned>(choose(few, 0, last)),
            k + 16 - (few ? 1 : 0)};
}

} // namespace ostra::io::json::tree
