#pragma once

/// String values as JSON text.

#include "document/text_buffer.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

namespace ostra::io::json::tree {

/// Writes a string value in quotes. The quote, the backslash and control characters are escaped
/// (RFC 8259, section 7: as \b, \t, \n, \f, \r, or \u00XX in upper case), all other bytes are
/// copied as they are, whatever their encoding.
/// @param at  where the text goes on, with room for `smallPiece` bytes.
/// @return where it goes on then: `smallPiece` bytes further at most, or with `entryRoom` again.
/// @throws std::bad_alloc
char* putString(TextBuffer& out, char* at, const rapidjson::Value& string);

} // namespace ostra::io::json::tree
