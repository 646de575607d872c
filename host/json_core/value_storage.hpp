#pragma once

/// Memory for the values of one builder.

#include "block_source.hpp"

#include <cstddef>

namespace ostra::io::json::core {

/// Hands out pieces of a source's blocks, one behind the other, to one thread.
class __attribute__((visibility("hidden"))) ValueStorage {
public:
    /// Bytes that may be written behind a piece, as long as it is the last one: so copies of whole
    /// vector registers need not stop at the byte.
    static constexpr std::size_t margin = 64;

    /// @param blocks  must outlive the storage.
    explicit ValueStorage(BlockSource& blocks) : source_(blocks) {}
    ~ValueStorage() { releaseRest(); }
    ValueStorage(const ValueStorage&) = delete;
    ValueStorage& operator=(const ValueStorage&) = delete;

    /// @return a piece of `size` bytes, with any content, aligned for values.
    /// @throws std::bad_alloc  where memory is exhausted; nothing has changed then.
    char* allocate(std::size_t size) {
        require(size);
        char* const piece = free_;
        commit(size);
        return piece;
    }

    // A piece whose size shows only while it is written: write to `free`, up to `room` bytes (and
    // the margin), then `commit` what has become of it.

    char* free() const { return free_; }
    std::size_t room() const { return static_cast<std::size_t>(end_ - free_); }

    /// Makes the room at least `size`; `free` may be elsewhere then, its content is not moved.
    /// @throws std::bad_alloc  where memory is exhausted; nothing has changed then.
    void require(std::size_t size) {
        if (size > room()) {
            addBlock(size);
        }
    }

    /// @param size  at most the room.
    void commit(std::size_t size) { free_ += roundedUp(size); }

    /// Leaves the rest of the last block to others.
    void releaseRest() noexcept;

    /// Leaves all to others: what has been handed out is lost.
    void discard() noexcept;

    /// Leaves what has been handed out to the document, the rest to others. This is as new then.
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
    char* free_ = nullptr; // aligned, as the end: what fits does so when rounded up, too
    char* end_ = nullptr;
};

} // namespace ostra::io::json::core
