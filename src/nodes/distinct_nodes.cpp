#include "nodes/distinct_nodes.hpp"

#include "base/parallel_loop.hpp"
#include "nodes/address_runs.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ostra::io::json::tree {

namespace {

/// What is known of a stretch of nodes.
struct Stretch {
    AddressRuns runs;
    bool tooScattered = false;
};

Stretch look(std::span<rapidjson::Value* const> nodes) {
    constexpr std::size_t nodesPerRun = 16; // shorter runs on average: not worth looking further
    constexpr std::uintptr_t nearby = 4096;
    const std::size_t mostRuns = nodes.size() / nodesPerRun + 1;
    Stretch stretch;
    // Neighbours are joined here already, in registers: handing over every node took four times as
    // long.
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

bool provablyDistinct(std::span<rapidjson::Value* const> nodes) {
    constexpr std::size_t stretchSize = 32'768;
    std::vector<Stretch> stretches((nodes.size() + stretchSize - 1) / stretchSize);
    base::parallelLoop(stretches.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            const auto rest = nodes.subspan(s * stretchSize);
            stretches[s] = look(rest.first(std::min(stretchSize, rest.size())));
        }
    });
    AddressRuns all;
    for (const Stretch& stretch : stretches) {
        if (stretch.tooScattered) {
            return false;
        }
        all.add(stretch.runs);
    }
    return all.provablyDisjoint();
}

} // namespace ostra::io::json::tree
