#pragma once

/// How the JSON reader reports an error.

#include <ostra/io/json/core/parse_error.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ostra::io::json::core {

/// Throws a `ParseError`.
///
/// The message names the source (left out with its colon when empty), line and column, the reason,
/// and the byte. Lines and columns count from 1; LF, CRLF and a lone CR each end a line, as they do
/// for editors; a column counts Unicode code points, without a byte-order mark. The byte counts
/// from 0 and includes the mark. Control characters in the source's name are spelt out.
///
/// @param sourceName  names the source; may be empty.
/// @param text        the whole text, valid UTF-8 up to `offset`.
/// @param offset      the offending byte; `text.size()` if the text ends too early.
/// @param reason      what is wrong, free of control characters.
/// @param record      the record's number, if there are records.
[[noreturn]] void throwParseError(const std::u16string& sourceName, std::string_view text,
                                  std::size_t offset, const std::string& reason,
                                  std::optional<std::size_t> record = std::nullopt);

/// The same for a byte of malformed UTF-8.
[[noreturn]] void throwMalformed(const std::u16string& sourceName, std::string_view text,
                                 std::size_t offset);

/// @return what is wrong with a byte of malformed UTF-8.
std::string malformedReason(char byte);

/// @return `text` with its control characters spelt out as in `\u000A`, for use in a message.
std::string printable(std::string_view text);

/// @return the value in upper case hexadecimal digits, at least `width` of them.
std::string hexadecimal(std::uint32_t value, std::size_t width);

} // namespace ostra::io::json::core
