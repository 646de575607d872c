#pragma once

/// The digits of doubles.

#include <cstddef>

namespace ostra::io::json::tree {

/// Room that `writeFinite` needs.
constexpr std::size_t longestDouble = 32;

/// Writes a finite double: the fewest digits that read back to the same bits and, of those, the
/// closest to the value.
///
/// The layout is that of RapidJSON's writer (plain up to 21 integer digits or five zeros after the
/// point, else with an exponent; always a fraction or an exponent), its digits are not: RapidJSON's
/// read back correctly, but are not the closest for one double in four (0.1 + 0.2 becomes
/// 0.30000000000000007), and are longer than need be for one in a thousand.
///
/// @param out    where the text goes; `longestDouble` bytes.
/// @param value  a finite double; the sign of zero is kept.
/// @return the end of the text.
char* writeFinite(char* out, double value);

} // namespace ostra::io::json::tree
