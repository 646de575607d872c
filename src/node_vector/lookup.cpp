#include "base/huge_pages.hpp"
#include "base/parallel_loop.hpp"
#include "node_vector/selector_walk.hpp"
#include "nodes/columns.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>

namespace ostra::io::json::tree {

namespace {

/// What all lookups do.
///
/// @param resolve  `(nodes, found)`: resolves a sub-range of the nodes and writes one pointer per
///                 node, null for a miss.
template <class Resolve>
std::pair<NodeVector, NumericArray<bool>> lookUp(const NodeVector& from, const Resolve& resolve) {
    const std::size_t count = from.nodes.size();
    // Slots and result in one array: with a second one for the result, page faults took as long as
    // half of the walk itself. Zeroing a warm one takes a fiftieth of it.
    std::vector<rapidjson::Value*> found;
    base::reserveOnHugePages(found, count);
    found.resize(count);
    NumericArray<bool> missing = makeColumn<bool>(count);
    base::parallelLoop(count, [&](std::size_t begin, std::size_t end) {
        resolve(std::span(from.nodes).subspan(begin, end - begin), found.data() + begin);
        std::transform(found.data() + begin, found.data() + end, missing->data() + begin,
                       [](const rapidjson::Value* value) { return value == nullptr; });
    });
    std::erase(found, nullptr);
    found.shrink_to_fit(); // nothing to do if none is missing
    return {NodeVector(from.dom, std::move(found)), std::move(missing)};
}

} // namespace

std::pair<NodeVector, NumericArray<bool>>
NodeVector::get_children(const std::string& selector) const {
    const core::JSONPointer pointer = core::validate_selector(selector);
    return lookUp(*this, [&](std::span<rapidjson::Value* const> some, rapidjson::Value** found) {
        walkSelector(pointer, some, [found](rapidjson::Value* value, std::size_t i) {
            found[i] = value;
            return ChildStorage{};
        });
    });
}

std::pair<NodeVector, NumericArray<bool>>
NodeVector::get_children_by_node_name(const std::string& name) const {
    return lookUp(*this, [&](std::span<rapidjson::Value* const> some, rapidjson::Value** found) {
        for (rapidjson::Value* node : some) {
            *found++ = core::resolve_node_name(*node, name);
        }
    });
}

std::optional<std::string>
NodeVector::resolve_node_name_to_selector(const std::string& name) const {
    for (const rapidjson::Value* node : nodes) {
        if (auto selector = core::resolve_node_name_to_selector(*node, name)) {
            return selector;
        }
    }
    return std::nullopt;
}

} // namespace ostra::io::json::tree
