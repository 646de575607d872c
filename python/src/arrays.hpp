#pragma once

/// NumPy arrays: results wrapped without copying, arguments as contiguous memory.

#include "arguments.hpp"

#include <ostra/io/json/tree/node_vector_data.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace ostrajson {

namespace tree = ostra::io::json::tree;

/// Element types of the arrays that come and go.
enum class Element { Bool, UInt8, Int64, UInt64, Double, Int32 };

template <class T>
inline constexpr Element elementOf = Element::Double;
template <>
inline constexpr Element elementOf<bool> = Element::Bool;
template <>
inline constexpr Element elementOf<std::uint8_t> = Element::UInt8;
template <>
inline constexpr Element elementOf<std::int32_t> = Element::Int32;
template <>
inline constexpr Element elementOf<std::int64_t> = Element::Int64;
template <>
inline constexpr Element elementOf<std::uint64_t> = Element::UInt64;

/// To be called once, before all else.
void bindArrays();

/// A writable one-dimensional array over memory that `owner` keeps alive.
nb::object wrapArray(Element element, void* data, std::size_t size, nb::object owner);

/// A one-dimensional array over memory that a Python object keeps alive.
template <class T>
nb::object wrapArray(T* data, std::size_t size, nb::object owner) {
    return wrapArray(elementOf<T>, data, size, std::move(owner));
}

/// Wraps what an owner holds. The owner lives as long as the array and all views of it.
template <class T, class Owner>
nb::object wrapArray(T* data, std::size_t size, Owner owner) {
    auto kept = std::make_unique<Owner>(std::move(owner));
    const nb::capsule capsule(kept.get(),
                              [](void* pointer) noexcept { delete static_cast<Owner*>(pointer); });
    static_cast<void>(kept.release());
    return wrapArray(elementOf<T>, data, size, capsule);
}

template <class T>
nb::object toNumPy(tree::NumericArray<T> column) {
    T* const data = column->data();
    const std::size_t size = column->size();
    return wrapArray(data, size, std::move(column));
}

template <class T>
nb::object toNumPy(std::vector<T> values) {
    auto kept = std::make_unique<std::vector<T>>(std::move(values)); // where its elements stay
    T* const data = kept->data();
    const std::size_t size = kept->size();
    return wrapArray(data, size, std::move(kept));
}

/// An array argument as contiguous elements in C order, whatever its shape; borrowed if it has
/// that form already.
class ArrayInput {
public:
    /// @throws nb::python_error  TypeError, naming the argument, for what cannot become an array of
    ///                           that type without loss of kind (a float where integers are
    ///                           wanted); OverflowError or ValueError for integers that do not fit.
    ArrayInput(nb::handle given, Element element, const char* name);

    std::size_t size() const { return size_; }

    template <class T>
    std::span<const T> as() const {
        return {static_cast<const T*>(data_), size_};
    }

private:
    nb::object array_;
    const void* data_ = nullptr;
    std::size_t size_ = 0;
};

/// A copy of an array argument as one of the library's columns; failures as `ArrayInput`.
template <class T>
tree::NumericArray<T> toColumn(nb::handle given, const char* name);

/// The positions that an index selects among `size`: an array or sequence of integers (negative
/// ones count from the end), or a mask of `size` booleans.
/// @throws nb::python_error  IndexError, TypeError
tree::NumericArray<unsigned long> toPositions(nb::handle index, std::size_t size);

/// Makes an object array of its elements, which are new references; on failure (null) raises.
nb::object objectArray(std::size_t size, const std::function<PyObject*(std::size_t)>& make);

/// A function or class of NumPy's.
nb::object numpy(const char* name);

} // namespace ostrajson
