#ifndef TVIOJSONTREE_PLATFORM_TEXT_CONVERSION_HPP
#define TVIOJSONTREE_PLATFORM_TEXT_CONVERSION_HPP

/// What the host's text library (libtvi18n) gives us: UTF-8 to UTF-16 and back. Lengths are 64-bit;
/// embedded NUL characters are ordinary ones. Malformed input is the host's business and never an
/// error: the embedded host puts U+FFFD in its place.

#include <cstddef>
#include <string>

namespace fl::i18n {

/// @return the text as UTF-16.
/// @throws std::bad_alloc, std::length_error  if memory or the string's maximum is exhausted.
std::u16string utf8_to_ustring(const std::string& text);

/// As above, for `size` bytes at `text`.
std::u16string utf8_to_ustring(const char* text, std::size_t size);

/// @return the text as UTF-8.
/// @throws std::bad_alloc, std::length_error  if memory or the string's maximum is exhausted.
std::string ustring_to_utf8(const std::u16string& text);

} // namespace fl::i18n

#endif
