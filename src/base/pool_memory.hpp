#pragma once

/// Memory from a document's pool, for both sides of the seam.

#include "base/huge_pages.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <cstdint>
#include <new>

namespace base {

/// Room for the header that RapidJSON keeps at the start of a buffer: 24 bytes in release 1.1.0, up
/// to 64 in later ones.
inline constexpr std::size_t poolHeaderSize = 64;

/// Memory from a document's pool, on huge pages if it is large; null for 0 bytes.
/// @throws std::bad_alloc  if the pool cannot give it.
inline void* takeFromPool(rapidjson::Document::AllocatorType& pool, std::size_t size) {
    // The pool adds its own header to the size requested, unchecked.
    void* const block =
        size <= PTRDIFF_MAX - poolHeaderSize ? pool.Malloc(roomOnHugePages(size)) : nullptr;
    if (block == nullptr && size != 0) {
        throw std::bad_alloc();
    }
    return placeOnHugePages(block, size);
}

} // namespace base
