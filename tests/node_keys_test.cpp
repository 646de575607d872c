/// The keys of many objects: their union, and one key set for all.

#include "fuzz/oracle/record.hpp"
#include "support/nodes.hpp"
#include "support/random_json.hpp"

#include <gtest/gtest.h>

#include <set>

namespace {

using namespace test;
using fuzz::plainKeys;
using fuzz::stringsOf;
using fuzz::Texts;
using rapidjson::Value;
using tree::NodeVector;
using Names = std::vector<std::string>;

Texts textsOf(const Names& names) {
    Texts texts;
    for (const std::string& name : names) {
        texts.emplace_back(u16(name));
    }
    return texts;
}

Texts keysOf(const NodeVector& nodes) {
    return fuzz::textsOf(nodes.get_keys());
}

TEST(GetKeys, AreTheUnionWithRepeats) {
    const std::string nul(1, '\0');
    const struct {
        std::string text;
        Names keys;
    } cases[] = {
        {"[]", {}},
        {R"([1, "a", [{"a": 1}], null])", {}},
        {"[{}]", {}},
        {R"([{"a":1,"b":1}, {"b":1,"a":1,"a":1}])", {"a", "b", "a"}},
        {R"([{"x":1}, {"y":1}])", {"x", "y"}},
        {R"([{"a":1,"a":1}, {"a":1}])", {"a", "a"}},
        {R"([{"a":1}, 7, {"a":1,"c":1,"a":1,"a":1}, {"c":1,"c":1}])", {"a", "c", "a", "a", "c"}},
        {R"([{"":1,"\u0000":1}, {"\u0000":1,"":1,"\u6771":1}])", {"", nul, "\u6771"}},
        {R"([{"a\u0000b":1}, {"a\u0000c":1}, {"a":1}])",
         {std::string("a\0b", 3), std::string("a\0c", 3), "a"}},
    };
    for (const auto& [text, keys] : cases) {
        EXPECT_EQ(keysOf(elementsOf(text)), textsOf(keys)) << text;
    }
    EXPECT_EQ(keysOf(NodeVector()), Texts());
}

/// Objects that have most of the same names in much the same order, or not at all.
NodeVector alikeObjects(std::uint64_t sequence) {
    const auto dom = tree::make_dom_ptr();
    auto& pool = dom->document.GetAllocator();
    RandomJson random(sequence, pool);
    Names names;
    for (std::size_t n = random.below(12) + 1; n > 0; --n) {
        names.push_back(random.below(2) == 0 ? random.key() : "k" + std::to_string(n));
    }
    const std::size_t wildness = random.below(4); // of 0: all the same
    dom->document.SetArray();
    for (int i = 0; i < 60; ++i) {
        Value object(rapidjson::kObjectType);
        for (const std::string& name : names) {
            const std::size_t change = random.below(12) < wildness ? random.below(5) : 5;
            const std::string other = "n" + std::to_string(random.below(20));
            const Names edits[] = {{}, {name, name}, {other, name}, {name, other}, {other}, {name}};
            for (const std::string& key : edits[change]) {
                object.AddMember(Value(key.data(), key.size(), pool), Value(), pool);
            }
        }
        if (random.below(8) < wildness) {
            std::swap(names[random.below(names.size())], names[random.below(names.size())]);
        }
        dom->document.PushBack(random.below(10) == 0 ? random.value(1).Move() : object, pool);
    }
    return rootOf(dom).get_children();
}

TEST(GetKeys, AgreeWithThePlainAlgorithm) {
    for (std::uint64_t sequence = 0; sequence < 300; ++sequence) {
        const NodeVector alike = alikeObjects(sequence);
        EXPECT_EQ(keysOf(alike), plainKeys(alike.nodes)) << sequence;
        const NodeVector wild = everythingBelow(randomDocument(sequence, sequence % 40, 3));
        EXPECT_EQ(keysOf(wild), plainKeys(wild.nodes)) << sequence;
    }
}

TEST(SetKeys, GivesEveryObjectTheSameMembers) {
    const std::string before = R"([{"a":[1]}, 5, {}, [{"b":2}], {"x":{"y":1}}])";
    const struct {
        Names names;
        std::string object;
    } cases[] = {
        {{}, "{}"},
        {{"k", "k"}, R"({"k":null,"k":null})"},
        {{bytes22, "", bytes21},
         R"({")" + bytes22 + R"(":null,"":null,")" + bytes21 + R"(":null})"},
    };
    for (const auto& [names, object] : cases) {
        NodeVector nodes = elementsOf(before);
        nodes.set_keys(*stringsOf(textsOf(names)));
        for (const std::size_t i : {0U, 2U, 4U}) {
            EXPECT_EQ(textOf(*nodes.nodes[i]), object);
        }
        EXPECT_EQ(textOf(*nodes.nodes[1]), "5");
        EXPECT_EQ(textOf(*nodes.nodes[3]), R"([{"b":2}])");
        EXPECT_EQ(keysOf(nodes), textsOf(names));
    }
}

TEST(SetKeys, GivesEveryObjectNamesOfItsOwn) {
    constexpr std::size_t count = 3000; // more than one thread's share
    const auto dom = tree::make_dom_ptr();
    dom->document.SetArray();
    for (std::size_t i = 0; i < count; ++i) {
        dom->document.PushBack(Value(rapidjson::kObjectType), dom->document.GetAllocator());
    }
    NodeVector nodes = rootOf(dom).get_children();
    nodes.set_keys(*stringsOf({u"short", u16(bytes22)}));
    std::set<const char*> names;
    for (const Value* node : nodes.nodes) {
        for (const auto& member : node->GetObject()) {
            names.insert(member.name.GetString());
        }
    }
    EXPECT_EQ(names.size(), 2 * count);
    nodes = NodeVector(dom, {nodes.nodes[0], nodes.nodes[1]});
    dom->document.Erase(dom->document.Begin() + 2, dom->document.End());
    auto& pool = nodes.dom->document.GetAllocator();
    nodes.nodes[0]->AddMember("more", 1, pool); // the members are at home in the document's pool
    nodes.nodes[0]->MemberBegin()->value.SetString("a text of more than 21 bytes", pool);
    EXPECT_EQ(textOf(*nodes.dom), R"([{"short":"a text of more than 21 bytes",")" + bytes22 +
                                      R"(":null,"more":1},{"short":null,")" + bytes22 +
                                      R"(":null}])");
}

TEST(SetKeys, RefusesMissingNamesBeforeAnythingChanges) {
    NodeVector nodes = elementsOf(R"([{"a":1}, {}])");
    const std::size_t used = nodes.dom->document.GetAllocator().Size();
    NodeVector none;
    for (NodeVector* at : {&nodes, &none}) {
        try {
            at->set_keys(*stringsOf({u"b", std::nullopt, u"c"}));
            ADD_FAILURE();
        } catch (const foundation::core::except::Exception<OSTRA::string::MissingNotSupported,
                                                           std::exception, void>& error) {
            EXPECT_EQ(error.GetID(), "OSTRA:string:MissingNotSupported");
        }
    }
    EXPECT_EQ(textOf(*nodes.dom), R"([{"a":1},{}])");
    EXPECT_EQ(nodes.dom->document.GetAllocator().Size(), used);
    none.set_keys(*stringsOf({u"a"})); // no object, so no document is needed
}

/// Repeated nodes and objects inside one another included.
TEST(SetKeys, AgreesWithThePlainLoop) {
    for (std::uint64_t sequence = 0; sequence < 60; ++sequence) {
        const std::size_t count = sequence == 0 ? 20'000 : sequence % 30;
        NodeVector ours = everythingBelow(randomDocument(sequence, count, 3));
        NodeVector expected = everythingBelow(randomDocument(sequence, count, 3));
        const std::vector<Value*> all[] = {ours.nodes, expected.nodes};
        RandomJson random(sequence, ours.dom->document.GetAllocator());
        if (sequence % 2 == 1) {
            for (std::size_t i = 0, n = ours.nodes.size(); i < n; ++i) {
                const std::size_t pick = random.below(n);
                ours.nodes.push_back(ours.nodes[pick]);
                expected.nodes.push_back(expected.nodes[pick]);
            }
        }
        Texts names;
        // With many names, few objects are work for several threads.
        for (std::size_t n = sequence % 16 == 2 ? 1000 : random.below(5); n > 0; --n) {
            names.emplace_back(u16(random.key()));
        }
        ours.set_keys(*stringsOf(names));
        fuzz::plainSetKeys(expected.nodes, names, expected.dom->document.GetAllocator());
        EXPECT_EQ(textOf(*ours.dom), textOf(*expected.dom)) << sequence;
        for (std::size_t i = 0; i < all[0].size(); ++i) { // also what no longer belongs to them
            ASSERT_EQ(*all[0][i], *all[1][i]) << sequence << ", node " << i;
        }
    }
}

} // namespace
