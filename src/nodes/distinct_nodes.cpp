#include "nodes/distinct_nodes.hpp"

#include "nodes/address_runs.hpp"
#include "nodes/address_set.hpp"
#include "nodes/chunks.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ostra::io::json::tree {

namespace {

/// The runs that a stretch of nodes makes.
struct Stretch {
    AddressRuns runs;
    bool tooScattered = false;
};

Stretch collectRuns(Nodes nodes) {
    constexpr std::size_t nodesPerRun = 16; // shorter runs on average: the answer is false
    constexpr std::uintptr_t nearby = 4096;
    const std::size_t mostRuns = nodes.size() / nodesPerRun + 1;
    Stretch stretch;
    // Neighbours are joined here, in registers: handing over every node took four times as long.
    const rapidjson::Value* first = nodes.front();
    const rapidjson::Value* end = first + 1;
    for (const rapidjson::Value* node : nodes.subspan(1)) {
        // Wraps to a huge gap for a node before the end.
        if (reinterpret_cast<std::uintptr_t>(node) - reinterpret_cast<std::uintptr_t>(end) >
            nearby) {
            stretch.runs.add(first, end);
            if (stretch.runs.size() > mostRuns) {
                stretch.tooScattered = true;
                return stretch;
            }
            first = node;
        }
        end = node + 1;
    }
    stretch.runs.add(first, end);
    return stretch;
}

} // namespace

bool provablyDistinct(Nodes nodes) {
    constexpr std::size_t stretchSize = 32'768;
    const Chunks chunks(nodes, stretchSize);
    std::vector<Stretch> stretches(chunks.count());
    chunks.visitInParallel([&](Nodes some, std::size_t c) { stretches[c] = collectRuns(some); });
    AddressRuns all;
    for (const Stretch& stretch : stretches) {
        if (stretch.tooScattered) {
            return false;
        }
        all.add(stretch.runs);
    }
    return all.provablyDisjoint();
}

bool areDistinct(Nodes nodes) {
    if (provablyDistinct(nodes)) {
        return true;
    }
    AddressSet seen(nodes.size());
    return std::ranges::all_of(nodes,
                               [&](const rapidjson::Value* node) { return seen.insert(node); });
}

} // namespace ostra::io::json::tree
