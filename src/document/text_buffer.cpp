#include "document/text_buffer.hpp"

#include "platform/huge_pages.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace ostra::io::json::tree {

TextBuffer::~TextBuffer() {
    std::free(begin_);
}

void TextBuffer::grow(std::size_t count) {
    constexpr std::size_t firstCapacity = 4096;
    constexpr std::size_t untouchedIsFree = std::size_t{1} << 20U; // memory is mapped when touched
    const std::size_t used = size();
    if (count > PTRDIFF_MAX / 8 - used) {
        throw std::bad_alloc();
    }
    const std::size_t needed = used + count;
    std::size_t capacity = std::max(firstCapacity, needed * (used < untouchedIsFree ? 2 : 4));
    // Not realloc: it moves large blocks by remapping them, which takes huge pages apart.
    auto* block = static_cast<char*>(std::malloc(capacity));
    if (block == nullptr) {
        capacity = needed;
        block = static_cast<char*>(std::malloc(capacity));
    }
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    platform::adviseHugePages(block, capacity);
    if (used != 0) {
        std::memcpy(block, begin_, used);
    }
    std::free(begin_);
    begin_ = block;
    end_ = block + used;
    limit_ = block + capacity;
}

} // namespace ostra::io::json::tree
