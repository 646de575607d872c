#pragma once

/// Numbers as JSON text.

#include "document/text_buffer.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

namespace ostra::io::json::tree {

/// Writes a number value: integers in decimal, doubles as `putDouble`.
/// @param at  where to write, with room for `smallPiece` bytes.
/// @return where the text goes on.
char* putNumber(char* at, const rapidjson::Value& number, bool allowNaNInf);

/// Writes a double: the fewest digits that read back to the same bits and, of those, the closest to
/// the value. A non-finite one is its word (NaN, Infinity, -Infinity) or null.
///
/// The layout is that of RapidJSON's writer (plain up to 21 integer digits or five zeros after the
/// point, else with an exponent; always a fraction or an exponent), its digits are not: RapidJSON's
/// read back correctly, but are not the closest for one double in four (0.1 + 0.2 becomes
/// 0.30000000000000007), and are longer than need be for one in a thousand.
/// @param at  where to write, with room for `smallPiece` bytes.
/// @return where the text goes on.
char* putDouble(char* at, double value, bool allowNaNInf);

} // namespace ostra::io::json::tree
