#pragma once

/// Whether nodes may be written in parallel.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <span>

namespace ostra::io::json::tree {

/// Whether a quick look proves that no node stands twice in `nodes`.
///
/// Where the nodes come in wilder order than `AddressRuns` copes with, the answer is false and the
/// caller writes the nodes one after another: a hash set of half a million nodes costs more than
/// writing them.
///
/// Cost: linear in the nodes, about a tenth of writing them.
bool provablyDistinct(std::span<rapidjson::Value* const> nodes);

} // namespace ostra::io::json::tree
