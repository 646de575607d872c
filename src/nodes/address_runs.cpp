#include "nodes/address_runs.hpp"

#include <algorithm>

namespace ostra::io::json::tree {

bool AddressRuns::provablyDisjoint() {
    std::ranges::sort(runs_, {}, &Run::begin);
    const auto overlap = std::ranges::adjacent_find(
        runs_, [](const Run& a, const Run& b) { return a.end > b.begin; });
    return overlap == runs_.end();
}

} // namespace ostra::io::json::tree
