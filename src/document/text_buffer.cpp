#include "document/text_buffer.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace ostra::io::json::tree {

TextBuffer::~TextBuffer() {
    std::free(begin_);
}

void TextBuffer::grow(std::size_t count) {
    constexpr std::size_t firstCapacity = 256;
    const std::size_t used = size();
    if (count > PTRDIFF_MAX - used) {
        throw std::bad_alloc();
    }
    const std::size_t capacity = std::max({firstCapacity, used + used / 2, used + count});
    // realloc moves the pages of a large block instead of copying them.
    auto* block = static_cast<char*>(std::realloc(begin_, capacity));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    begin_ = block;
    end_ = block + used;
    limit_ = block + capacity;
}

} // namespace ostra::io::json::tree
