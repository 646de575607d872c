#pragma once

/// Following one selector from many nodes at once.

#include "platform/json_core.hpp"

#include <cstddef>
#include <span>

namespace ostra::io::json::tree {

/// Nodes that are walked side by side: enough for their cache misses to overlap, few enough for
/// what is fetched to stay in the first-level cache.
constexpr std::size_t walkBatch = 32;

/// Asks for the storage of a value's children, which is about to be read.
inline void prefetchChildren(const rapidjson::Value& value) {
    constexpr std::size_t line = 64;
    constexpr std::size_t lines = 4;
    const char* storage = nullptr;
    std::size_t size = 0;
    if (value.IsObject()) {
        storage = reinterpret_cast<const char*>(&*value.MemberBegin());
        size = value.MemberCount() * sizeof(rapidjson::Value::Member);
    } else if (value.IsArray()) {
        storage = reinterpret_cast<const char*>(value.Begin());
        size = value.Size() * sizeof(rapidjson::Value);
    }
    for (std::size_t offset = 0; offset < size && offset < lines * line; offset += line) {
        __builtin_prefetch(storage + offset);
    }
}

/// Resolves a selector against every node.
///
/// The result is that of `childByToken` token by token. A lookup over many nodes is bound by the
/// latency of memory, so the nodes are walked in batches, a token at a time, and what the next step
/// of each needs is asked for before any of them takes it.
///
/// @param selector  valid; shared by all nodes.
/// @param nodes     where to start, none null.
/// @param found     room for one pointer per node: its value, null where it has none.
/// Cost: linear in the nodes and in the members looked at; no allocation.
void walkSelector(const core::JSONPointer& selector, std::span<rapidjson::Value* const> nodes,
                  rapidjson::Value** found);

} // namespace ostra::io::json::tree
