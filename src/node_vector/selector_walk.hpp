#pragma once

/// Following one selector from many nodes at once.

#include "document/pointer_step.hpp"
#include "node_vector/reached_memory.hpp"
#include "nodes/visit_nodes.hpp"

#include <cstddef>
#include <span>

namespace ostra::io::json::tree {

/// Resolves a selector against every node, in order.
///
/// The result is that of `childByToken` token by token.
///
/// @param selector  valid; shared by all nodes.
/// @param nodes     where to start, none null.
/// @param visit     called as `visit(value, i)` with what the `i`-th node has there, null if it has
///                  nothing; returns the memory that is going to be read besides, which is
///                  prefetched with the rest for the nodes that follow.
/// Cost: linear in the nodes and in the members looked at; no allocation.
template <class Visit>
void walkSelector(const core::JSONPointer& selector, std::span<rapidjson::Value* const> nodes,
                  const Visit& visit) {
    // Nodes between prefetching and use. The first member of half a million records on
    // two threads: 5.0 ms prefetching 8 ahead, 3.4 for 16, 2.5 for 32; the others the same.
    constexpr std::size_t distance = 32;
    const std::span tokens(selector.GetTokens(), selector.GetTokenCount());
    ReachedMemory memory;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (nodes.size() - i > 2 * distance) {
            prefetchNode<Access::Read>(nodes[i + 2 * distance]);
        }
        if (nodes.size() - i > distance) {
            memory.fetch(*nodes[i + distance]);
        }
        const char* const origin = childStorage(*nodes[i]).begin;
        rapidjson::Value* value = nodes[i];
        for (auto token = tokens.begin(); token != tokens.end() && value != nullptr; ++token) {
            const ChildStorage storage = childStorage(*value);
            value = childByToken(*value, *token);
            memory.learn(origin, storage.begin,
                         value != nullptr ? static_cast<const void*>(value + 1) : storage.end);
        }
        const ChildStorage besides = visit(value, i);
        memory.learn(origin, besides.begin, besides.end);
        memory.nodeDone();
    }
}

} // namespace ostra::io::json::tree
