/// Node vectors: every operation against a slow, obvious, serial one.

#include "support/random_json.hpp"
#include "support/text.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <thread>

namespace {

using namespace test;
using rapidjson::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using tree::NodeVector;
using Nodes = std::vector<Value*>;

NodeVector elementsOf(const std::shared_ptr<tree::DOM>& dom) {
    return NodeVector(dom, {&dom->document}).get_children();
}

NodeVector elementsOf(const std::string& text) {
    const auto dom = tree::make_dom_ptr();
    *dom = parse(text);
    return elementsOf(dom);
}

std::vector<std::string> textsOf(const Nodes& nodes) {
    std::vector<std::string> texts;
    for (const Value* node : nodes) {
        texts.push_back(textOf(*node));
    }
    return texts;
}

template <class T>
std::vector<T> column(const tree::NumericArray<T>& array, qxClassID classId) {
    EXPECT_EQ(array->class_id(), classId);
    EXPECT_EQ(array->complexity(), qxREAL);
    EXPECT_THAT(array->dims(), ElementsAre(array->size(), 1));
    return std::vector<T>(array->data(), array->data() + array->size());
}

tree::NumericArray<unsigned long> indices(const std::vector<unsigned long>& values) {
    const unsigned long dims[] = {1, values.size()}; // a row: the shape does not matter
    tree::NumericArray<unsigned long> array(static_cast<matrix::typed_vector<unsigned long>*>(
        matrix::detail::do_create_numeric(dims, qxUINT64_CLASS, qxREAL)));
    std::ranges::copy(values, array->data());
    return array;
}

/// The documents that everything is tried on: of 0, 1, 2, 7 and many nodes, some of them repeated.
std::vector<NodeVector> randomNodes() {
    std::vector<NodeVector> all;
    for (const std::size_t count : {0U, 1U, 2U, 7U, 50'000U}) {
        NodeVector nodes = elementsOf(randomDocument(count + 1, count, 3));
        all.push_back(nodes);
        for (std::size_t i = 0; i < count / 3; ++i) {
            nodes.nodes.push_back(nodes.nodes[i * i % count]);
        }
        all.push_back(std::move(nodes));
    }
    return all;
}

// --- The oracle -----------------------------------------------------------------------------

/// Follows one selector the plain way; `tokens` are keys or, on arrays, indices.
Value* follow(Value* value, const std::vector<std::string>& tokens) {
    for (const std::string& token : tokens) {
        Value* next = nullptr;
        if (value->IsObject()) {
            for (auto& member : value->GetObject()) {
                const std::string key(member.name.GetString(), member.name.GetStringLength());
                next = next == nullptr && key == token ? &member.value : next;
            }
        } else if (value->IsArray()) {
            const bool isIndex = token.size() == 1 && token >= "0" && token <= "9";
            const auto index = isIndex ? static_cast<std::size_t>(token[0] - '0') : SIZE_MAX;
            next = index < value->Size() ? &(*value)[index] : nullptr;
        }
        if (next == nullptr) {
            return nullptr;
        }
        value = next;
    }
    return value;
}

void flatten(Value& value, Nodes& leaves) {
    if (value.IsArray()) {
        for (Value& element : value.GetArray()) {
            flatten(element, leaves);
        }
    } else if (!value.IsObject()) {
        leaves.push_back(&value);
    }
}

const struct {
    std::string selector;
    std::vector<std::string> tokens;
} selectors[] = {
    {"", {}},
    {"/a", {"a"}},
    {"/0", {"0"}},
    {"/b/a", {"b", "a"}},
    {"/2/0", {"2", "0"}},
    {"/", {""}},
    {"/~0~1/a/1", {"~/", "a", "1"}},
    {"/\u6771\u4eac", {"\u6771\u4eac"}},
    {"/this one has 22 bytes ", {"this one has 22 bytes "}},
    {"/exactly 21 bytes long", {"exactly 21 bytes long"}},
    {std::string("/a\0b", 4), {std::string("a\0b", 3)}},
    {"/-", {"-"}},
    {"/01", {"01"}},
};

// --- Reading --------------------------------------------------------------------------------

TEST(NodeVector, ListsTheChildrenOfEveryNodeInOrder) {
    const NodeVector nodes = elementsOf(R"([{"a":1,"b":[2]},[true,null],7,{},[]])");
    const NodeVector children = nodes.get_children();
    EXPECT_THAT(textsOf(children.nodes), ElementsAre("1", "[2]", "true", "null"));
    EXPECT_EQ(children.dom, nodes.dom);
    EXPECT_EQ(children.nodes.capacity(), children.nodes.size());
    for (const NodeVector& some : randomNodes()) {
        Nodes expected;
        for (Value* node : some.nodes) {
            if (node->IsObject()) {
                for (auto& member : node->GetObject()) {
                    expected.push_back(&member.value);
                }
            } else if (node->IsArray()) {
                for (Value& element : node->GetArray()) {
                    expected.push_back(&element);
                }
            }
        }
        ASSERT_EQ(some.get_children().nodes, expected);
    }
}

TEST(NodeVector, IsAPlainValueThatKeepsItsDocumentAlive) {
    NodeVector leaf;
    {
        const NodeVector nodes = elementsOf("[[1, [\"a text of more than 21 bytes\"]]]");
        const NodeVector copy = nodes; // NOLINT(performance-unnecessary-copy-initialization)
        leaf = copy.get_children("/1/0").first;
    }
    EXPECT_THAT(textsOf(leaf.nodes), ElementsAre("\"a text of more than 21 bytes\""));
    EXPECT_EQ(NodeVector::class_name, "NodeVector");
    EXPECT_EQ(NodeVector::packaged_class_name, "ostra.io.json.internal.NodeVector");
}

TEST(Lookup, AgreesWithThePlainWalk) {
    for (const NodeVector& some : randomNodes()) {
        for (const auto& [selector, tokens] : selectors) {
            Nodes found;
            std::vector<bool> missing;
            for (Value* node : some.nodes) {
                Value* value = follow(node, tokens);
                missing.push_back(value == nullptr);
                if (value != nullptr) {
                    found.push_back(value);
                }
            }
            const auto [hits, mask] = some.get_children(selector);
            ASSERT_EQ(hits.nodes, found) << selector;
            ASSERT_EQ(hits.nodes.capacity(), found.size());
            ASSERT_EQ(hits.dom, some.dom);
            ASSERT_EQ(column(mask, qxLOGICAL_CLASS), missing);
        }
    }
}

TEST(Lookup, ByNodeNameFindsWhatTheCoreFinds) {
    for (const NodeVector& some : randomNodes()) {
        for (const std::string name : {"a", "nowhere", "this one has 22 bytes "}) {
            Nodes found;
            std::vector<bool> missing;
            std::optional<std::string> selector;
            for (Value* node : some.nodes) {
                Value* value = ostra::io::json::core::resolve_node_name(*node, name);
                missing.push_back(value == nullptr);
                if (value != nullptr) {
                    found.push_back(value);
                }
                if (!selector) {
                    selector = ostra::io::json::core::resolve_node_name_to_selector(*node, name);
                }
            }
            const auto [hits, mask] = some.get_children_by_node_name(name);
            ASSERT_EQ(hits.nodes, found);
            ASSERT_EQ(column(mask, qxLOGICAL_CLASS), missing);
            ASSERT_EQ(some.resolve_node_name_to_selector(name), selector);
        }
    }
    const NodeVector third = elementsOf(R"([{"a":1},[2],{"x":[{"n":3}]},{"n":4}])");
    EXPECT_EQ(third.resolve_node_name_to_selector("n"), "/x/0/n");
}

TEST(Lookup, RefusesAnInvalidSelectorBeforeAnythingElse) {
    for (const NodeVector& nodes : {elementsOf("[]"), elementsOf(R"([{"a":1}])")}) {
        EXPECT_THROW(nodes.get_children("a"), std::exception);
        EXPECT_THROW(nodes.get_children_exhaustive("/~"), std::exception);
    }
}

TEST(Flattening, AgreesWithTheRecursiveOne) {
    const NodeVector nodes = elementsOf(R"([[1,[2,{"x":3}],4],{"a":1},"s",[],[[[]],[[null]]]])");
    const auto [flat, counted] = nodes.get_children_exhaustive("");
    EXPECT_THAT(textsOf(flat.nodes), ElementsAre("1", "2", "4", "\"s\"", "null"));
    EXPECT_THAT(column(counted, qxUINT64_CLASS), ElementsAre(3, 0, 1, 0, 1));
    for (const NodeVector& some : randomNodes()) {
        for (const auto& [selector, tokens] : selectors) {
            Nodes leaves;
            std::vector<std::uint64_t> counts;
            for (Value* node : some.nodes) {
                const std::size_t before = leaves.size();
                if (Value* value = follow(node, tokens)) {
                    flatten(*value, leaves);
                }
                counts.push_back(leaves.size() - before);
            }
            const auto [all, perNode] = some.get_children_exhaustive(selector);
            ASSERT_EQ(all.nodes, leaves) << selector;
            ASSERT_EQ(column(perNode, qxUINT64_CLASS), counts);
        }
    }
}

TEST(NodeVector, NeedsNoStackForDeepDocuments) {
    constexpr std::size_t depth = 1'000'000;
    std::string text(depth, '[');
    text += "1,{\"k\":2}" + std::string(depth, ']');
    std::string selector;
    for (std::size_t i = 1; i < depth; ++i) {
        selector += "/0";
    }
    const NodeVector nodes = elementsOf("[0," + text + "]");
    const auto deep = [&] {
        EXPECT_EQ(nodes.get_children_exhaustive("").first.nodes.size(), 2U);
        EXPECT_EQ(nodes.get_children(selector).first.nodes.size(), 1U);
        EXPECT_EQ(nodes.get_children_by_node_name("k").first.nodes.size(), 1U);
        EXPECT_EQ(nodes.resolve_node_name_to_selector("k")->size(), 2 * depth + 2);
    };
    deep();
    std::thread(deep).join();
}

TEST(Subset, PicksInTheOrderOfTheIndicesOrNothing) {
    const NodeVector nodes = elementsOf(R"(["a","b","c"])");
    const auto pick = [&](const std::vector<unsigned long>& positions) {
        const NodeVector picked = nodes.subset(*indices(positions));
        EXPECT_EQ(picked.dom, nodes.dom);
        return textsOf(picked.nodes);
    };
    EXPECT_THAT(pick({2, 0, 2}), ElementsAre("\"c\"", "\"a\"", "\"c\""));
    EXPECT_THAT(pick({0, 3}), IsEmpty());
    EXPECT_THAT(pick({0, std::numeric_limits<unsigned long>::max()}), IsEmpty());
    EXPECT_THAT(pick({}), IsEmpty());
}

// --- Resizing -------------------------------------------------------------------------------

/// One node after another through RapidJSON's own growth.
void resizePlainly(const NodeVector& nodes, std::size_t count) {
    auto& pool = nodes.dom->document.GetAllocator();
    for (Value* node : nodes.nodes) {
        if (node->IsArray()) {
            if (node->Capacity() < count) {
                node->Reserve(count, pool);
            }
            while (node->Size() < count) {
                node->PushBack(Value(), pool);
            }
            while (node->Size() > count) {
                node->PopBack();
            }
        }
    }
}

TEST(Resizing, GrowsAndCutsArraysOnly) {
    NodeVector nodes = elementsOf(R"([[1],{"a":1},[1,2,3,4],"x",[]])");
    nodes.set_number_of_children(3);
    EXPECT_EQ(textOf(*nodes.dom), R"([[1,null,null],{"a":1},[1,2,3],"x",[null,null,null]])");
    nodes.set_number_of_children(0);
    EXPECT_EQ(textOf(*nodes.dom), R"([[],{"a":1},[],"x",[]])");
    NodeVector none = elementsOf("[]");
    none.set_number_of_children(5);
    EXPECT_EQ(textOf(*none.dom), "[]");
}

/// Nodes and, behind, before or between them, nodes that lie inside them, in several orders.
NodeVector nestedNodes(std::uint64_t sequence, std::size_t count) {
    NodeVector nodes = elementsOf(randomDocument(sequence, count, 3));
    const NodeVector children = nodes.get_children();
    Nodes inner = children.nodes;
    const Nodes deepest = children.get_children().nodes;
    inner.insert(inner.end(), deepest.begin(), deepest.end());
    switch (sequence % 4) {
    case 0:
        return nodes;
    case 1:
        nodes.nodes.insert(nodes.nodes.end(), inner.begin(), inner.end());
        return nodes;
    case 2:
        nodes.nodes.insert(nodes.nodes.begin(), inner.begin(), inner.end());
        return nodes;
    default:
        nodes.nodes.insert(nodes.nodes.end(), inner.begin(), inner.end());
        std::ranges::shuffle(nodes.nodes, std::mt19937_64(sequence));
        nodes.nodes.resize(nodes.nodes.size() / 2);
        nodes.nodes.insert(nodes.nodes.end(), nodes.nodes.begin(), nodes.nodes.end());
        return nodes;
    }
}

TEST(Resizing, HasTheResultOfDoingItOneNodeAfterAnother) {
    for (std::uint64_t sequence = 0; sequence < 64; ++sequence) {
        const std::size_t count = sequence < 60 ? sequence / 4 : 20'000;
        NodeVector ours = nestedNodes(sequence, count);
        const NodeVector plain = nestedNodes(sequence, count); // the same document again
        ours.set_number_of_children(sequence % 5);
        resizePlainly(plain, sequence % 5);
        ASSERT_EQ(textOf(*ours.dom), textOf(*plain.dom)) << sequence;
        ASSERT_EQ(textsOf(ours.nodes), textsOf(plain.nodes)) << sequence;
    }
}

TEST(Resizing, CopesWithStaleNodesThatShareTheStorageOfLiveOnes) {
    const auto staleAndLive = [] {
        NodeVector nodes = elementsOf(randomDocument(7, 20'000, 2));
        const NodeVector root(nodes.dom, {&nodes.dom->document});
        NodeVector(root).set_number_of_children(40'000); // moves its elements
        const Nodes live = root.get_children().nodes;
        EXPECT_NE(live.front(), nodes.nodes.front());
        nodes.nodes.insert(nodes.nodes.end(), live.begin(), live.end());
        return nodes;
    };
    for (const std::size_t count : {1U, 4U, 9U, 30U}) {
        NodeVector ours = staleAndLive();
        const NodeVector plain = staleAndLive();
        ours.set_number_of_children(count);
        resizePlainly(plain, count);
        ASSERT_EQ(textOf(*ours.dom), textOf(*plain.dom)) << count;
    }
}

TEST(Resizing, RefusesMoreThanMemoryHoldsAndChangesNothing) {
    const std::string text = R"([[1],"x",[2,3]])";
    for (const unsigned long count : {1UL << 63U, ~0UL, (1UL << 61U) + 1}) {
        NodeVector nodes = elementsOf(text);
        EXPECT_THROW(nodes.set_number_of_children(count), std::length_error);
        EXPECT_EQ(textOf(*nodes.dom), text);
    }
    NodeVector nodes = elementsOf(text);
    EXPECT_THROW(nodes.set_number_of_children(1UL << 57U), std::bad_alloc);
    EXPECT_EQ(textOf(*nodes.dom), text);
}

} // namespace
