/// Selectors and node names on any document: against recursion.

#include "oracle/lookups.hpp"
#include "support.hpp"

#include <stdexcept>

namespace {

using namespace fuzz;

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

/// The tokens of a URI fragment, as RapidJSON reads them; there is not another oracle.
bool parsedTokens(const std::string& selector, std::vector<std::string>& tokens) {
    const core::JSONPointer pointer(selector.data(), selector.size());
    for (std::size_t t = 0; pointer.IsValid() && t < pointer.GetTokenCount(); ++t) {
        tokens.emplace_back(pointer.GetTokens()[t].name, pointer.GetTokens()[t].length);
    }
    return pointer.IsValid();
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
        dom->document = core::parse_json_document(u"", toBytes(choices.rest()), {});
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
