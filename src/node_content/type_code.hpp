#pragma once

/// Type codes that callers hand in are checked before anything is changed: RapidJSON would use them
/// unchecked as an index.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>

namespace ostra::io::json::tree {

/// The code behind a `rapidjson::Type` that may hold any number. Reading it as the enumeration
/// would be undefined for a number outside its range.
long typeCode(const rapidjson::Type& type);

/// @throws std::out_of_range  where `code` is outside 0 to 6, naming code and position.
void requireTypeCode(long code, std::size_t position);

} // namespace ostra::io::json::tree
