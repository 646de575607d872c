#pragma once

/// Following one selector from many nodes at once.

#include "platform/json_core.hpp"

#include <cstddef>
#include <span>

namespace ostra::io::json::tree {

/// Resolves a selector against every node.
///
/// The result is that of `childByToken` token by token.
///
/// @param selector  valid; shared by all nodes.
/// @param nodes     where to start, none null.
/// @param found     room for one pointer per node: its value, null if it has none.
/// Cost: linear in the nodes and in the members looked at; no allocation.
void walkSelector(const core::JSONPointer& selector, std::span<rapidjson::Value* const> nodes,
                  rapidjson::Value** found);

} // namespace ostra::io::json::tree
