#pragma once

/// Nodes to try operations on.

#include "support/text.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

namespace test {

inline tree::NodeVector rootOf(const std::shared_ptr<tree::DOM>& dom) {
    return {dom, {&dom->document}};
}

/// The elements of the array that a text holds.
inline tree::NodeVector elementsOf(const std::string& text) {
    const auto dom = tree::make_dom_ptr();
    *dom = parse(text);
    return rootOf(dom).get_children();
}

/// All values below the root, containers before what they hold.
inline tree::NodeVector everythingBelow(const std::shared_ptr<tree::DOM>& dom) {
    tree::NodeVector all(dom, {});
    for (tree::NodeVector level = rootOf(dom).get_children(); !level.nodes.empty();
         level = level.get_children()) {
        all.nodes.insert(all.nodes.end(), level.nodes.begin(), level.nodes.end());
    }
    return all;
}

} // namespace test
