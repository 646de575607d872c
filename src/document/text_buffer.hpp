#pragma once

/// The growing buffer that JSON text is written into.

#include <cstddef>
#include <cstring>

namespace ostra::io::json::tree {

/// Bytes that grow at the end.
///
/// Not RapidJSON's `StringBuffer`, which writes through null where memory runs out, and a small
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

    const char* data() const { return begin_; }
    std::size_t size() const { return static_cast<std::size_t>(end_ - begin_); }

    /// Makes room for `count` more bytes.
    /// @return where they go; to be followed by `advanceTo`.
    /// @throws std::bad_alloc  the text so far is kept.
    char* reserve(std::size_t count) {
        if (count > static_cast<std::size_t>(limit_ - end_)) {
            grow(count);
        }
        return end_;
    }

    /// Takes the bytes from the reserved place up to `end` as written.
    void advanceTo(char* end) { end_ = end; }

    void append(const char* bytes, std::size_t count) {
        std::memcpy(reserve(count), bytes, count);
        end_ += count;
    }

    void appendRepeated(char c, std::size_t count) {
        std::memset(reserve(count), c, count);
        end_ += count;
    }

    void append(char c) {
        *reserve(1) = c;
        ++end_;
    }

private:
    void grow(std::size_t count);

    char* begin_ = nullptr;
    char* end_ = nullptr;
    char* limit_ = nullptr;
};

} // namespace ostra::io::json::tree
