#include <ostra/io/json/core/text_position.hpp>

#include <emmintrin.h>

#include <bit>

namespace ostra::io::json::core {

namespace {

constexpr std::size_t blockSize = sizeof(__m128i);
constexpr std::string_view mark = "\xEF\xBB\xBF";

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

unsigned bytesEqual(__m128i block, char c) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8(c))));
}

/// @return how many bytes of a mask are set. There is no instruction for it on every x86-64.
std::size_t countSet(__m128i mask) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i sums = _mm_sad_epu8(_mm_sub_epi8(zero, mask), zero);
    return static_cast<std::size_t>(
        _mm_cvtsi128_si64(_mm_add_epi64(sums, _mm_unpackhi_epi64(sums, sums))));
}

} // namespace

void TextPosition::advance(std::string_view bytes) noexcept {
    std::size_t i = 0;
    for (; i < bytes.size() && byte_ < mark.size(); ++i) {
        advanceByte(bytes[i]);
    }
    for (; i + blockSize <= bytes.size(); i += blockSize) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes.data() + i));
        if (afterCr_ || bytesEqual(block, '\r') != 0) {
            for (std::size_t k = 0; k < blockSize; ++k) {
                advanceByte(bytes[i + k]);
            }
            continue;
        }
        // Continuation bytes are the signed ones below -64.
        const __m128i isStart = _mm_cmpgt_epi8(block, _mm_set1_epi8(static_cast<char>(-65)));
        const unsigned ends = bytesEqual(block, '\n');
        if (ends == 0) {
            place_.column += countSet(isStart);
            byte_ += blockSize;
            continue;
        }
        auto starts = static_cast<unsigned>(_mm_movemask_epi8(isStart));
        starts &= ~((2U << static_cast<unsigned>(31 - std::countl_zero(ends))) - 1);
        place_.line += static_cast<std::size_t>(std::popcount(ends));
        place_.column = 1 + static_cast<std::size_t>(std::popcount(starts));
        byte_ += blockSize;
    }
    for (; i < bytes.size(); ++i) {
        advanceByte(bytes[i]);
    }
}

void TextPosition::advanceByte(char c) noexcept {
    place_ = place(c == '\n');
    afterCr_ = c == '\r';
    if (c == '\n') {
        place_ = {place_.line + 1, 1};
    } else if (!afterCr_ && !isContinuation(c)) {
        ++place_.column;
    }
    if (byte_ < mark.size() && markSize_ == byte_ && c == mark[byte_] &&
        ++markSize_ == mark.size()) {
        place_.column = 1;
    }
    ++byte_;
}

} // namespace ostra::io::json::core
