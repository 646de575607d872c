#include "document/pool_pieces.hpp"

#include "base/pool_memory.hpp"

#include <stdexcept>

namespace ostra::io::json::tree {

namespace {

std::size_t addSizes(std::size_t a, std::size_t b) {
    std::size_t sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) {
        throw std::length_error("more children than memory can hold");
    }
    return sum;
}

/// Bytes to take for a piece.
std::size_t pieceSize(std::size_t payload) {
    constexpr std::size_t alignment = 8;
    return payload == 0
               ? 0
               : addSizes(payload, base::poolHeaderSize + alignment - 1) & ~(alignment - 1);
}

char* takeBlock(Pool& pool, std::size_t size) {
    return static_cast<char*>(base::takeFromPool(pool, size));
}

} // namespace

PoolPieces::PoolPieces(Pool& pool, const std::vector<std::size_t>& payloads) {
    // From here on it is one block: the kernel can refuse at once what it could not back, while one
    // piece after another would be granted until the process is killed for using them.
    constexpr std::size_t alwaysOneBlock = std::size_t{256} << 20U;
    std::size_t total = 0;
    for (const std::size_t payload : payloads) {
        total = addSizes(total, pieceSize(payload));
    }
    pieces_.reserve(payloads.size());
    char* rest = total >= alwaysOneBlock ? takeBlock(pool, total) : nullptr;
    for (const std::size_t payload : payloads) {
        const std::size_t size = pieceSize(payload);
        if (total >= alwaysOneBlock) {
            pieces_.push_back({rest, size});
            rest += size;
        } else {
            pieces_.push_back({takeBlock(pool, size), size});
        }
    }
}

Pool PoolPieces::piece(std::size_t k) const {
    const auto [begin, size] = pieces_[k];
    return size == 0 ? Pool() : Pool(begin, size);
}

} // namespace ostra::io::json::tree
