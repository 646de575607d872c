#pragma once

/// UTF-8 as the JSON reader needs it.

#include <cstddef>
#include <string>
#include <string_view>

namespace ostra::io::json::core {

/// @return the number of bytes at the start of `text` that are a byte-order mark: 3 or 0.
constexpr std::size_t byteOrderMarkSize(std::string_view text) {
    return text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
}

/// @return whether `text` is well-formed UTF-8 (Unicode 15, table 3-7).
bool isWellFormedUtf8(std::string_view text);

/// @return the offset of the first byte of the first sequence in `text` that is not well-formed
///         UTF-8 (Unicode 15, table 3-7: no overlong forms, no surrogates, nothing above U+10FFFF);
///         `text.size()` if there is none. Cost: linear.
std::size_t findMalformedUtf8(std::string_view text);

/// @return how many bytes at the end of `text` begin a sequence that it does not show whole: 0
/// to 3.
///         They may still turn out to be malformed.
std::size_t incompleteTail(std::string_view text);

/// @return the code point at the start of `text`, which is not empty and well-formed.
char32_t firstCodePoint(std::string_view text);

/// Appends a code point, not a surrogate and at most U+10FFFF, to `text`.
void appendUtf8(std::string& text, char32_t codePoint);

} // namespace ostra::io::json::core
