#include "platform/string_array.hpp"

#include "../element_count.hpp"
#include "base/huge_pages.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

namespace Tarvel::String {
namespace {

constexpr std::size_t smallestBlock = 2048; // characters
constexpr std::size_t largestBlock = std::size_t{8} << 20U;

void requireIndex(std::size_t i, std::size_t size) {
    if (i >= size) {
        throw std::out_of_range("string array: no element " + std::to_string(i) + " among " +
                                std::to_string(size));
    }
}

} // namespace

// Texts stand one behind the other in large blocks: as strings of their own, each with a header of
// the C library's, half a million of 13 characters took 44 MB instead of 21, and as long again to
// fill.
String::String(std::size_t ndims, const std::size_t* dims) : dims_(dims, dims + ndims) {
    const std::size_t count = embedded_host::elementCount(dims_);
    base::reserveOnHugePages(elements_, count);
    elements_.resize(count);
}

String::~String() = default;

std::size_t String::size() const noexcept {
    return elements_.size();
}

const std::vector<std::size_t>& String::dims() const noexcept {
    return dims_;
}

std::optional<std::u16string_view> String::get(std::size_t i) const {
    requireIndex(i, size());
    const auto [text, length] = elements_[i];
    return text == nullptr ? std::nullopt : std::optional(std::u16string_view(text, length));
}

void String::set(std::size_t i, std::u16string_view text) {
    requireIndex(i, size());
    Element& element = elements_[i];
    if (element.text != nullptr && text.size() <= element.size) {
        std::memmove(element.text, text.data(), text.size() * sizeof(char16_t));
    } else {
        element.text = store(text);
    }
    used_ = used_ - element.size + text.size();
    element.size = text.size();
}

void String::clear(std::size_t i) {
    requireIndex(i, size());
    used_ -= elements_[i].size;
    elements_[i] = {};
}

/// Copies a text behind the last one or into a new block; when half of what the blocks hold has
/// been replaced, all texts move there.
char16_t* String::store(std::u16string_view text) {
    if (free_ != nullptr && text.size() <= room_) {
        return append(text);
    }
    const bool compact = used_ < allocated_ / 2;
    const std::size_t needed = text.size() + (compact ? used_ : 0);
    const std::size_t capacity =
        std::max(needed, std::clamp(allocated_, smallestBlock, largestBlock));
    blocks_.push_back(std::make_unique_for_overwrite<char16_t[]>(capacity));
    base::adviseHugePages(blocks_.back().get(), capacity * sizeof(char16_t));
    free_ = blocks_.back().get();
    room_ = capacity;
    allocated_ += capacity;
    char16_t* const stored = append(text); // before its old place goes, if it is one of ours
    if (compact) {
        for (Element& element : elements_) {
            if (element.text != nullptr) {
                element.text = append({element.text, element.size});
            }
        }
        blocks_.erase(blocks_.begin(), blocks_.end() - 1);
        allocated_ = capacity;
    }
    return stored;
}

char16_t* String::append(std::u16string_view text) noexcept {
    char16_t* const begin = free_;
    free_ = std::copy(text.begin(), text.end(), free_);
    room_ -= text.size();
    return begin;
}

std::unique_ptr<String> make_String(std::size_t ndims, const std::size_t* dims) {
    return std::make_unique<String>(ndims, dims);
}

} // namespace Tarvel::String
