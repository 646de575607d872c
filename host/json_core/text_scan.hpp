#pragma once

/// The innermost steps of the strict reader, inlined into its state machine. They read up to 32
/// bytes from the given position without checking for the end of the text.

#include "base/raw_value.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ostra::io::json::core {

/// Bytes that must follow the start of a token: tokens up to this length, with the white space
/// around them, are read without checking for the end of the text.
inline constexpr std::size_t scanAhead = 256;

// Words

template <class Word>
[[gnu::always_inline]] inline Word loadWord(const void* from) {
    Word word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

[[gnu::always_inline]] inline __m128i loadVector(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

/// @param bits  not 0; `std::countr_zero` would spend instructions on that case.
[[gnu::always_inline]] inline std::size_t lowestBit(std::uint32_t bits) {
    return static_cast<std::size_t>(__builtin_ctz(bits));
}

/// Writes a value as 16 + 8 bytes. Closing a container copies it in the same pieces, because a load
/// that spans two recent stores cannot be forwarded and stalls.
[[gnu::always_inline]] inline void storeValue(rapidjson::Value* value, __m128i first,
                                              std::uint64_t last) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(value), first);
    std::memcpy(reinterpret_cast<char*>(value) + 16, &last, sizeof last);
}

[[gnu::always_inline]] inline void storeValue(rapidjson::Value* value, std::uint64_t first,
                                              std::uint64_t last) {
    storeValue(value, _mm_cvtsi64_si128(static_cast<std::int64_t>(first)), last);
}

/// Copies `size` bytes of values, without a call.
[[gnu::always_inline]] inline void copyFewValues(char* to, const rapidjson::Value* from,
                                                 std::size_t size) {
    const char* source = reinterpret_cast<const char*>(from);
    for (char* const end = to + size; to < end; to += 24, source += 24) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), loadVector(source));
        std::memcpy(to + 16, source + 16, 8);
    }
}

// White space

/// @return a bit for each of the 16 bytes that is not white space.
[[gnu::always_inline]] inline std::uint32_t notSpace(const char* at) {
    const __m128i block = loadVector(at);
    const __m128i space = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8(' ')),
                                                    _mm_cmpeq_epi8(block, _mm_set1_epi8('\n'))),
                                       _mm_or_si128(_mm_cmpeq_epi8(block, _mm_set1_epi8('\t')),
                                                    _mm_cmpeq_epi8(block, _mm_set1_epi8('\r'))));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(space)) ^ 0xFFFFU;
}

/// Hides a value from the optimiser.
[[gnu::always_inline]] inline std::size_t anyNumber(std::size_t number) {
    asm("" : "+r"(number));
    return number;
}

// Strings

/// @return a bit for each of the 16 bytes that may not stand in a string as it is.
[[gnu::always_inline]] inline std::uint32_t specialInString(__m128i block) {
    const __m128i lastControl = _mm_set1_epi8(0x1F);
    const __m128i control = _mm_cmpeq_epi8(_mm_max_epu8(block, lastControl), lastControl);
    const __m128i quote = _mm_cmpeq_epi8(block, _mm_set1_epi8('"'));
    const __m128i backslash = _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'));
    return static_cast<std::uint32_t>(
        _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(control, quote), backslash)));
}

alignas(32) constexpr unsigned char wantedBytes[32] = {
    0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0,    0};

/// Writes an inline string: the first `length` bytes of `block`, at most 15.
[[gnu::always_inline]] inline void storeShortString(rapidjson::Value* value, __m128i block,
                                                    std::size_t length) {
    storeValue(value, _mm_and_si128(block, loadVector(wantedBytes + 16 - length)),
               base::RawValue::inlineWord(length));
}

// Numbers

/// @return the value of a digit; above 9 for any other byte.
[[gnu::always_inline]] inline unsigned digitAt(const char* at) {
    return static_cast<unsigned char>(*at) - unsigned{'0'};
}

/// True for digits and '-', also for '.' and '/', which `readNumber` refuses.
[[gnu::always_inline]] inline bool mayBeginNumber(char c) {
    return static_cast<unsigned char>(c - '-') <= '9' - '-';
}

[[gnu::always_inline]] inline bool isExponentMark(char c) {
    return (c | 0x20) == 'e';
}

constexpr std::uint64_t powersOfTen[] = {1,      10,      100,      1000,     10000,
                                         100000, 1000000, 10000000, 100000000};

/// The digits, up to eight, that eight bytes of text begin with.
struct Digits {
    __m128i values; // in the lower half
    std::size_t count;
};

[[gnu::always_inline]] inline Digits loadDigits(const char* at) {
    const __m128i values =
        _mm_xor_si128(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(at)), _mm_set1_epi8('0'));
    const __m128i other = _mm_cmpeq_epi8(_mm_max_epu8(values, _mm_set1_epi8(10)), values);
    // The upper half is zero in the text and therefore not a digit here.
    const auto mask = static_cast<std::uint32_t>(_mm_movemask_epi8(other));
    return {values, lowestBit(mask | 0x100U)};
}

/// @return the value of the digits, 0 if there are none.
[[gnu::always_inline]] inline std::uint64_t joinDigits(const Digits& digits) {
    const __m128i gap = _mm_cvtsi32_si128(64 - 8 * static_cast<int>(digits.count));
    const __m128i ones = _mm_unpacklo_epi8(_mm_sll_epi64(digits.values, gap), _mm_setzero_si128());
    const __m128i pairs = _mm_madd_epi16(ones, _mm_set1_epi32(1 << 16 | 10));
    const __m128i fours =
        _mm_madd_epi16(_mm_packs_epi32(pairs, pairs), _mm_set1_epi32(1 << 16 | 100));
    const auto both = static_cast<std::uint64_t>(_mm_cvtsi128_si64(fours));
    return (both & 0xFFFFFFFFU) * 10'000 + (both >> 32U);
}

[[gnu::always_inline]] inline void storeReal(rapidjson::Value* value, double magnitude,
                                             std::uint64_t negative) {
    const __m128i sign = _mm_cvtsi64_si128(static_cast<std::int64_t>(negative << 63U));
    storeValue(value, _mm_or_si128(_mm_castpd_si128(_mm_set_sd(magnitude)), sign),
               base::RawValue::realWord);
}

/// Counts bytes of a text.
/// @param matches  sets the bits of those of 16 bytes that count; a zero does not.
template <class Matches>
inline std::size_t countBytes(std::string_view text, const Matches& matches) {
    constexpr std::size_t mostVectors = 255; // each may add one to every lane of bytes
    std::size_t count = 0;
    std::size_t i = 0;
    const auto add = [&count](__m128i lanes) {
        const __m128i sums = _mm_sad_epu8(lanes, _mm_setzero_si128());
        count += static_cast<std::size_t>(
            _mm_cvtsi128_si64(_mm_add_epi64(sums, _mm_unpackhi_epi64(sums, sums))));
    };
    while (text.size() - i >= sizeof(__m128i)) {
        const std::size_t vectors = std::min((text.size() - i) / sizeof(__m128i), mostVectors);
        __m128i lanes = _mm_setzero_si128();
        for (const std::size_t end = i + vectors * sizeof(__m128i); i != end;
             i += sizeof(__m128i)) {
            lanes = _mm_sub_epi8(lanes, matches(loadVector(text.data() + i)));
        }
        add(lanes);
    }
    if (i != text.size()) {
        std::array<char, sizeof(__m128i)> rest{};
        text.copy(rest.data(), rest.size(), i);
        add(_mm_sub_epi8(_mm_setzero_si128(), matches(loadVector(rest.data()))));
    }
    return count;
}

/// @param byte  not zero.
inline std::size_t countByte(std::string_view text, char byte) {
    return countBytes(text, [wanted = _mm_set1_epi8(byte)](__m128i bytes) {
        return _mm_cmpeq_epi8(bytes, wanted);
    });
}

} // namespace ostra::io::json::core
