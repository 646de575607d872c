#include "document/string_text.hpp"

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstring>

namespace ostra::io::json::tree {

namespace {

constexpr std::size_t blockSize = sizeof(__m128i);

bool needsEscape(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

__m128i loadBlock(const char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

/// A bit for each byte of the block that needs an escape.
unsigned escapesIn(__m128i block) {
    const __m128i lastControl = _mm_set1_epi8(0x1F);
    const __m128i control = _mm_cmpeq_epi8(_mm_max_epu8(block, lastControl), lastControl);
    const __m128i quote = _mm_cmpeq_epi8(block, _mm_set1_epi8('"'));
    const __m128i backslash = _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'));
    return static_cast<unsigned>(
        _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(control, quote), backslash)));
}

const char* findEscape(const char* from, const char* end) {
    for (; end - from >= static_cast<std::ptrdiff_t>(blockSize); from += blockSize) {
        if (const unsigned escapes = escapesIn(loadBlock(from)); escapes != 0) {
            return from + std::countr_zero(escapes);
        }
    }
    while (from != end && !needsEscape(*from)) {
        ++from;
    }
    return from;
}

char* putEscape(char* at, char c) {
    constexpr char hexDigits[] = "0123456789ABCDEF";
    // One letter per control character; 'u' where only the numeric form exists.
    constexpr char letters[] = "uuuuuuuubtnufruuuuuuuuuuuuuuuuuu";
    const auto code = static_cast<unsigned char>(c);
    const char letter = code < 0x20 ? letters[code] : c;
    *at++ = '\\';
    *at++ = letter;
    if (letter == 'u') {
        *at++ = '0';
        *at++ = '0';
        *at++ = hexDigits[code >> 4U];
        *at++ = hexDigits[code & 0xFU];
    }
    return at;
}

/// Any string: piece by piece between escapes.
[[gnu::noinline]] char* putLongString(TextBuffer& out, char* at, const rapidjson::Value& string) {
    const char* from = string.GetString();
    const char* const end = from + string.GetStringLength();
    *at++ = '"';
    for (;;) {
        const char* escape = findEscape(from, end);
        const auto plain = static_cast<std::size_t>(escape - from);
        at = out.reserve(at, plain + entryRoom + smallPiece);
        std::memcpy(at, from, plain);
        at += plain;
        if (escape == end) {
            break;
        }
        at = putEscape(at, *escape);
        from = escape + 1;
    }
    *at++ = '"';
    return at;
}

} // namespace

char* putString(TextBuffer& out, char* at, const rapidjson::Value& string) {
    // Most strings are held inside their values and need no escape: those are copied in two blocks
    // without a loop.
    const char* text = string.GetString();
    const std::size_t length = string.GetStringLength();
    static_assert(sizeof(rapidjson::Value) == blockSize + 8);
    if (text != reinterpret_cast<const char*>(&string)) {
        return putLongString(out, at, string);
    }
    const __m128i head = loadBlock(text);
    const __m128i tail = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text + blockSize));
    const unsigned escapes = escapesIn(head) | escapesIn(tail) << blockSize;
    if ((escapes & ((1U << length) - 1)) != 0) {
        return putLongString(out, at, string);
    }
    *at = '"';
    _mm_storeu_si128(reinterpret_cast<__m128i*>(at + 1), head);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(at + 1 + blockSize), tail);
    at[1 + length] = '"';
    return at + 2 + length;
}

} // namespace ostra::io::json::tree
