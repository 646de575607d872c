#include "document/text_buffer.hpp"

#include "base/huge_pages.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace ostra::io::json::tree {

namespace {

// Below, blocks come from the heap, where they are mostly extended in place, and the next text
// finds them warm: malloc maps what is above 32 MiB again each time, but what is smaller only until
// the first block of that size has been freed. Above, they are mapped and cost nothing if they
// are not touched, while copying the text costs a third of writing it: few steps then.
constexpr std::size_t large = std::size_t{16} << 20U;

/// What to request, as long as it is refused: a block just large enough would be outgrown at once.
std::array<std::size_t, 4> capacities(std::size_t used, std::size_t needed) {
    constexpr std::size_t smallest = 4096;
    constexpr std::size_t firstMapped = std::size_t{256} << 20U;
    const std::size_t best = used < large ? std::clamp(4 * needed, smallest, needed + large)
                                          : std::max(firstMapped, 8 * needed);
    return {best, needed + needed / 2, needed + needed / 16, needed};
}

/// Moves the text to a larger block, or extends its own.
/// @return null if memory is exhausted, then the old block is as it was.
void* enlarge(void* block, std::size_t used, std::size_t capacity) {
    if (used >= large) {
        return base::moveToLarger(block, used, capacity);
    }
    void* const larger = std::realloc(block, capacity);
    if (larger != nullptr) {
        base::adviseHugePages(larger, capacity);
    }
    return larger;
}

} // namespace

TextBuffer::~TextBuffer() {
    std::free(begin_);
}

char* TextBuffer::release() noexcept {
    if (begin_ == nullptr) {
        return nullptr;
    }
    // Without the room behind it: the system takes back what it had only promised.
    void* const text = std::realloc(begin_, std::max<std::size_t>(size(), 1));
    char* const result = text != nullptr ? static_cast<char*>(text) : begin_;
    begin_ = end_ = limit_ = nullptr;
    return result;
}

char* TextBuffer::grow(char* at, std::size_t count) {
    const auto used = static_cast<std::size_t>(at - begin_);
    if (count > PTRDIFF_MAX / 16 - used) {
        throw std::bad_alloc();
    }
    const std::size_t needed = used + count;
    for (const std::size_t capacity : capacities(used, needed)) {
        auto* const block = static_cast<char*>(enlarge(begin_, used, capacity));
        if (block != nullptr) {
            begin_ = block;
            limit_ = block + capacity;
            return block + used;
        }
    }
    throw std::bad_alloc();
}

} // namespace ostra::io::json::tree
