#pragma once

/// Finding places in a text where reading can begin.

#include <cstddef>
#include <string_view>

namespace ostra::io::json::core {

/// Guesses, from a part of a JSON text, where an element of an array, or a member of an object,
/// begins: behind the comma after another one, on the highest level that the part shows, as early
/// as possible there.
///
/// In a well-formed text without comments the guess is right unless the part lies in a string of
/// which it sees no end.
///
/// @param text  JSON text, of any content.
/// @param from  where the part begins, within the text.
/// @param size  bytes to look at; cut off at the end of the text.
/// @param inObject  whether a member is looked for.
/// @return the position of the element's first byte, `std::string_view::npos` if there is none.
std::size_t findElement(std::string_view text, std::size_t from, std::size_t size,
                        bool inObject = false);

} // namespace ostra::io::json::core
