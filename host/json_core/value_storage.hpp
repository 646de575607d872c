#pragma once

/// Memory for the values of one builder.

#include "block_source.hpp"

#include <cstddef>

namespace ostra::io::json::core {

/// Allocates consecutive pieces from a source's blocks, for one thread.
class __attribute__((visibility("hidden"))) ValueStorage {
public:
    /// Bytes that may be written after the latest piece, so that copies can use whole vector
    /// registers.
    static constexpr std::size_t margin = 64;

    /// @param blocks  must outlive the storage.
    explicit ValueStorage(BlockSource& blocks) : source_(blocks) {}
    ~ValueStorage() { releaseRest(); }
    ValueStorage(const ValueStorage&) = delete;
    ValueStorage& operator=(const ValueStorage&) = delete;

    /// @return a piece of `size` bytes, with any content, aligned for values.
    /// @throws std::bad_alloc  if memory is exhausted; nothing has changed then.
    char* allocate(std::size_t size) {
        require(size);
        char* const piece = free_;
        commit(size);
        return piece;
    }

    // For a piece whose size is unknown until it is written: write up to `room` bytes (and the
    // margin) to `free`, then `commit` the size.

    char* free() const { return free_; }
    std::size_t room() const { return static_cast<std::size_t>(end_ - free_); }

    /// Makes the room at least `size`. `free` may move; content there is not copied.
    /// @throws std::bad_alloc  if memory is exhausted; nothing has changed then.
    void require(std::size_t size) {
        if (size > room()) {
            addBlock(size);
        }
    }

    /// @param size  at most the room.
    void commit(std::size_t size) { free_ += roundedUp(size); }

    /// Gives the unused rest of the last block back to the source.
    void releaseRest() noexcept;

    /// Gives all blocks back to the source, with everything allocated from them.
    void discard() noexcept;

    /// Leaves the allocated pieces to the document and starts afresh.
    void handOver() noexcept {
        releaseRest();
        last_ = nullptr;
    }

private:
    /// Stands at the start of every block.
    struct Block {
        Block* previous;
        std::size_t size; // of all of it
    };

    static constexpr std::size_t alignment = 8;

    static constexpr std::size_t roundedUp(std::size_t size) {
        return (size + alignment - 1) / alignment * alignment;
    }

    [[gnu::noinline]] void addBlock(std::size_t size);

    BlockSource& source_;
    Block* last_ = nullptr;
    char* free_ = nullptr; // aligned as the end is: a size that fits also fits rounded up
    char* end_ = nullptr;
};

} // namespace ostra::io::json::core
