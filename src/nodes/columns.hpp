#pragma once

/// Host columns.

#include <ostra/io/json/tree/node_vector_data.hpp>

#include <array>
#include <cstddef>
#include <cstdint>

namespace ostra::io::json::tree {

/// The host's element class for `T`.
template <class T>
inline constexpr qxClassID classIdOf = qxClassID{};
template <>
inline constexpr qxClassID classIdOf<bool> = qxLOGICAL_CLASS;
template <>
inline constexpr qxClassID classIdOf<double> = qxDOUBLE_CLASS;
template <>
inline constexpr qxClassID classIdOf<std::uint8_t> = qxUINT8_CLASS;
template <>
inline constexpr qxClassID classIdOf<std::int64_t> = qxINT64_CLASS;
template <>
inline constexpr qxClassID classIdOf<std::uint64_t> = qxUINT64_CLASS;

/// A real column of `rows` zeros, also for no rows at all.
/// @throws std::bad_alloc, std::length_error
template <class T>
NumericArray<T> makeColumn(std::size_t rows) {
    static_assert(classIdOf<T> != qxClassID{}, "the host has no such element class");
    const std::array<unsigned long, 2> dims = {rows, 1};
    return NumericArray<T>(static_cast<matrix::typed_vector<T>*>(
        matrix::detail::do_create_numeric(dims, classIdOf<T>, qxREAL)));
}

} // namespace ostra::io::json::tree
