#pragma once

/// Strings between the document (UTF-8) and the host (UTF-16).

#include <ostra/io/json/tree/rapidjson.hpp>

#include <string>

namespace ostra::io::json::tree {

/// The text of a string value, embedded NUL characters included.
/// @param value  must be a string.
std::u16string toUString(const rapidjson::Value& value);

/// A string value that holds its own copy of `text`, allocated from `document`; up to 21 bytes of
/// UTF-8 are held inside the value.
/// @throws std::bad_alloc  if the text does not fit in memory; nothing is allocated.
rapidjson::Value makeStringValue(const std::u16string& text, rapidjson::Document& document);

} // namespace ostra::io::json::tree
