#pragma once

/// Many nodes, dealt out to threads by the work that they make.

#include "nodes/chunks.hpp"
#include "nodes/visit_nodes.hpp"

#include <cstddef>
#include <vector>

namespace ostra::io::json::tree {

/// A stretch of nodes for one thread at a time.
struct Share {
    Nodes nodes;
    std::size_t heavy; // how many of them make work
};

/// Cuts nodes into shares that follow one another: each is a part of one chunk, and with more than
/// `mostHeavy` nodes that make work a chunk is cut into several.
///
/// @param chunks     the nodes; a chunk is looked at by one thread.
/// @param mostHeavy  at least 1.
/// @param isHeavy    `(node, c)`: whether a node of chunk `c` makes work; called once for every
///                   node, in order within a chunk.
/// @throws std::bad_alloc, std::length_error
template <Access access, class IsHeavy>
std::vector<Share> dealOut(const Chunks& chunks, std::size_t mostHeavy, const IsHeavy& isHeavy) {
    std::vector<std::vector<Share>> dealt(chunks.count());
    chunks.visitInParallel([&](Nodes some, std::size_t c) {
        std::size_t begin = 0;
        std::size_t heavy = 0;
        visitNodes<access>(some, [&](const rapidjson::Value& node, std::size_t i) {
            heavy += isHeavy(node, c) ? 1 : 0;
            if (heavy == mostHeavy) {
                dealt[c].push_back({some.subspan(begin, i + 1 - begin), heavy});
                begin = i + 1;
                heavy = 0;
            }
        });
        if (begin < some.size()) {
            dealt[c].push_back({some.subspan(begin), heavy});
        }
    });
    std::vector<Share> shares;
    for (const std::vector<Share>& some : dealt) {
        shares.insert(shares.end(), some.begin(), some.end());
    }
    return shares;
}

} // namespace ostra::io::json::tree
