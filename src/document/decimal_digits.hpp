#pragma once

/// Decimal digits of integers, many at a time.

#include <emmintrin.h>

#include <bit>
#include <cstdint>
#include <cstring>

namespace ostra::io::json::tree {

/// Four digits of a number below 10^4, one a byte, the first lowest.
constexpr std::uint32_t fourDigits(std::uint32_t value) {
    const std::uint32_t hundreds = value * 5243 >> 19U;
    const std::uint32_t pairs = hundreds | (value - 100 * hundreds) << 16U;
    const std::uint32_t tens = (pairs * 103 >> 10U) & 0x000F000F;
    return tens | (pairs - 10 * tens) << 8U;
}

/// Eight digits of a number below 10^8, one a byte, the first lowest.
constexpr std::uint64_t eightDigits(std::uint64_t value) {
    // Two halves of four digits, then four pairs, then eight digits side by side. Dividing by
    // multiplying is exact for numbers as small as these.
    const std::uint64_t halves = value / 10'000 | value % 10'000 << 32U;
    const std::uint64_t hundreds = (halves * 10'486 >> 20U) & 0x0000007F0000007F;
    const std::uint64_t pairs = hundreds | (halves - 100 * hundreds) << 16U;
    const std::uint64_t tens = (pairs * 103 >> 10U) & 0x000F000F000F000F;
    return tens | (pairs - 10 * tens) << 8U;
}

/// The digits of two numbers below 10^8 one behind the other, likewise.
inline __m128i sixteenDigits(std::uint64_t first, std::uint64_t second) {
    const __m128i eights =
        _mm_set_epi64x(static_cast<std::int64_t>(second), static_cast<std::int64_t>(first));
    const __m128i tenThousands =
        _mm_srli_epi64(_mm_mul_epu32(eights, _mm_set1_epi64x(0xD1B71759)), 45);
    const __m128i below =
        _mm_sub_epi64(eights, _mm_mul_epu32(tenThousands, _mm_set1_epi64x(10'000)));
    const __m128i fours = _mm_or_si128(tenThousands, _mm_slli_epi64(below, 32));
    const __m128i hundreds = _mm_srli_epi16(_mm_mulhi_epu16(fours, _mm_set1_epi16(5243)), 3);
    const __m128i rest = _mm_sub_epi16(fours, _mm_madd_epi16(hundreds, _mm_set1_epi32(100)));
    const __m128i pairs = _mm_or_si128(hundreds, _mm_slli_epi32(rest, 16));
    const __m128i tens = _mm_mulhi_epu16(pairs, _mm_set1_epi16(6554));
    const __m128i ones = _mm_sub_epi16(pairs, _mm_mullo_epi16(tens, _mm_set1_epi16(10)));
    return _mm_or_si128(tens, _mm_slli_epi16(ones, 8));
}

/// Digits as characters.
constexpr std::uint32_t textOf(std::uint32_t fourDigits) {
    return fourDigits | 0x30303030;
}
constexpr std::uint64_t textOf(std::uint64_t eightDigits) {
    return eightDigits | 0x3030303030303030;
}
inline __m128i textOf(__m128i sixteenDigits) {
    return _mm_or_si128(sixteenDigits, _mm_set1_epi8('0'));
}

static_assert(std::endian::native == std::endian::little);

/// Stores all four, eight or sixteen bytes.
inline void store(char* at, std::uint32_t text) {
    std::memcpy(at, &text, sizeof text);
}
inline void store(char* at, std::uint64_t text) {
    std::memcpy(at, &text, sizeof text);
}
inline void store(char* at, __m128i text) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(at), text);
}

} // namespace ostra::io::json::tree
