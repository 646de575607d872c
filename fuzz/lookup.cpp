/// Selectors and node names on any document: against recursion.

#include "search.hpp"

#include <ostra/io/json/tree/level_reader.hpp>
#include <ostra/io/json/tree/node_vector.hpp>

#include <optional>
#include <stdexcept>

namespace {

using namespace fuzz;
using tree::LevelReader;
using tree::NodeVector;

/// Whether the library takes a selector at all, which all operations must agree on.
bool accepted(const NodeVector& nodes, const std::string& selector) {
    const auto refuses = [](const auto& call) {
        try {
            call();
            return false;
        } catch (const std::exception& error) {
            check(error.what()[0] != '\0', "an error without a message");
            return true;
        }
    };
    const bool refused = refuses([&] { nodes.get_children(selector); });
    check(refused == refuses([&] { nodes.get_children_exhaustive(selector); }),
          "exhaustive search of a malformed selector");
    check(refused == refuses([&] { LevelReader::MakeStringReader(u"0", {}).cdSelector(selector); }),
          "the cursor and a malformed selector");
    return !refused;
}

/// The tokens of a URI fragment, as RapidJSON reads them; it has no other oracle.
bool parsedTokens(const std::string& selector, std::vector<std::string>& tokens) {
    const core::JSONPointer pointer(selector.data(), selector.size());
    for (std::size_t t = 0; pointer.IsValid() && t < pointer.GetTokenCount(); ++t) {
        tokens.emplace_back(pointer.GetTokens()[t].name, pointer.GetTokens()[t].length);
    }
    return pointer.IsValid();
}

/// Checks where the cursor is, and that so many steps lead back to the top.
void checkWay(LevelReader& reader, Value& root, Value& target, std::size_t steps) {
    WriteOptions options;
    options.allowNaNInf = true;
    check(u8(reader.writeString(options)) == textOf(target), "where the cursor moved");
    for (std::size_t i = 0; i < steps; ++i) {
        reader.cdup();
    }
    check(u8(reader.writeString(options)) == textOf(root), "the cursor's way back");
}

void checkSelector(const NodeVector& nodes, const std::vector<std::string>& tokens,
                   const std::string& selector) {
    const auto [hits, mask] = nodes.get_children(selector);
    const auto [leaves, counts] = nodes.get_children_exhaustive(selector);
    check(mask->size() == nodes.nodes.size() && counts->size() == mask->size(), "columns");
    std::vector<Value*> found;
    std::vector<Value*> scalars;
    for (std::size_t i = 0; i < nodes.nodes.size(); ++i) {
        Value* value = follow(nodes.nodes[i], tokens);
        const std::size_t before = scalars.size();
        if (value != nullptr) {
            found.push_back(value);
            flatten(*value, scalars);
        }
        check(mask->data()[i] == (value == nullptr), "mask of a selector");
        check(counts->data()[i] == scalars.size() - before, "count of scalars");
    }
    check(hits.nodes == found, "values found by selector");
    check(leaves.nodes == scalars, "flattened values");
}

void checkNodeName(const NodeVector& nodes, const std::string& name) {
    const auto [hits, mask] = nodes.get_children_by_node_name(name);
    check(mask->size() == nodes.nodes.size(), "column");
    std::vector<Value*> found;
    bool anySelector = false;
    const std::optional<std::string> selector = nodes.resolve_node_name_to_selector(name);
    for (std::size_t i = 0; i < nodes.nodes.size(); ++i) {
        std::vector<std::string> way;
        Value* value = findKey(*nodes.nodes[i], name, way);
        if (value != nullptr) {
            found.push_back(value);
        }
        check(mask->data()[i] == (value == nullptr), "mask of a node name");
        if (!anySelector && value != nullptr && follow(nodes.nodes[i], way) == value) {
            anySelector = true;
            std::vector<std::string> tokens;
            check(selector && splitSelector(*selector, tokens) && tokens == way,
                  "selector of a node name");
        }
    }
    check(selector.has_value() == anySelector, "whether a node name has a selector");
    check(hits.nodes == found, "values found by node name");
}

void checkCursorNames(LevelReader& reader, Value& root, const std::string& name) {
    std::vector<std::string> way;
    Value* found = findKey(root, name, way);
    check(reader.cdNodeName(name, true) == (found != nullptr), "cdNodeName, recursive");
    checkWay(reader, root, found != nullptr ? *found : root, way.size());
    Value* member = root.IsObject() ? follow(&root, {name}) : nullptr;
    check(reader.cdNodeName(name, false) == (member != nullptr), "cdNodeName");
    checkWay(reader, root, member != nullptr ? *member : root, member != nullptr ? 1 : 0);
}

} // namespace

/// A selector, a node name and JSON text, a line each; the text may have more.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > fuzz::longestInput) {
        return 0;
    }
    Choices choices(data, size);
    const std::string selector = choices.line();
    const std::string name = choices.line();
    const auto dom = tree::make_dom_ptr();
    try {
        dom->document = core::parse_json_document(u"", bytesOf(choices.rest()), {});
    } catch (const std::exception&) {
        return 0;
    }
    Value& root = dom->document;
    LevelReader reader = LevelReader::MakeStringReader(tree::write_string(*dom, {}), {});
    std::vector<NodeVector> levels = {NodeVector(dom, {&root})};
    levels.push_back(levels[0].get_children());
    levels.push_back(levels[1].get_children());
    levels[1].nodes.insert(levels[1].nodes.end(), levels[2].nodes.begin(), levels[2].nodes.end());

    std::vector<std::string> tokens;
    const bool valid = selector.starts_with('#') ? parsedTokens(selector, tokens)
                                                 : splitSelector(selector, tokens);
    check(valid == accepted(levels[0], selector), "whether a selector is valid");
    if (valid) {
        Value* target = follow(&root, tokens);
        check(reader.cdSelector(selector) == (target != nullptr), "whether the cursor moved");
        checkWay(reader, root, target != nullptr ? *target : root,
                 target != nullptr ? tokens.size() : 0);
    }
    checkCursorNames(reader, root, name);
    for (const NodeVector& nodes : levels) {
        if (valid) {
            checkSelector(nodes, tokens, selector);
        }
        checkNodeName(nodes, name);
    }
    return 0;
}
