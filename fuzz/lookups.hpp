#pragma once

/// The lookups of node vectors, compared with `search.hpp`, node after node.

#include "record.hpp"
#include "search.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <optional>

namespace fuzz {

using tree::NodeVector;

/// Checks what a node vector finds by a selector, which has these tokens.
inline void checkSelector(const NodeVector& nodes, const std::vector<std::string>& tokens,
                          const std::string& selector) {
    const auto [hits, mask] = nodes.get_children(selector);
    const auto [leaves, counts] = nodes.get_children_exhaustive(selector);
    Nodes found;
    Nodes scalars;
    std::vector<bool> missing;
    std::vector<std::uint64_t> added;
    for (Value* node : nodes.nodes) {
        Value* value = follow(node, tokens);
        const std::size_t before = scalars.size();
        if (value != nullptr) {
            found.push_back(value);
            flatten(*value, scalars);
        }
        missing.push_back(value == nullptr);
        added.push_back(scalars.size() - before);
    }
    check(vectorOf(mask) == missing, "mask of a selector");
    check(vectorOf(counts) == added, "counts of scalars");
    check(hits.nodes == found && hits.nodes.capacity() == found.size(), "values found by selector");
    check(hits.dom == nodes.dom && leaves.dom == nodes.dom, "document of what was found");
    check(leaves.nodes == scalars, "flattened values");
}

/// Checks what a node vector finds by a node name.
inline void checkNodeName(const NodeVector& nodes, const std::string& name) {
    const auto [hits, mask] = nodes.get_children_by_node_name(name);
    Nodes found;
    std::vector<bool> missing;
    bool anySelector = false;
    const std::optional<std::string> selector = nodes.resolve_node_name_to_selector(name);
    for (Value* node : nodes.nodes) {
        std::vector<std::string> way;
        Value* value = findKey(*node, name, way);
        if (value != nullptr) {
            found.push_back(value);
        }
        missing.push_back(value == nullptr);
        if (!anySelector && value != nullptr && follow(node, way) == value) {
            anySelector = true;
            std::vector<std::string> tokens;
            check(selector && splitSelector(*selector, tokens) && tokens == way,
                  "selector of a node name");
        }
    }
    check(vectorOf(mask) == missing, "mask of a node name");
    check(selector.has_value() == anySelector, "whether a node name has a selector");
    check(hits.nodes == found, "values found by node name");
}

} // namespace fuzz
