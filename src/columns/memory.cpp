#include "base/huge_pages.hpp"

#include <ostra/io/json/columns/block.hpp>

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace ostra::io::json::columns {

namespace {

using base::hugePage;

/// Maps fresh memory that begins with a huge page.
/// @param size  whole huge pages.
/// @return null if there is none.
std::byte* mapAligned(std::size_t size) {
    const std::size_t room = size + hugePage;
    void* const mapped =
        ::mmap(nullptr, room, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) {
        return nullptr;
    }
    auto* const begin = static_cast<std::byte*>(mapped);
    const std::size_t intoPage = reinterpret_cast<std::uintptr_t>(mapped) % hugePage;
    const std::size_t head = (hugePage - intoPage) % hugePage;
    if (head != 0) {
        ::munmap(begin, head);
    }
    if (head != hugePage) {
        ::munmap(begin + head + size, hugePage - head);
    }
    base::adviseHugePages(begin + head, size);
    return begin + head;
}

/// Moves the pages of a mapped block to another one, from huge page to huge page: if only one
/// of the two began with one, the kernel would take all of them apart.
bool movePages(std::byte* from, std::size_t size, std::byte* to, std::size_t newSize) {
    // When it fails, `to` is perhaps unmapped and somebody else's already: it is not ours to unmap.
    return ::mremap(from, size, newSize, MREMAP_MAYMOVE | MREMAP_FIXED, to) != MAP_FAILED;
}

} // namespace

Memory::~Memory() {
    release();
}

Memory::Memory(Memory&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)), capacity_(std::exchange(other.capacity_, 0)),
      mapped_(std::exchange(other.mapped_, false)) {}

Memory& Memory::operator=(Memory&& other) noexcept {
    if (this != &other) {
        release();
        data_ = std::exchange(other.data_, nullptr);
        capacity_ = std::exchange(other.capacity_, 0);
        mapped_ = std::exchange(other.mapped_, false);
    }
    return *this;
}

void Memory::reserve(std::size_t size, std::size_t used) {
    if (size <= capacity_) {
        return;
    }
    constexpr std::size_t most = PTRDIFF_MAX / 16;
    if (size > most) {
        throw std::bad_alloc();
    }
    const std::size_t larger = std::max(size, capacity_ + capacity_ / 2);
    if (larger >= base::worthHugePages) {
        reserveMapped(size, used);
        return;
    }
    void* const block = std::realloc(data_, larger);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    data_ = static_cast<std::byte*>(block);
    capacity_ = larger;
}

/// Address space costs nothing if it is not touched, and moving 1 GiB of pages takes under a
/// millisecond; so a mapping is seldom outgrown, and its size is only tried as far as the system
/// grants it.
void Memory::reserveMapped(std::size_t size, std::size_t used) {
    constexpr std::size_t firstMapped = std::size_t{64} << 20U;
    const std::size_t sizes[] = {std::max(firstMapped, 8 * size), size + size / 2, size + size / 16,
                                 size};
    for (const std::size_t wanted : sizes) {
        const std::size_t room = (wanted + hugePage - 1) / hugePage * hugePage;
        std::byte* const block = mapAligned(room);
        if (block == nullptr) {
            continue;
        }
        if (!mapped_) {
            if (used != 0) {
                std::memcpy(block, data_, used);
            }
            std::free(data_);
        } else if (!movePages(data_, capacity_, block, room)) {
            break;
        }
        data_ = block;
        capacity_ = room;
        mapped_ = true;
        return;
    }
    throw std::bad_alloc();
}

void Memory::shrink(std::size_t used) noexcept {
    if (used == 0) {
        release();
        return;
    }
    if (mapped_) {
        const std::size_t kept = (used + hugePage - 1) / hugePage * hugePage;
        if (kept < capacity_) {
            ::munmap(data_ + kept, capacity_ - kept);
            capacity_ = kept;
        }
    } else if (capacity_ - used > capacity_ / 8) {
        if (void* const block = std::realloc(data_, used)) {
            data_ = static_cast<std::byte*>(block);
            capacity_ = used;
        }
    }
}

void Memory::release() noexcept {
    if (mapped_) {
        ::munmap(data_, capacity_);
    } else {
        std::free(data_);
    }
    data_ = nullptr;
    capacity_ = 0;
    mapped_ = false;
}

} // namespace ostra::io::json::columns
