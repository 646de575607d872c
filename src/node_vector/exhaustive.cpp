#include "base/parallel_loop.hpp"
#include "node_vector/selector_walk.hpp"
#include "nodes/columns.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <stdexcept>

namespace ostra::io::json::tree {

namespace {

using Leaves = std::vector<rapidjson::Value*>;

/// The elements of an array that are still to be visited.
struct Rest {
    rapidjson::Value* next;
    rapidjson::Value* end;
};

/// Counts travel as 32-bit signed numbers, which wrap, widened with sign: a width that hosts rely
/// on. One that wraps to a negative number is more than any vector holds.
std::uint64_t wrappedCount(std::size_t count) {
    const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(count));
    if (wrapped < 0) {
        throw std::length_error("vector::reserve");
    }
    return static_cast<std::uint64_t>(wrapped);
}

/// Appends the scalars of `root` in order; objects are not entered.
/// @param open  working storage, empty before and after: the nesting of arrays is on the heap.
void collectLeaves(rapidjson::Value& root, Leaves& leaves, std::vector<Rest>& open) {
    if (!root.IsArray()) {
        if (!root.IsObject()) {
            leaves.push_back(&root);
        }
        return;
    }
    Rest rest = {root.Begin(), root.End()};
    for (;;) {
        if (rest.next == rest.end) {
            if (open.empty()) {
                return;
            }
            rest = open.back();
            open.pop_back();
            continue;
        }
        rapidjson::Value& element = *rest.next++;
        if (element.IsArray()) {
            open.push_back(rest);
            rest = {element.Begin(), element.End()};
        } else if (!element.IsObject()) {
            leaves.push_back(&element);
        }
    }
}

/// Looks the selector up from each node and flattens what it finds.
/// @param counts  room for one count per node.
Leaves flatten(const core::JSONPointer& selector, std::span<rapidjson::Value* const> nodes,
               std::uint64_t* counts) {
    Leaves leaves;
    std::vector<Rest> open;
    std::vector<rapidjson::Value*> found(nodes.size());
    walkSelector(selector, nodes, found.data());
    constexpr std::size_t distance = 8;
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (found.size() - i > distance && found[i + distance] != nullptr) {
            __builtin_prefetch(childStorage(*found[i + distance]).begin);
        }
        const std::size_t before = leaves.size();
        if (found[i] != nullptr) {
            collectLeaves(*found[i], leaves, open);
        }
        counts[i] = wrappedCount(leaves.size() - before);
    }
    return leaves;
}

/// Nodes per chunk, whose leaves share one list: a list per node would cost an allocation each, one
/// per thread would leave threads idle where the work lies in few nodes.
std::size_t chunkSizeFor(std::size_t count) {
    constexpr std::size_t leastChunks = 64;
    constexpr std::size_t largestChunk = 1024;
    return std::clamp<std::size_t>(count / leastChunks, 1, largestChunk);
}

} // namespace

std::pair<NodeVector, NumericArray<std::uint64_t>>
NodeVector::get_children_exhaustive(const std::string& selector) const {
    const core::JSONPointer pointer = core::validate_selector(selector);
    const std::size_t chunkSize = chunkSizeFor(nodes.size());
    std::vector<Leaves> chunks((nodes.size() + chunkSize - 1) / chunkSize);
    NumericArray<std::uint64_t> counts = makeColumn<std::uint64_t>(nodes.size());
    base::parallelLoop(chunks.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t c = begin; c < end; ++c) {
            const std::size_t first = c * chunkSize;
            const std::size_t count = std::min(chunkSize, nodes.size() - first);
            chunks[c] =
                flatten(pointer, std::span(nodes).subspan(first, count), counts->data() + first);
        }
    });
    std::size_t total = 0;
    for (const Leaves& chunk : chunks) {
        total += chunk.size();
    }
    Leaves leaves;
    wrappedCount(total);
    leaves.reserve(total);
    for (const Leaves& chunk : chunks) {
        leaves.insert(leaves.end(), chunk.begin(), chunk.end());
    }
    return {NodeVector(dom, std::move(leaves)), std::move(counts)};
}

} // namespace ostra::io::json::tree
