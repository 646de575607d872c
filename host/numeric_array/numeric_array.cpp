#include "platform/numeric_array.hpp"

#include "../element_count.hpp"
#include "base/huge_pages.hpp"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>

namespace matrix {

// calloc hands out fresh zero pages of the system untouched, so that a big column costs nothing
// until it is filled. It then lies on huge pages from end to end: filling four megabytes of fresh
// small ones takes a millisecond longer. The block comes last: nothing after it can throw and
// leak it.
array_base::array_base(std::span<const unsigned long> dims, std::size_t element_size,
                       qxClassID class_id, qxComplexity complexity)
    : data_(nullptr), dims_(dims.begin(), dims.end()), size_(embedded_host::elementCount(dims)),
      class_id_(class_id), complexity_(complexity), block_(nullptr) {
    if (size_ > std::size_t{std::numeric_limits<std::ptrdiff_t>::max()} / element_size) {
        throw std::length_error("numeric array: more bytes than memory has addresses");
    }
    const std::size_t bytes = std::max<std::size_t>(size_ * element_size, 1);
    block_ = std::calloc(base::roomOnHugePages(bytes), 1);
    if (block_ == nullptr) {
        throw std::bad_alloc();
    }
    data_ = base::placeOnHugePages(block_, bytes);
}

array_base::~array_base() {
    std::free(block_);
}

void destroyArray(array_base* array) noexcept {
    delete array;
}

namespace detail {

array_base* do_create_numeric(cppcompat::detail::span::span<const unsigned long> dims,
                              qxClassID class_id, qxComplexity complexity) {
    if (complexity != qxREAL) {
        throw std::invalid_argument("numeric array: no arrays of complexity " +
                                    std::to_string(complexity));
    }
    switch (class_id) {
    case qxLOGICAL_CLASS:
        return new typed_vector<bool>(dims, class_id, complexity);
    case qxDOUBLE_CLASS:
        return new typed_vector<double>(dims, class_id, complexity);
    case qxUINT8_CLASS:
        return new typed_vector<std::uint8_t>(dims, class_id, complexity);
    case qxINT64_CLASS:
        return new typed_vector<std::int64_t>(dims, class_id, complexity);
    case qxUINT64_CLASS:
        return new typed_vector<std::uint64_t>(dims, class_id, complexity);
    }
    throw std::invalid_argument("numeric array: no element class " + std::to_string(class_id));
}

} // namespace detail
} // namespace matrix
