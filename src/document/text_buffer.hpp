#pragma once

/// The growing buffer that JSON text is written into.

#include <cstddef>
#include <cstring>

namespace ostra::io::json::tree {

/// Room that a small piece of text needs: a number, a word, or a string held inside its value.
constexpr std::size_t smallPiece = 32;

/// Room for all the small pieces between two places where room is made: an opening or closing
/// bracket, a comma, a key, its colon, a space and a value.
constexpr std::size_t entryRoom = 128;

/// Bytes that grow at the end.
///
/// Not RapidJSON's `StringBuffer`, which writes through null if memory runs out, and a small
/// document can ask for a lot: a million nested arrays, indented, are a terabyte of spaces. Not
/// std::string either, which would zero the memory before we write it.
class TextBuffer {
public:
    TextBuffer() = default;
    TextBuffer(TextBuffer&& other) noexcept
        : begin_(other.begin_), end_(other.end_), limit_(other.limit_) {
        other.begin_ = other.end_ = other.limit_ = nullptr;
    }
    ~TextBuffer();
    TextBuffer(const TextBuffer&) = delete;
    TextBuffer& operator=(const TextBuffer&) = delete;
    TextBuffer& operator=(TextBuffer&&) = delete;

    // The finished text.
    const char* data() const { return begin_; }
    std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }

    /// Hands the finished text over, in memory of malloc's; null for none.
    char* release() noexcept;

    // The writer holds the place where the text goes on, `at`, and passes it from call to call:
    // kept in the buffer, it would be stored and loaded again around every byte.

    /// Makes room for `count` more bytes.
    /// @param at  where the text goes on; null before its first byte.
    /// @return the same place, perhaps elsewhere in memory.
    /// @throws std::bad_alloc
    char* reserve(char* at, std::size_t count) {
        if (count > static_cast<std::size_t>(limit_ - at)) {
            return grow(at, count);
        }
        return at;
    }

    /// Forgets the text, but keeps its memory.
    /// @return where the next one begins.
    char* restart() { return begin_; }

    /// Says that the text ends at `at`.
    void finish(char* at) { end_ = at; }

private:
    char* grow(char* at, std::size_t count);

    char* begin_ = nullptr;
    char* end_ = nullptr;
    char* limit_ = nullptr;
};

/// Writes a word where room has been made for it.
/// @return where the text goes on.
template <std::size_t size>
char* putWord(char* at, const char (&word)[size]) {
    std::memcpy(at, word, size - 1);
    return at + size - 1;
}

} // namespace ostra::io::json::tree
