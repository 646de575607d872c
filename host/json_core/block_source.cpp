#include "block_source.hpp"

#include "base/pool_memory.hpp"

#include <algorithm>

namespace ostra::io::json::core {

namespace {

/// Large enough for huge pages, small enough that the C library keeps blocks for the next document
/// where it has been given reason to (it always returns those of 32 MiB and more to the system).
constexpr std::size_t largestBlock = std::size_t{16} << 20U;

/// A smaller rest is not worth looking at again.
constexpr std::size_t smallestRest = std::size_t{64} << 10U;

} // namespace

BlockSource::BlockSource(rapidjson::Document::AllocatorType& pool, std::size_t textSize)
    : pool_(pool), blockSize_(std::min(valuesPerText * textSize, largestBlock)) {}

std::span<char> BlockSource::take(std::size_t size) {
    const std::lock_guard lock(mutex_);
    spare_.reserve(2 * ++taken_); // its rest and the part in front come back one by one
    const auto fitting = std::find_if(spare_.begin(), spare_.end(), [size](std::span<char> spare) {
        return spare.size() >= size;
    });
    if (fitting != spare_.end()) {
        const std::span<char> block = *fitting;
        spare_.erase(fitting);
        return block;
    }
    const std::size_t blockSize = std::max(size, blockSize_);
    return {static_cast<char*>(base::takeFromPool(pool_, blockSize)), blockSize};
}

void BlockSource::giveBack(std::span<char> unused) noexcept {
    if (unused.size() >= smallestRest) {
        const std::lock_guard lock(mutex_);
        spare_.push_back(unused);
    }
}

} // namespace ostra::io::json::core
