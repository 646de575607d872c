#include "document/string_text.hpp"

#include <emmintrin.h>

#include <bit>
#include <cstddef>

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

void writeEscape(TextBuffer& out, char c) {
    constexpr char hexDigits[] = "0123456789ABCDEF";
    // One letter per control character; 'u' where only the numeric form exists.
    constexpr char letters[] = "uuuuuuuubtnufruuuuuuuuuuuuuuuuuu";
    const auto code = static_cast<unsigned char>(c);
    const char letter = code < 0x20 ? letters[code] : c;
    out.append('\\');
    out.append(letter);
    if (letter == 'u') {
        out.append("00", 2);
        out.append(hexDigits[code >> 4U]);
        out.append(hexDigits[code & 0xFU]);
    }
}

/// Writes a string that is held inside its value and needs no escape, in two blocks without a loop:
/// most strings are such.
/// @return whether it was one; if not, nothing is written.
bool writeInline(TextBuffer& out, const rapidjson::Value& string) {
    const char* text = string.GetString();
    const std::size_t length = string.GetStringLength();
    static_assert(sizeof(rapidjson::Value) == blockSize + 8);
    if (text != reinterpret_cast<const char*>(&string)) {
        return false;
    }
    const __m128i head = loadBlock(text);
    const __m128i tail = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text + blockSize));
    const unsigned escapes = escapesIn(head) | escapesIn(tail) << blockSize;
    if ((escapes & ((1U << length) - 1)) != 0) {
        return false;
    }
    char* to = out.reserve(sizeof(rapidjson::Value) + 2);
    *to++ = '"';
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), head);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + blockSize), tail);
    to += length;
    *to++ = '"';
    out.advanceTo(to);
    return true;
}

} // namespace

void writeString(TextBuffer& out, const rapidjson::Value& string) {
    if (writeInline(out, string)) {
        return;
    }
    const char* from = string.GetString();
    const char* const end = from + string.GetStringLength();
    out.append('"');
    for (;;) {
        const char* escape = findEscape(from, end);
        out.append(from, static_cast<std::size_t>(escape - from));
        if (escape == end) {
            break;
        }
        writeEscape(out, *escape);
        from = escape + 1;
    }
    out.append('"');
}

} // namespace ostra::io::json::tree
