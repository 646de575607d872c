#pragma once

/// Whether nodes may be written in parallel.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <span>

namespace ostra::io::json::tree {

/// Whether a quick look proves that no node stands twice in `nodes`.
///
/// Nodes derived from a document come in long runs of rising addresses, one run per block of the
/// pool. The nodes are distinct where the address ranges of these runs do not overlap, which costs
/// one pass and a sort of a few runs. Where the order is wilder than that the answer is false, and
/// the caller writes the nodes one after another: a hash set of half a million nodes costs more
/// than writing them.
///
/// Cost: linear in the nodes, about a tenth of writing them.
bool provablyDistinct(std::span<rapidjson::Value* const> nodes);

} // namespace ostra::io::json::tree
