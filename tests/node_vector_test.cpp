/// Node vectors: every operation against a slow, obvious, serial one.

#include "fuzz/oracle/lookups.hpp"
#include "support/nodes.hpp"
#include "support/random_json.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace {

using namespace test;
using namespace std::string_literals;
using fuzz::columnOf;
using fuzz::Nodes;
using fuzz::vectorOf;
using rapidjson::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using tree::NodeVector;

std::vector<std::string> textsOf(const Nodes& nodes) {
    std::vector<std::string> texts;
    for (const Value* node : nodes) {
        texts.push_back(textOf(*node));
    }
    return texts;
}

/// The documents that everything is tried on: of 0, 1, 2, 7 and many nodes, some of them repeated.
std::vector<NodeVector> randomNodes() {
    std::vector<NodeVector> all;
    for (const std::size_t count : {0U, 1U, 2U, 7U, 20'000U}) {
        NodeVector nodes = rootOf(randomDocument(count + 1, count, 3)).get_children();
        all.push_back(nodes);
        for (std::size_t i = 0; i < count / 3; ++i) {
            nodes.nodes.push_back(nodes.nodes[i * i % count]);
        }
        all.push_back(std::move(nodes));
    }
    return all;
}

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
            for (const auto& child : fuzz::childrenOf(*node)) {
                expected.push_back(child.second);
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
    const std::vector<std::string> selectors = {"",
                                                "/a",
                                                "/0",
                                                "/b/a",
                                                "/2/0",
                                                "/",
                                                "/~0~1/a/1",
                                                "/\u6771\u4eac",
                                                "/" + bytes22,
                                                "/" + bytes21,
                                                "/a\0b"s,
                                                "/-",
                                                "/01"};
    const std::vector<std::string> names = {"a", "nowhere", "~/", "", "a\0b"s, bytes22};
    for (const NodeVector& some : randomNodes()) {
        for (const std::string& selector : selectors) {
            std::vector<std::string> tokens;
            ASSERT_TRUE(fuzz::splitSelector(selector, tokens));
            fuzz::checkSelector(some, tokens, selector);
        }
        for (const std::string& name : names) {
            fuzz::checkNodeName(some, name);
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

TEST(Lookup, FlattensArraysButNotObjects) {
    const NodeVector nodes = elementsOf(R"([[1,[2,{"x":3}],4],{"a":1},"s",[],[[[]],[[null]]]])");
    const auto [flat, counted] = nodes.get_children_exhaustive("");
    EXPECT_THAT(textsOf(flat.nodes), ElementsAre("1", "2", "4", "\"s\"", "null"));
    EXPECT_THAT(vectorOf(counted), ElementsAre(3, 0, 1, 0, 1));
}

TEST(Subset, PicksInTheOrderOfTheIndicesOrNothing) {
    const NodeVector nodes = elementsOf(R"(["a","b","c"])");
    const auto pick = [&](const std::vector<unsigned long>& positions) {
        const NodeVector picked = nodes.subset(*columnOf(positions));
        EXPECT_EQ(picked.dom, nodes.dom);
        return textsOf(picked.nodes);
    };
    EXPECT_THAT(pick({2, 0, 2}), ElementsAre("\"c\"", "\"a\"", "\"c\""));
    EXPECT_THAT(pick({0, 3}), IsEmpty());
    EXPECT_THAT(pick({0, std::numeric_limits<unsigned long>::max()}), IsEmpty());
    EXPECT_THAT(pick({}), IsEmpty());
}

// --- Resizing -------------------------------------------------------------------------------

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
    NodeVector nodes = rootOf(randomDocument(sequence, count, 3)).get_children();
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
        fuzz::plainResize(plain.nodes, sequence % 5, plain.dom->document.GetAllocator());
        ASSERT_EQ(textOf(*ours.dom), textOf(*plain.dom)) << sequence;
        ASSERT_EQ(textsOf(ours.nodes), textsOf(plain.nodes)) << sequence;
    }
}

TEST(Resizing, CopesWithStaleNodesThatShareTheStorageOfLiveOnes) {
    const auto staleAndLive = [] {
        const NodeVector root = rootOf(randomDocument(7, 20'000, 2));
        NodeVector nodes = root.get_children();
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
        fuzz::plainResize(plain.nodes, count, plain.dom->document.GetAllocator());
        ASSERT_EQ(textOf(*ours.dom), textOf(*plain.dom)) << count;
    }
}

TEST(Resizing, TakesMemoryOnceForAnArrayThatIsListedOften) {
    NodeVector nodes = elementsOf("[[],1,[2]]");
    Nodes& list = nodes.nodes;
    for (int times = 0; times < 300; ++times) {
        list.insert(list.end(), {list[0], list[1], list[2]});
    }
    const auto& pool = nodes.dom->document.GetAllocator();
    const std::size_t before = pool.Size();
    nodes.set_number_of_children(10'000);
    EXPECT_EQ(list.front()->Size(), 10'000U);
    EXPECT_LT(pool.Size() - before, 20'000 * sizeof(Value) + 10'000);
}

TEST(Resizing, NeedsNoDocumentWhereNoArrayNeedsMemory) {
    const NodeVector nodes = elementsOf(R"([1,{"a":[]},[1,2,3],"x",[[],4,5,6]])");
    NodeVector without(nullptr, nodes.nodes);
    for (const auto& [count, text] :
         {std::pair{3U, R"([1,{"a":[]},[1,2,3],"x",[[],4,5]])"},
          std::pair{1U, R"([1,{"a":[]},[1],"x",[[]]])"},
          std::pair{2U, R"([1,{"a":[]},[1,null],"x",[[],null]])"}}) { // they have room for it
        without.set_number_of_children(count);
        EXPECT_EQ(textOf(*nodes.dom), text);
    }
    NodeVector scalars(nullptr, {nodes.nodes[0], nodes.nodes[1], nodes.nodes[3]});
    scalars.set_number_of_children(100'000);
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
