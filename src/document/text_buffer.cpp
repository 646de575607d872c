#include "document/text_buffer.hpp"

#include "base/huge_pages.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace ostra::io::json::tree {

namespace {

/// What to ask for, as long as it is refused. Large blocks are mapped and cost nothing where they
/// are not touched, while copying the text into a larger block costs a third of writing it: few
/// steps then. Where memory is short, a block just large enough would be outgrown at once.
std::array<std::size_t, 4> capacities(std::size_t used, std::size_t needed) {
    constexpr std::size_t smallest = 4096;
    constexpr std::size_t firstMapped = std::size_t{64} << 20U;
    constexpr std::size_t large = std::size_t{1} << 20U;
    const std::size_t best =
        used < large ? std::max(smallest, 2 * needed) : std::max(firstMapped, 8 * needed);
    return {best, needed + needed / 2, needed + needed / 16, needed};
}

} // namespace

TextBuffer::~TextBuffer() {
    std::free(begin_);
}

char* TextBuffer::grow(char* at, std::size_t count) {
    const auto used = static_cast<std::size_t>(at - begin_);
    if (count > PTRDIFF_MAX / 16 - used) {
        throw std::bad_alloc();
    }
    const std::size_t needed = used + count;
    for (const std::size_t capacity : capacities(used, needed)) {
        auto* const block = static_cast<char*>(base::moveToLarger(begin_, used, capacity));
        if (block != nullptr) {
            begin_ = block;
            limit_ = block + capacity;
            return block + used;
        }
    }
    throw std::bad_alloc();
}

} // namespace ostra::io::json::tree
