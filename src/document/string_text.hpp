#pragma once

/// String values as JSON text.

#include "document/text_buffer.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

namespace ostra::io::json::tree {

/// Writes a string value in quotes. The quote, the backslash and control characters are escaped
/// (RFC 8259, section 7: as \b, \t, \n, \f, \r, or \u00XX in upper case), all other bytes are
/// copied as they are, whatever their encoding.
/// @throws std::bad_alloc
void writeString(TextBuffer& out, const rapidjson::Value& string);

} // namespace ostra::io::json::tree
