#pragma once

/// Type codes as callers hand them in. They are checked before anything is changed: RapidJSON would
/// use them unchecked as an index.

#include <ostra/io/json/tree/node_vector_data.hpp>
#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <cstdint>
#include <span>

namespace ostra::io::json::tree {

/// The code behind a `rapidjson::Type` that may hold any number. Reading it as the enumeration
/// would be undefined for a number outside its range.
long typeCode(const rapidjson::Type& type);

/// @throws std::out_of_range  if `code` is outside 0 to 6, naming code and position.
void requireTypeCode(long code, std::size_t position);

/// The codes that `set_types` would use: those of a node each, all checked.
/// @param types  any shape; codes past `nodeCount` are not looked at.
/// @throws std::invalid_argument  if there are nodes and the handle is null.
/// @throws std::out_of_range      for a code outside 0 to 6, naming code and position.
std::span<const std::uint8_t> usedTypeCodes(const NumericArray<std::uint8_t>& types,
                                            std::size_t nodeCount);

/// Replaces the first nodes by empty values of the given types, one code each, in order. Never
/// fails.
/// @param codes  all from 0 to 6, no more than there are nodes.
void resetNodes(std::span<rapidjson::Value* const> nodes, std::span<const std::uint8_t> codes);

} // namespace ostra::io::json::tree
