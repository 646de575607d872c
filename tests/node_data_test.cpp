/// Types and data of many nodes as columns, against plain serial loops.

#include "fuzz/oracle/record.hpp"
#include "support/failure.hpp"
#include "support/nodes.hpp"
#include "support/random_json.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace {

using namespace test;
using fuzz::Codes;
using fuzz::columnOf;
using fuzz::fromHost;
using fuzz::Nodes;
using fuzz::Outcome;
using fuzz::plainGetData;
using fuzz::Record;
using fuzz::sameRecord;
using fuzz::Texts;
using fuzz::vectorOf;
using rapidjson::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using tree::NodeVector;
using tree::NodeVectorData;

constexpr std::uint64_t lossy = 9007199254740993; // 2^53 + 1

/// Two equal documents, the same nodes of each, and type codes for some or too many of them.
struct Case {
    Case(std::uint64_t sequence, std::size_t count)
        : ours(everythingBelow(randomDocument(sequence, count, 3))),
          expected(everythingBelow(randomDocument(sequence, count, 3))), allOurs(ours.nodes),
          allExpected(expected.nodes), random(sequence, spare.GetAllocator()) {
        const bool allOnce = random.below(3) == 0;
        const std::size_t picked = allOnce ? allOurs.size() : random.below(allOurs.size() + 1);
        for (std::size_t i = 0; i < picked; ++i) {
            const std::size_t pick = allOnce ? i : random.below(allOurs.size());
            ours.nodes[i] = allOurs[pick];
            expected.nodes[i] = allExpected[pick];
        }
        ours.nodes.resize(picked);
        expected.nodes.resize(picked);
        types.resize(random.below(picked + 3));
        for (std::uint8_t& type : types) {
            type = static_cast<std::uint8_t>(random.below(3) == 0 ? random.below(7)
                                                                  : 5 + random.below(2));
        }
    }

    /// Random data with these types, more than enough of each kind for all nodes.
    Record plenty() {
        Record record{types, {}, {}, {}, {}, {}};
        for (std::size_t i = 0; i <= ours.nodes.size(); ++i) {
            const Value text = random.string();
            const Value number = random.number();
            const std::uint64_t bits = number.IsUint64() ? number.GetUint64() : 77;
            record.numberTypes.push_back(Codes{0, 1, 2, 7}[random.below(4)]);
            record.strings.emplace_back(u16({text.GetString(), text.GetStringLength()}));
            record.doubles.push_back(number.GetDouble());
            record.uint64s.push_back(bits);
            record.int64s.push_back(static_cast<std::int64_t>(bits));
        }
        return record;
    }

    /// The documents agree, and so do the values that no longer belong to them.
    void expectAgreement() const {
        EXPECT_EQ(textOf(*ours.dom), textOf(*expected.dom));
        EXPECT_TRUE(sameRecord(plainGetData(allOurs), plainGetData(allExpected)));
    }

    NodeVector ours;
    NodeVector expected;
    Nodes allOurs;
    Nodes allExpected;
    rapidjson::Document spare;
    RandomJson random;
    Codes types;
};

void forManyCases(const std::function<void(Case&)>& check) {
    for (std::uint64_t sequence = 0; sequence < 120; ++sequence) {
        SCOPED_TRACE(sequence);
        Case one(sequence, sequence % 12);
        check(one);
    }
    Case large(1000, 3000);
    check(large);
}

// --- Types ----------------------------------------------------------------------------------

TEST(Types, BecomeEmptyValues) {
    const std::string full = R"(["abc", {"a": 1}, [1], 7, true, null, "x"])";
    NodeVector nodes = elementsOf(full);
    EXPECT_THAT(vectorOf(nodes.get_types()), ElementsAre(5, 3, 4, 6, 2, 0, 5));
    nodes.set_types(columnOf(Codes{5, 3, 4, 6, 0, 2, 1, 99, 255})); // more codes than nodes
    EXPECT_EQ(textOf(*nodes.dom), R"(["",{},[],0.0,null,true,false])");
    nodes = elementsOf(full);
    nodes.set_types(columnOf(Codes{0, 0, 0}));
    EXPECT_EQ(textOf(*nodes.dom), R"([null,null,null,7,true,null,"x"])");
    nodes.set_types(columnOf(Codes{}));
    NodeVector().set_types(columnOf(Codes{9}));
    forManyCases([](Case& at) {
        EXPECT_EQ(vectorOf(at.ours.get_types()), plainGetData(at.expected.nodes).types);
        at.ours.set_types(columnOf(at.types));
        fuzz::plainSetTypes(at.expected.nodes, at.types);
        at.expectAgreement();
    });
}

TEST(Types, OfNoMeaningAreRefusedBeforeAnythingChanges) {
    NodeVector nodes = elementsOf("[1, 2, 3]");
    for (const std::uint8_t bad : Codes{7, 255}) {
        const auto set = [&] { nodes.set_types(columnOf(Codes{0, 0, bad, 8})); };
        EXPECT_THAT(messageOf<std::out_of_range>(set),
                    HasSubstr(std::to_string(bad) + " at position 2"));
    }
    EXPECT_THROW(nodes.set_types(nullptr), std::invalid_argument);
    EXPECT_EQ(textOf(*nodes.dom), "[1,2,3]");
}

// --- Data out -------------------------------------------------------------------------------

TEST(GetData, SortsNumbersIntoClasses) {
    const NodeVector nodes = elementsOf(
        "[1.5, 42, 9007199254740993, -9007199254740993, 18446744073709551615, 9223372036854775808, "
        "-9223372036854775808, null, true, {\"a\": 1}, [1], \"t\\u0000\\u00e9\"]");
    const Record data = fromHost(nodes.get_data());
    EXPECT_THAT(data.types, ElementsAre(6, 6, 6, 6, 6, 6, 6, 0, 2, 3, 4, 5));
    EXPECT_THAT(data.numberTypes, ElementsAre(0, 0, 1, 2, 1, 0, 0));
    EXPECT_THAT(data.doubles, ElementsAre(1.5, 42, 0x1p63, -0x1p63));
    EXPECT_THAT(data.uint64s, ElementsAre(lossy, std::numeric_limits<std::uint64_t>::max()));
    EXPECT_THAT(data.int64s, ElementsAre(-static_cast<std::int64_t>(lossy)));
    EXPECT_THAT(data.strings, ElementsAre(std::u16string(u"t\0\u00e9", 3)));
}

TEST(GetData, AgreesWithThePlainLoop) {
    EXPECT_TRUE(sameRecord(fromHost(NodeVector().get_data()), {}));
    forManyCases([](const Case& at) {
        EXPECT_TRUE(sameRecord(fromHost(at.ours.get_data()), plainGetData(at.ours.nodes)));
        at.expectAgreement(); // nothing has changed
    });
}

TEST(GetData, ClassesEveryIntegerAsRapidJsonDoes) {
    std::vector<Value> values;
    for (int high = 0; high < 64; ++high) {
        for (int low = 0; low <= high; ++low) {
            const std::uint64_t two = (std::uint64_t{1} << high) | (std::uint64_t{1} << low);
            for (const std::uint64_t bits : {two - 1, two, two + 1, ~two}) {
                values.emplace_back(bits);
                values.emplace_back(static_cast<std::int64_t>(bits));
            }
        }
    }
    NodeVector nodes(tree::make_dom_ptr(), {});
    for (Value& value : values) {
        nodes.nodes.push_back(&value);
    }
    const Record before = plainGetData(nodes.nodes);
    EXPECT_TRUE(sameRecord(fromHost(nodes.get_data()), before));
    nodes.set_data(nodes.get_data());
    EXPECT_TRUE(sameRecord(plainGetData(nodes.nodes), before));
}

// --- Data in --------------------------------------------------------------------------------

TEST(SetData, AgreesWithThePlainLoop) {
    forManyCases([](Case& at) {
        Record record = at.plenty();
        if (at.random.below(2) == 0) { // a text is missing: it stops there
            record.strings[std::min(at.random.below(4), record.strings.size() - 1)].reset();
        }
        record.absent = at.random.below(8); // of 0 or 7: none
        const auto cut = [&](auto& column) {
            if (at.random.below(5) == 0) {
                column.resize(at.random.below(column.size() + 1));
            }
        };
        cut(record.numberTypes);
        cut(record.strings);
        cut(record.doubles);
        cut(record.uint64s);
        cut(record.int64s);
        const Outcome outcome =
            fuzz::plainSetData(at.expected.nodes, record, at.expected.dom->document.GetAllocator());
        EXPECT_EQ(fuzz::outcomeOf([&] { at.ours.set_data(record.toHost()); }), outcome);
        at.expectAgreement();
    });
}

TEST(SetData, RefusesARecordThatIsTooShortOrHasNoSuchType) {
    const std::string text = R"([1,"a",9007199254740993,-9007199254740993,"b",2])";
    const std::pair<std::string, void (*)(Record&)> cases[] = {
        {"number_types", [](Record& record) { record.numberTypes.pop_back(); }},
        {"strings", [](Record& record) { record.strings.pop_back(); }},
        {"doubles", [](Record& record) { record.doubles.pop_back(); }},
        {"uint64s", [](Record& record) { record.uint64s.pop_back(); }},
        {"int64s", [](Record& record) { record.int64s.pop_back(); }},
        {"200 at position 5", [](Record& record) { record.types[5] = 200; }},
    };
    NodeVector nodes = elementsOf(text);
    for (const auto& [message, spoil] : cases) {
        Record record = fromHost(nodes.get_data());
        spoil(record);
        const auto set = [&] { nodes.set_data(record.toHost()); };
        EXPECT_THAT(messageOf<std::out_of_range>(set), HasSubstr(message));
        EXPECT_EQ(textOf(*nodes.dom), text);
    }
}

TEST(SetData, RefusesMissingArrays) {
    const std::string text = R"([1,"a",9007199254740993,-9007199254740993])";
    NodeVector nodes = elementsOf(text);
    const char* const fields[] = {"types",   "number_types", "strings",
                                  "doubles", "uint64s",      "int64s"};
    for (std::size_t absent = 1; absent <= std::size(fields); ++absent) {
        Record record = fromHost(nodes.get_data());
        record.absent = absent;
        const auto set = [&] { nodes.set_data(record.toHost()); };
        EXPECT_THAT(messageOf<std::invalid_argument>(set), StartsWith(fields[absent - 1]));
    }
    EXPECT_EQ(textOf(*nodes.dom), text);
}

TEST(SetData, NeedsNoArrayThatNothingIsTakenFrom) {
    const struct {
        std::string text;
        Texts strings;
        std::vector<double> doubles;
        Outcome outcome;
        std::string after;
    } cases[] = {
        {"[null,{}]", {}, {}, Outcome::Done, "[null,{}]"},
        {R"(["a","b"])", {u"c", u"d"}, {}, Outcome::Done, R"(["c","d"])"},
        {"[1,2]", {}, {3, 4}, Outcome::Done, "[3.0,4.0]"},
        {R"(["a","b",1])", {u"c", {}}, {}, Outcome::Missing, R"(["c","",0.0])"},
        {R"([1,"b","c",1])", {{}}, {2}, Outcome::Missing, R"([2.0,"","",0.0])"},
        {R"([1,"b"])", {{}}, {}, Outcome::NoArray, R"([1,"b"])"},
    };
    for (const auto& [text, strings, doubles, outcome, after] : cases) {
        NodeVector nodes = elementsOf(text);
        NodeVectorData data;
        data.types = nodes.get_types();
        data.strings = strings.empty() ? nullptr : fuzz::stringsOf(strings);
        data.number_types = doubles.empty() ? nullptr : columnOf(Codes(doubles.size(), 0));
        data.doubles = doubles.empty() ? nullptr : columnOf(doubles);
        EXPECT_EQ(fuzz::outcomeOf([&] { nodes.set_data(data); }), outcome) << text;
        EXPECT_EQ(textOf(*nodes.dom), after);
    }
    NodeVector().set_data({});
}

TEST(SetData, WritesEditedColumns) {
    NodeVector nodes = elementsOf(R"([42, "old", 9007199254740993, -9007199254740993, {"a": 1}])");
    Record edited = fromHost(nodes.get_data());
    edited.types = {5, 6, 6, 6, 3}; // a number becomes a string, a string a number
    edited.strings = {u"new"};
    edited.numberTypes = {1, 0, 2};
    edited.doubles = {42};
    edited.uint64s = {1UL << 53U};                      // of class Double from now on
    edited.int64s = {static_cast<std::int64_t>(lossy)}; // not negative: of class Uint64
    nodes.set_data(edited.toHost());
    EXPECT_EQ(textOf(*nodes.dom), R"(["new",9007199254740992,42.0,9007199254740993,{}])");
    EXPECT_THAT(vectorOf(nodes.get_data().number_types), ElementsAre(0, 0, 1));
}

} // namespace
