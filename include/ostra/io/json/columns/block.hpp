#pragma once

/// @file
/// Contiguous memory that grows in place: what holds the values, offsets and states of columns.
///
/// Threads: a block is used by one thread at a time, or read by many while none changes it. Nothing
/// throws that is not said to; after an exception a block is as it was.

#include <ostra/io/json/columns/export.hpp>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

namespace ostra::io::json::columns {

/// Raw memory that grows in place if it can: large blocks are mapped with address space ahead
/// of them, so that growing neither copies nor needs old and new block at once.
class TVIOJSONCOLUMNS_EXPORT Memory {
public:
    Memory() noexcept = default;
    ~Memory();
    Memory(Memory&& other) noexcept;
    Memory& operator=(Memory&& other) noexcept;
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    /// @return the first byte, null if nothing has been reserved; valid until the next `reserve`,
    ///         `shrink`, move or destruction.
    std::byte* data() noexcept { return data_; }
    const std::byte* data() const noexcept { return data_; }
    /// @return how many bytes can be used.
    std::size_t capacity() const noexcept { return capacity_; }

    /// Makes room for `size` bytes in all; keeps the first `used`. Grows by half at least.
    /// @param used  bytes, at most `capacity()`.
    /// Cost: constant for each page in use if the block is mapped already; else a copy.
    /// @throws std::bad_alloc  if memory is exhausted; nothing changes.
    void reserve(std::size_t size, std::size_t used);

    /// Gives what lies behind the first `used` bytes back to the system if that is worth it.
    /// @param used  bytes, at most `capacity()`; what is kept may move.
    /// Cost: constant if the block is mapped; else at most a copy.
    void shrink(std::size_t used) noexcept;

private:
    TVIOJSONCOLUMNS_LOCAL void reserveMapped(std::size_t size, std::size_t used);
    TVIOJSONCOLUMNS_LOCAL void release() noexcept;

    std::byte* data_ = nullptr;
    std::size_t capacity_ = 0;
    bool mapped_ = false; // else the block is malloc's
};

/// A growable array of plain elements: a vector that can grow without initialising what is added,
/// and without a copy if it is large. Moving takes the memory along and leaves an empty array.
///
/// Pointers and references to elements are valid until the array grows beyond what is reserved, is
/// shrunk, moved or destroyed. No index is checked.
///
/// @tparam T  trivially copyable; its alignment at most that of `malloc`.
template <class T>
class Block {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Block() noexcept = default;
    Block(Block&& other) noexcept
        : memory_(std::move(other.memory_)), size_(std::exchange(other.size_, 0)) {}
    Block& operator=(Block&& other) noexcept {
        memory_ = std::move(other.memory_);
        size_ = std::exchange(other.size_, 0);
        return *this;
    }

    /// @return the first element; null if nothing has been reserved.
    T* data() noexcept { return reinterpret_cast<T*>(memory_.data()); }
    const T* data() const noexcept { return reinterpret_cast<const T*>(memory_.data()); }
    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    T& operator[](std::size_t i) noexcept { return data()[i]; }
    const T& operator[](std::size_t i) const noexcept { return data()[i]; }
    T* begin() noexcept { return data(); }
    T* end() noexcept { return data() + size_; }
    const T* begin() const noexcept { return data(); }
    const T* end() const noexcept { return data() + size_; }

    /// Makes room for `count` elements in all.
    /// @throws std::bad_alloc  if memory is exhausted; nothing changes.
    void reserve(std::size_t count) {
        if (count > memory_.capacity() / sizeof(T)) {
            if (count > static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(T)) {
                throw std::bad_alloc();
            }
            memory_.reserve(count * sizeof(T), size_ * sizeof(T));
        }
    }

    /// Appends a copy of `value`, which must not be an element of this array.
    /// @throws std::bad_alloc  as `reserve`. Cost: amortised constant.
    void push_back(const T& value) {
        if ((size_ + 1) * sizeof(T) > memory_.capacity()) {
            reserve(size_ + 1);
        }
        data()[size_++] = value;
    }

    /// Appends `count` elements whose content is the caller's to write.
    /// @return the first of them.
    /// @throws std::bad_alloc  as `reserve`. Cost: amortised constant.
    T* extend(std::size_t count) {
        if (count > static_cast<std::size_t>(PTRDIFF_MAX) - size_) {
            throw std::bad_alloc();
        }
        reserve(size_ + count);
        T* const first = data() + size_;
        size_ += count;
        return first;
    }

    /// Appends copies of `count` elements, which must not be elements of this array.
    /// @throws std::bad_alloc  as `reserve`. Cost: amortised linear in `count`.
    void append(const T* values, std::size_t count) {
        if (count != 0) {
            std::memcpy(static_cast<void*>(extend(count)), values, count * sizeof(T));
        }
    }

    /// Makes the first `count` elements, which are reserved and written, the whole array.
    void setSize(std::size_t count) noexcept { size_ = count; }
    /// Removes all elements and keeps the memory.
    void clear() noexcept { size_ = 0; }
    /// Gives memory that is reserved beyond the elements back, as `Memory::shrink`.
    void shrink() noexcept { memory_.shrink(size_ * sizeof(T)); }

private:
    Memory memory_;
    std::size_t size_ = 0;
};

} // namespace ostra::io::json::columns
