#ifndef TVIOJSONTREE_PLATFORM_NUMERIC_ARRAY_HPP
#define TVIOJSONTREE_PLATFORM_NUMERIC_ARRAY_HPP

/// What the host's numeric array library (libqx) gives us: typed, n-dimensional arrays whose data
/// is one contiguous block in element order, so that a binding can wrap a column without copying.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

/// The element class of an array.
enum qxClassID : int {
    qxLOGICAL_CLASS = 3, ///< `bool`, one byte, 0 or 1
    qxDOUBLE_CLASS = 6,  ///< `double`
    qxUINT8_CLASS = 9,   ///< `std::uint8_t`
    qxINT64_CLASS = 14,  ///< `std::int64_t`
    qxUINT64_CLASS = 15, ///< `std::uint64_t`
};

/// Whether elements have an imaginary part.
enum qxComplexity : int { qxREAL = 0, qxCOMPLEX = 1 };

namespace cppcompat::detail::span {
template <class T>
using span = std::span<T>;
} // namespace cppcompat::detail::span

namespace matrix {

/// An array of any element class: everything but typed access to the elements.
class __attribute__((visibility("default"))) array_base {
public:
    array_base(const array_base&) = delete;
    array_base& operator=(const array_base&) = delete;

    /// @return the number of elements: the product of the dimensions.
    std::size_t size() const noexcept { return size_; }

    /// @return the extent of each dimension.
    const std::vector<unsigned long>& dims() const noexcept { return dims_; }

    qxClassID class_id() const noexcept { return class_id_; }
    qxComplexity complexity() const noexcept { return complexity_; }

protected:
    array_base(std::span<const unsigned long> dims, std::size_t element_size, qxClassID class_id,
               qxComplexity complexity);
    virtual ~array_base();

    void* data_; // zero-filled at creation, never null

private:
    friend void destroyArray(array_base* array) noexcept;

    std::vector<unsigned long> dims_;
    std::size_t size_;
    qxClassID class_id_;
    qxComplexity complexity_;
    void* block_; // owned, with the data in it
};

/// An array of elements of type `T`. Created by `detail::do_create_numeric`, never directly.
template <class T>
class __attribute__((visibility("default"))) typed_vector final : public array_base {
public:
    /// @return the first of `size()` contiguous elements.
    T* data() noexcept { return static_cast<T*>(data_); }
    const T* data() const noexcept { return static_cast<const T*>(data_); }

    /// For the host library's own use: see `detail::do_create_numeric`.
    typed_vector(std::span<const unsigned long> dims, qxClassID class_id, qxComplexity complexity)
        : array_base(dims, sizeof(T), class_id, complexity) {}
    ~typed_vector() override = default;
};

/// Destroys an array made by `detail::do_create_numeric`; null is allowed.
void destroyArray(array_base* array) noexcept;

namespace detail {

/// Deleter that hands an array back to the host.
struct qxDestroy_deleter {
    void operator()(array_base* array) const noexcept { destroyArray(array); }
};

/// Creates an array whose elements are all zero.
///
/// @param dims        the extent of each dimension.
/// @param class_id    the element class; decides the `typed_vector<T>` that the result is.
/// @param complexity  `qxREAL`; the embedded host has no complex arrays.
/// @return the array, owned by the caller, to be released through `destroyArray`.
/// @throws std::bad_alloc          if memory is exhausted.
/// @throws std::length_error       if the size in bytes overflows.
/// @throws std::invalid_argument   for a class or complexity that the host does not have.
array_base* do_create_numeric(cppcompat::detail::span::span<const unsigned long> dims,
                              qxClassID class_id, qxComplexity complexity);

} // namespace detail
} // namespace matrix

#endif
