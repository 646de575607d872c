#include "document/write_string.hpp"

#include <emmintrin.h>

#include <bit>
#include <cstddef>
#include <cstring>

namespace ostra::io::json::tree {

namespace {

constexpr std::size_t blockSize = sizeof(__m128i);

__m128i loadBlock(const char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

void storeBlock(char* at, __m128i block) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(at), block);
}

bool needsEscape(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == '"' || c == '\\';
}

/// A bit for each byte of the block that needs an escape.
unsigned escapesIn(__m128i block) {
    // With its second bit turned, the quote stands beside the control characters.
    const __m128i turned = _mm_xor_si128(block, _mm_set1_epi8(2));
    const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(turned, _mm_set1_epi8('"' ^ 2)), turned);
    const __m128i backslash = _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'));
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(low, backslash)));
}

char* putEscape(char* at, char c) {
    constexpr char hexDigits[] = "0123456789ABCDEF";
    // One letter per control character; 'u' if only the numeric form exists.
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

/// A string being written: what is left of it, and where it goes.
class StringWriter {
public:
    StringWriter(TextBuffer& out, char* at, const char* text, std::size_t length)
        : out_(out), from_(text), end_(text + length), plain_(text), at_(at) {
        makeRoom();
    }

    /// Copies blocks while they are searched: what is copied in vain is overwritten.
    void putBlocks() {
        while (end_ - from_ >= static_cast<std::ptrdiff_t>(blockSize)) {
            const __m128i block = loadBlock(from_);
            storeBlock(at_, block);
            const unsigned escapes = escapesIn(block);
            if (escapes == 0) {
                skip(blockSize);
            } else {
                skip(static_cast<std::size_t>(std::countr_zero(escapes)));
                putEscaped();
            }
        }
    }

    /// Writes what is less than a block.
    void putTail() {
        // The last block, part of which has been copied already, unless escapes lie within it.
        if (end_ - plain_ >= static_cast<std::ptrdiff_t>(blockSize)) {
            const __m128i block = loadBlock(end_ - blockSize);
            if (escapesIn(block) == 0) {
                const auto left = static_cast<std::size_t>(end_ - from_);
                storeBlock(at_ + left - blockSize, block);
                skip(left);
                return;
            }
        }
        while (from_ != end_) {
            if (needsEscape(*from_)) {
                putEscaped();
            } else {
                *at_++ = *from_++;
            }
        }
    }

    char* at() const { return at_; }

private:
    void makeRoom() {
        at_ = out_.reserve(at_, static_cast<std::size_t>(end_ - from_) + entryRoom + smallPiece);
    }
    void skip(std::size_t count) {
        from_ += count;
        at_ += count;
    }
    void putEscaped() {
        at_ = putEscape(at_, *from_++);
        plain_ = from_;
        makeRoom();
    }

    TextBuffer& out_;
    const char* from_;
    const char* end_;
    const char* plain_; // from here on, no escape has been written
    char* at_;
};

/// Any string.
[[gnu::noinline]] char* putLongString(TextBuffer& out, char* at, const char* text,
                                      std::size_t length) {
    *at++ = '"';
    StringWriter writer(out, at, text, length);
    writer.putBlocks();
    writer.putTail();
    at = writer.at();
    *at++ = '"';
    return at;
}

} // namespace

char* putString(TextBuffer& out, char* at, const rapidjson::Value& string) {
    // Most strings are held inside their values and need no escape: those are copied in one block
    // or two without a loop.
    static_assert(sizeof(rapidjson::Value) == blockSize + 8);
    const char* text = string.GetString();
    const std::size_t length = string.GetStringLength();
    if (text == reinterpret_cast<const char*>(&string)) {
        const __m128i head = loadBlock(text);
        storeBlock(at + 1, head);
        unsigned escapes = escapesIn(head);
        if (length > blockSize) {
            const auto* const rest = reinterpret_cast<const __m128i*>(text + blockSize);
            const __m128i tail = _mm_loadl_epi64(rest);
            _mm_storel_epi64(reinterpret_cast<__m128i*>(at + 1 + blockSize), tail);
            escapes |= escapesIn(tail) << blockSize;
        }
        if ((escapes & ((1U << length) - 1)) == 0) [[likely]] {
            at[0] = '"';
            at[1 + length] = '"';
            return at + 2 + length;
        }
    }
    return putLongString(out, at, text, length);
}

} // namespace ostra::io::json::tree
