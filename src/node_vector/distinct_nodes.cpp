#include "node_vector/distinct_nodes.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

namespace ostra::io::json::tree {

namespace {

/// A stretch of nodes with rising addresses, from the first to the last of them.
struct Run {
    const rapidjson::Value* first;
    const rapidjson::Value* last;
};

} // namespace

bool provablyDistinct(std::span<rapidjson::Value* const> nodes) {
    constexpr std::size_t nodesPerRun = 16; // shorter runs on average: not worth looking further
    const std::less<const rapidjson::Value*> before;
    std::vector<Run> runs;
    for (const rapidjson::Value* node : nodes) {
        if (!runs.empty() && before(runs.back().last, node)) {
            runs.back().last = node;
        } else if (runs.size() > nodes.size() / nodesPerRun) {
            return false;
        } else {
            runs.push_back({node, node});
        }
    }
    std::ranges::sort(runs, before, &Run::first);
    const auto overlap = std::ranges::adjacent_find(
        runs, [&](const Run& a, const Run& b) { return !before(a.last, b.first); });
    return overlap == runs.end();
}

} // namespace ostra::io::json::tree
