#include "node_content/columns.hpp"
#include "node_vector/parallel_loop.hpp"
#include "node_vector/selector_walk.hpp"
#include "platform/huge_pages.hpp"

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
    // Not a vector: zeroing it would touch all its pages on this thread before the others start.
    const auto found = std::make_unique_for_overwrite<rapidjson::Value*[]>(count);
    platform::adviseHugePages(found.get(), count * sizeof(rapidjson::Value*));
    NumericArray<bool> missing = makeColumn<bool>(count);
    parallelLoop(count, [&](std::size_t begin, std::size_t end) {
        resolve(std::span(from.nodes).subspan(begin, end - begin), found.get() + begin);
        std::transform(found.get() + begin, found.get() + end, missing->data() + begin,
                       [](const rapidjson::Value* value) { return value == nullptr; });
    });
    const auto misses =
        static_cast<std::size_t>(std::count(missing->data(), missing->data() + count, true));
    // Mostly nothing is missing, and the copy is one of memory.
    rapidjson::Value** const end =
        misses == 0 ? found.get() + count : std::remove(found.get(), found.get() + count, nullptr);
    std::vector<rapidjson::Value*> hits;
    hits.reserve(count - misses);
    platform::adviseHugePages(hits.data(), hits.capacity() * sizeof(rapidjson::Value*));
    hits.assign(found.get(), end);
    return {NodeVector(from.dom, std::move(hits)), std::move(missing)};
}

} // namespace

std::pair<NodeVector, NumericArray<bool>>
NodeVector::get_children(const std::string& selector) const {
    const core::JSONPointer pointer = core::validate_selector(selector);
    return lookUp(*this, [&](std::span<rapidjson::Value* const> some, rapidjson::Value** found) {
        walkSelector(pointer, some, found);
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
