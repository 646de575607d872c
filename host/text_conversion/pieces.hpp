#pragma once

/// Text conversion piece by piece, with the piece size as a parameter so that the seams between
/// pieces can be tested with short texts.

#include <cstddef>
#include <string>

namespace fl::i18n::detail {

/// Code units (bytes or UTF-16) converted at a time. A piece goes through a buffer on the stack,
/// which stays in the first-level cache and spares the result a pass of zero-filling.
inline constexpr std::size_t largestPiece = 1024;

/// The smallest piece: one character of either encoding always fits.
inline constexpr std::size_t smallestPiece = 4;

/// @param piece  code units per piece, `smallestPiece` to `largestPiece`; the result is the same
///               for all.
std::u16string toUtf16(const char* text, std::size_t size, std::size_t piece);
std::string toUtf8(const char16_t* text, std::size_t size, std::size_t piece);

} // namespace fl::i18n::detail
