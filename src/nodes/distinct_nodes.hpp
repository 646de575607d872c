#pragma once

/// Whether nodes may be written in parallel.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <span>

namespace ostra::io::json::tree {

/// Whether a quick look proves that no node stands twice in `nodes`. If they come in wilder
/// order than `AddressRuns` copes with, the answer is false.
/// @throws std::bad_alloc, std::length_error
/// Cost: linear in the nodes, about a tenth of writing them.
bool provablyDistinct(std::span<rapidjson::Value* const> nodes);

/// Whether no node stands twice in `nodes`: by a set of them if a quick look does not prove it.
/// @throws std::bad_alloc, std::length_error
/// Cost: linear in the nodes; with a set about half of writing them.
bool areDistinct(std::span<rapidjson::Value* const> nodes);

} // namespace ostra::io::json::tree
