#ifndef TVIOJSONTREE_PLATFORM_STRING_ARRAY_HPP
#define TVIOJSONTREE_PLATFORM_STRING_ARRAY_HPP

/// What the host's string library (libtvstring_core) gives us: n-dimensional arrays of UTF-16
/// strings, each of which may be missing.

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace Tarvel::String {

/// An array of strings. A fresh element is missing, which is not the same as an empty string.
class __attribute__((visibility("default"))) String {
public:
    /// @param ndims  number of dimensions.
    /// @param dims   the extent of each, `ndims` of them.
    /// @throws std::bad_alloc, std::length_error  if memory is exhausted or the size overflows.
    String(std::size_t ndims, const std::size_t* dims);
    ~String();
    String(const String&) = delete;
    String& operator=(const String&) = delete;

    /// @return the number of elements: the product of the dimensions.
    std::size_t size() const noexcept;

    /// @return the extent of each dimension.
    const std::vector<std::size_t>& dims() const noexcept;

    /// @param i  0-based position in element order.
    /// @return the element's text, nothing when it is missing; valid until an element changes.
    /// @throws std::out_of_range  if `i` is not below `size()`.
    std::optional<std::u16string_view> get(std::size_t i) const;

    /// Replaces element `i` by a copy of `text`, which may lie in the array itself.
    /// @throws std::out_of_range  if `i` is not below `size()`; nothing changes.
    /// @throws std::bad_alloc     if memory is exhausted; nothing changes.
    void set(std::size_t i, std::u16string_view text);

    /// Makes element `i` missing.
    /// @throws std::out_of_range  if `i` is not below `size()`; nothing changes.
    void clear(std::size_t i);

private:
    struct Element {
        char16_t* text = nullptr; // null when missing
        std::size_t size = 0;
    };

    char16_t* store(std::u16string_view text);
    char16_t* append(std::u16string_view text) noexcept;

    std::vector<std::size_t> dims_;
    std::vector<Element> elements_;
    std::vector<std::unique_ptr<char16_t[]>> blocks_;
    std::size_t allocated_ = 0; // characters, in all blocks
    std::size_t used_ = 0;      // characters, of all texts
    char16_t* free_ = nullptr;  // in the last block
    std::size_t room_ = 0;
};

/// Creates an array whose elements are all missing; parameters and failures as `String::String`.
std::unique_ptr<String> make_String(std::size_t ndims, const std::size_t* dims);

} // namespace Tarvel::String

#endif
