#pragma once

/// From the text of a JSON number to the nearest double.

#include <optional>
#include <string_view>

namespace ostra::io::json::core {

/// Rounds correctly (to nearest, ties to even), whatever the number's length; a magnitude too small
/// for a double becomes zero with the number's sign.
///
/// @param number  a number by JSON's grammar.
/// @return the double; empty if the magnitude is beyond every finite double.
/// @throws std::bad_alloc  for very long numbers only. Cost: linear in the length.
std::optional<double> nearestDouble(std::string_view number);

} // namespace ostra::io::json::core
