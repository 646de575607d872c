#pragma once

/// The element count that a list of dimensions stands for, as both kinds of host array have it.

#include <algorithm>
#include <cstddef>
#include <span>
#include <stdexcept>

namespace embedded_host {

/// @param dims  the extent of each dimension.
/// @return their product: 0 if any extent is 0, whatever the others; 1 if there are none,
///         since an array without dimensions is a scalar.
/// @throws std::length_error  if the product overflows.
inline std::size_t elementCount(std::span<const std::size_t> dims) {
    if (std::find(dims.begin(), dims.end(), std::size_t{0}) != dims.end()) {
        return 0;
    }
    std::size_t count = 1;
    for (const std::size_t extent : dims) {
        if (__builtin_mul_overflow(count, extent, &count)) {
            throw std::length_error("array dimensions: more elements than memory has addresses");
        }
    }
    return count;
}

} // namespace embedded_host
