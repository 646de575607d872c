#include "node_vector/pool_pieces.hpp"

#include <cstdint>
#include <new>
#include <stdexcept>

namespace ostra::io::json::tree {

namespace {

/// Room for the header that RapidJSON keeps at the start of a buffer: 24 bytes in release 1.1.0, up
/// to 64 in later ones.
constexpr std::size_t headerSize = 64;

std::size_t addSizes(std::size_t a, std::size_t b) {
    std::size_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) {
        throw std::length_error("more children than memory can hold");
    }
    return sum;
}

} // namespace

PoolPieces::PoolPieces(Pool& pool, const std::vector<std::size_t>& payloads) {
    std::size_t total = 0;
    for (const std::size_t payload : payloads) {
        total = addSizes(total, addSizes(allocationSize(payload), headerSize));
    }
    begins_.reserve(payloads.size() + 1);
    // The pool adds its own header to what is asked for, unchecked.
    if (total > PTRDIFF_MAX - headerSize) {
        throw std::bad_alloc();
    }
    char* begin = static_cast<char*>(pool.Malloc(total));
    if (begin == nullptr && total != 0) {
        throw std::bad_alloc();
    }
    begins_.push_back(begin);
    for (const std::size_t payload : payloads) {
        begins_.push_back(begins_.back() + allocationSize(payload) + headerSize);
    }
}

Pool PoolPieces::piece(std::size_t k) const {
    const auto size = static_cast<std::size_t>(begins_[k + 1] - begins_[k]);
    return Pool(begins_[k], size);
}

} // namespace ostra::io::json::tree
