#pragma once

/// Whether a record has enough for the nodes it is to be written into.

#include <ostra/io/json/tree/node_vector_data.hpp>
#include <ostra/io/json/tree/rapidjson.hpp>

#include <span>

namespace ostra::io::json::tree {

/// Refuses a record that does not fit, before anything is changed.
///
/// Only what would be used counts: elements past the last one needed, and the codes of nodes that
/// do not exist, may be anything. Missing strings are not looked for.
///
/// @throws std::invalid_argument  where a handle is null, naming it.
/// @throws std::out_of_range      for a type code outside 0 to 6, naming code and position, or
///                                where an array is too short, naming it with both lengths.
/// @throws std::bad_alloc
/// Cost: linear in the nodes; a hash map of them where they are not provably distinct.
void requireFitting(const NodeVectorData& data, std::span<rapidjson::Value* const> nodes);

} // namespace ostra::io::json::tree
