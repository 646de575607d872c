#pragma once

/// The lookups of node vectors and cursors, compared with `search.hpp`.

#include "record.hpp"
#include "search.hpp"

#include <ostra/io/json/tree/level_reader.hpp>
#include <ostra/io/json/tree/node_vector.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>

namespace fuzz {

using tree::LevelReader;
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

/// Checks where the cursor is, and that so many steps lead back to the top.
inline void checkWay(LevelReader& reader, Value& root, Value& target, std::size_t steps) {
    WriteOptions options;
    options.allowNaNInf = true;
    check(u8(reader.writeString(options)) == textOf(target), "where the cursor moved");
    for (std::size_t i = 0; i < steps; ++i) {
        reader.cdup();
    }
    check(u8(reader.writeString(options)) == textOf(root), "the cursor's way back");
}

/// Checks what the cursor finds by a node name, and leaves it at the top.
inline void checkCursorNames(LevelReader& reader, Value& root, const std::string& name) {
    std::vector<std::string> way;
    Value* found = findKey(root, name, way);
    check(reader.cdNodeName(name, true) == (found != nullptr), "cdNodeName, recursive");
    checkWay(reader, root, found != nullptr ? *found : root, way.size());
    Value* member = root.IsObject() ? follow(&root, {name}) : nullptr;
    check(reader.cdNodeName(name, false) == (member != nullptr), "cdNodeName");
    checkWay(reader, root, member != nullptr ? *member : root, member != nullptr ? 1 : 0);
}

} // namespace fuzz
