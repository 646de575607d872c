#pragma once

/// Text for a terminal.

#include <cstddef>
#include <string>

namespace example {

std::u16string u16(const std::string& utf8);
std::string u8(std::u16string_view text);

/// @return the text with its control characters written as escapes, so that no document can move
///         the cursor, break a line or send the terminal a command.
std::string printable(const std::string& utf8);

/// @return the first `characters` of the text, printable, with an ellipsis if it is longer.
std::string shortened(std::u16string_view text, std::size_t characters);

/// @return the number of characters (code points) of the text.
std::size_t characterCount(const std::u16string& text);

/// @return 1234567 as "1,234,567".
std::string grouped(std::size_t number);

/// @return "1 element", "2,400 elements".
std::string counted(std::size_t number, const std::string& noun);

/// @return the text padded with spaces to `width` columns of a terminal, where an ideograph
///         takes two. `LC_CTYPE` must be a UTF-8 locale.
std::string padded(const std::string& utf8, std::size_t width);

/// Writes to the standard output.
/// @throws std::runtime_error  if that fails.
void print(const std::string& utf8);

} // namespace example
