#pragma once

/// Whether a record has enough for the nodes it is to be written into.

#include "nodes/chunks.hpp"

#include <ostra/io/json/tree/node_vector_data.hpp>

#include <cstdint>
#include <span>

namespace ostra::io::json::tree {

/// Refuses a record that does not fit, before anything is changed.
///
/// Only what would be used counts: elements past the last one needed may be anything, and an array
/// that nothing is taken from need not be there. The values are needed up to the first missing
/// string that a node takes, which is the error there.
///
/// @param codes     the type codes that are used, all of them valid.
/// @param distinct  whether no node stands twice.
/// @throws std::invalid_argument  if an array is needed and its handle is null, naming it.
/// @throws std::out_of_range      if an array is too short, naming it with both lengths.
/// @throws std::bad_alloc
/// Cost: linear in the nodes; if some repeat, a set of the nodes and a hash map of those.
void requireFitting(const NodeVectorData& data, std::span<const std::uint8_t> codes, Nodes nodes,
                    bool distinct);

} // namespace ostra::io::json::tree
