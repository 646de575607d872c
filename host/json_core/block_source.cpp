#include "block_source.hpp"

#include "base/pool_memory.hpp"

#include <algorithm>
#include <new>

namespace ostra::io::json::core {

namespace {

/// Large enough for huge pages, small enough that the C library keeps blocks for the next document
/// if it is told to (it always returns those of 32 MiB and more to the system).
constexpr std::size_t largestBlock = std::size_t{16} << 20U;

/// Room for what a builder needs besides its values.
constexpr std::size_t smallestBlock = std::size_t{1} << 10U;

/// A smaller rest is not worth looking at again.
constexpr std::size_t smallestRest = std::size_t{64} << 10U;

} // namespace

BlockSource::BlockSource(rapidjson::Document::AllocatorType& pool, std::size_t textSize,
                         Threads threads)
    : pool_(pool), threads_(threads),
      nextSize_(std::min(valuesPerText * textSize + smallestBlock, largestBlock)) {}

std::unique_lock<std::mutex> BlockSource::lock() {
    return threads_ == Threads::one ? std::unique_lock(mutex_, std::defer_lock)
                                    : std::unique_lock(mutex_);
}

std::span<char> BlockSource::take(std::size_t size) {
    const std::unique_lock held = lock();
    for (Spare** link = &spare_; *link != nullptr; link = &(*link)->next) {
        Spare* const fitting = *link;
        if (fitting->size >= size) {
            *link = fitting->next;
            return {reinterpret_cast<char*>(fitting), fitting->size};
        }
    }
    const std::size_t blockSize = std::max(size, nextSize_);
    char* const block = static_cast<char*>(base::takeFromPool(pool_, blockSize));
    // The sum of blocks that double stays below twice the largest, which is how much free memory
    // the C library keeps at the top of its heap. Equal blocks exceeded that, and were returned to
    // the system after each document: 900 page faults each time for a text of 3 MB.
    nextSize_ = std::min(2 * nextSize_, largestBlock);
    return {block, blockSize};
}

void BlockSource::giveBack(std::span<char> unused) noexcept {
    if (unused.size() >= smallestRest) {
        const std::unique_lock held = lock();
        spare_ = ::new (unused.data()) Spare{spare_, unused.size()};
    }
}

} // namespace ostra::io::json::core
