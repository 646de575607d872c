#pragma once

/// What may stand between the tokens of a text.

#include <cstddef>
#include <string_view>

namespace ostra::io::json::core {

/// Skips white space and, if allowed, comments.
///
/// @return where the next token begins; `text.size()` if the text shows none, perhaps
///         because it ends within a comment. What looks like a comment but is not one stays.
std::size_t skipBlank(std::string_view text, std::size_t at, bool allowComments);

} // namespace ostra::io::json::core
