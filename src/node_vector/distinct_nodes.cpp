#include "node_vector/distinct_nodes.hpp"

#include "node_vector/address_runs.hpp"

#include <cstddef>

namespace ostra::io::json::tree {

bool provablyDistinct(std::span<rapidjson::Value* const> nodes) {
    constexpr std::size_t nodesPerRun = 16; // shorter runs on average: not worth looking further
    const std::size_t mostRuns = nodes.size() / nodesPerRun + 1;
    AddressRuns runs;
    for (const rapidjson::Value* node : nodes) {
        runs.add(node, node + 1);
        if (runs.size() > mostRuns) {
            return false;
        }
    }
    return runs.provablyDisjoint();
}

} // namespace ostra::io::json::tree
