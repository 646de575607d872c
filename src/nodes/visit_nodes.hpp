#pragma once

/// Visiting many nodes in order, with prefetching.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <algorithm>
#include <cstddef>
#include <span>

namespace ostra::io::json::tree {

/// What a visit does with a node.
enum class Access {
    ReadType, ///< reads its type, which stands in its last bytes
    Read,     ///< reads any part of it
    Write,
};

/// Prefetches a node; one in four straddles two cache lines.
template <Access access>
void prefetchNode(const rapidjson::Value* node) {
    constexpr int write = access == Access::Write ? 1 : 0;
    __builtin_prefetch(reinterpret_cast<const char*>(node + 1) - 1, write);
    if constexpr (access != Access::ReadType) {
        __builtin_prefetch(node, write);
    }
}

/// Calls `visit(node, i)` for every node in order; `i` is its position.
///
/// The nodes of a column lie far apart, and a plain loop waits for the memory at each of them: so
/// every node is prefetched some visits before its own. Measured on one column of half a million
/// records, one thread: types in 2.2 ms instead of 4.3, resets in 2.4 ms instead of 4.5; numbers
/// with their types in 4.2 ms prefetching 32 visits ahead, 3.3 prefetching 64 to 128 ahead. When
/// nodes lie side by side it makes no difference.
template <Access access, class Visit>
void visitNodes(std::span<rapidjson::Value* const> nodes, const Visit& visit) {
    constexpr std::size_t distance = 64;
    rapidjson::Value* const* const node = nodes.data();
    const std::size_t last = nodes.size() - std::min(nodes.size(), distance);
    std::size_t i = 0;
    for (; i < last; ++i) {
        prefetchNode<access>(node[i + distance]);
        visit(*node[i], i);
    }
    for (; i < nodes.size(); ++i) {
        visit(*node[i], i);
    }
}

} // namespace ostra::io::json::tree
