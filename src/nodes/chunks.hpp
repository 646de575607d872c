#pragma once

/// Many nodes, dealt out to threads.

#include "base/parallel_loop.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <algorithm>
#include <cstddef>
#include <span>

namespace ostra::io::json::tree {

using Nodes = std::span<rapidjson::Value* const>;

/// Nodes cut into chunks of one size, of which the last may be shorter.
class Chunks {
public:
    /// @param chunkSize  nodes per chunk, at least 1.
    Chunks(Nodes nodes, std::size_t chunkSize) : nodes_(nodes), chunkSize_(chunkSize) {}

    std::size_t count() const { return (nodes_.size() + chunkSize_ - 1) / chunkSize_; }

    /// How many nodes stand before chunk `c`.
    std::size_t before(std::size_t c) const { return c * chunkSize_; }

    /// Calls `visit(nodes, c)` for every chunk `c`, on several threads and in any order.
    template <class Visit>
    void visitInParallel(const Visit& visit) const {
        base::parallelLoop(count(), [&](std::size_t begin, std::size_t end) {
            for (std::size_t c = begin; c < end; ++c) {
                const Nodes rest = nodes_.subspan(before(c));
                visit(rest.first(std::min(chunkSize_, rest.size())), c);
            }
        });
    }

private:
    Nodes nodes_;
    std::size_t chunkSize_;
};

} // namespace ostra::io::json::tree
