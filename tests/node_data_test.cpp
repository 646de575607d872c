/// Types and data of many nodes as columns, against plain serial loops.

#include "support/columns.hpp"
#include "support/random_json.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <limits>

namespace {

using namespace test;
using rapidjson::Value;
using testing::ElementsAre;
using testing::HasSubstr;
using tree::NodeVector;
using tree::NodeVectorData;
using Codes = std::vector<std::uint8_t>;
using foundation::core::except::IMsgIDException;

constexpr std::uint64_t lossy = 9007199254740993; // 2^53 + 1

tree::NumericArray<std::uint8_t> codes(const Codes& values) {
    return arrayOf(values, qxUINT8_CLASS);
}

/// A `NodeVectorData` in plain clothes.
struct Record {
    Codes types;
    Codes numberTypes;
    Texts strings;
    std::vector<std::uint64_t> doubleBits;
    std::vector<std::uint64_t> uint64s;
    std::vector<std::int64_t> int64s;

    bool operator==(const Record&) const = default;

    NodeVectorData toHost() const {
        std::vector<double> doubles;
        for (const std::uint64_t bits : doubleBits) {
            doubles.push_back(std::bit_cast<double>(bits));
        }
        return {codes(types),
                codes(numberTypes),
                stringsOf(strings),
                arrayOf(doubles, qxDOUBLE_CLASS),
                arrayOf(uint64s, qxUINT64_CLASS),
                arrayOf(int64s, qxINT64_CLASS)};
    }
};

Record fromHost(const NodeVectorData& data) {
    expectColumn(data.types, qxUINT8_CLASS);
    expectColumn(data.number_types, qxUINT8_CLASS);
    EXPECT_THAT(data.strings->dims(), ElementsAre(data.strings->size(), 1));
    expectColumn(data.doubles, qxDOUBLE_CLASS);
    expectColumn(data.uint64s, qxUINT64_CLASS);
    expectColumn(data.int64s, qxINT64_CLASS);
    Record record{vectorOf(data.types),   vectorOf(data.number_types), textsOf(*data.strings), {},
                  vectorOf(data.uint64s), vectorOf(data.int64s)};
    for (const double value : vectorOf(data.doubles)) {
        record.doubleBits.push_back(std::bit_cast<std::uint64_t>(value));
    }
    return record;
}

// --- The oracle -----------------------------------------------------------------------------

Record plainGet(const std::vector<Value*>& nodes) {
    Record record;
    for (const Value* node : nodes) {
        record.types.push_back(static_cast<std::uint8_t>(node->GetType()));
        if (node->IsString()) {
            record.strings.emplace_back(std::string(node->GetString(), node->GetStringLength()));
        } else if (node->IsLosslessDouble()) {
            record.numberTypes.push_back(0);
            record.doubleBits.push_back(std::bit_cast<std::uint64_t>(node->GetDouble()));
        } else if (node->IsUint64()) {
            record.numberTypes.push_back(1);
            record.uint64s.push_back(node->GetUint64());
        } else if (node->IsInt64()) {
            record.numberTypes.push_back(2);
            record.int64s.push_back(node->GetInt64());
        }
    }
    return record;
}

/// Resets nodes one after another.
void plainSetTypes(const std::vector<Value*>& nodes, const Codes& types) {
    for (std::size_t i = 0; i < std::min(nodes.size(), types.size()); ++i) {
        *nodes[i] = Value(static_cast<rapidjson::Type>(types[i]));
    }
}

/// Writes random data into the nodes one after another.
/// @param missing  the position of the first text that is missing.
/// @return the record that says the same, no element of it too many.
Record plainSet(const NodeVector& nodes, const Codes& types, RandomJson& random,
                std::size_t missing = SIZE_MAX) {
    Record record{types, {}, {}, {}, {}, {}};
    plainSetTypes(nodes.nodes, types);
    bool failed = false;
    for (Value* node : nodes.nodes) {
        Value scratch;
        Value& target = failed ? scratch : *node;
        if (node->IsString()) {
            failed = failed || record.strings.size() == missing;
            const Value text = random.string();
            const std::string bytes(text.GetString(), text.GetStringLength());
            record.strings.push_back(failed ? std::nullopt : std::optional(bytes));
            if (!failed) {
                target.SetString(bytes.data(), bytes.size(), nodes.dom->document.GetAllocator());
            }
        } else if (node->IsNumber()) {
            const Value number = random.number();
            const std::uint64_t bits = number.IsUint64() ? number.GetUint64() : 77;
            const std::uint8_t type = Codes{0, 1, 2, 7}[random.below(4)];
            record.numberTypes.push_back(type);
            if (type == 0) {
                record.doubleBits.push_back(std::bit_cast<std::uint64_t>(number.GetDouble()));
                target.SetDouble(number.GetDouble());
            } else if (type == 1) {
                record.uint64s.push_back(bits);
                target.SetUint64(bits);
            } else if (type == 2) {
                record.int64s.push_back(static_cast<std::int64_t>(bits));
                target.SetInt64(static_cast<std::int64_t>(bits));
            }
        }
    }
    return record;
}

/// Two equal documents, the same nodes of each, and type codes for some or too many of them.
struct Case {
    Case(std::uint64_t sequence, std::size_t count, int depth)
        : ours(everythingBelow(randomDocument(sequence, count, depth))),
          expected(everythingBelow(randomDocument(sequence, count, depth))), allOurs(ours.nodes),
          allExpected(expected.nodes), random(sequence, spare.GetAllocator()) {
        std::vector<std::size_t> picks;
        const bool allOnce = random.below(3) == 0;
        const std::size_t picked = allOnce ? allOurs.size() : random.below(allOurs.size() + 1);
        for (std::size_t i = 0; i < picked; ++i) {
            picks.push_back(allOnce ? i : random.below(allOurs.size()));
        }
        pick(ours, picks);
        pick(expected, picks);
        const std::size_t covered = random.below(picks.size() + 3);
        for (std::size_t i = 0; i < covered; ++i) {
            types.push_back(static_cast<std::uint8_t>(random.below(3) == 0 ? random.below(7)
                                                                           : 5 + random.below(2)));
        }
    }

    static void pick(NodeVector& from, const std::vector<std::size_t>& picks) {
        std::vector<Value*> nodes;
        nodes.reserve(picks.size());
        for (const std::size_t i : picks) {
            nodes.push_back(from.nodes[i]);
        }
        from.nodes = nodes;
    }

    /// The documents agree, and so do the values that no longer belong to them.
    void expectAgreement() const {
        EXPECT_EQ(textOf(*ours.dom), textOf(*expected.dom));
        EXPECT_EQ(plainGet(allOurs), plainGet(allExpected));
    }

    NodeVector ours;
    NodeVector expected;
    std::vector<Value*> allOurs;
    std::vector<Value*> allExpected;
    rapidjson::Document spare;
    RandomJson random;
    Codes types;
};

void forManyCases(const std::function<void(Case&)>& check) {
    for (std::uint64_t sequence = 0; sequence < 120; ++sequence) {
        SCOPED_TRACE(sequence);
        Case one(sequence, sequence % 12, 3);
        check(one);
    }
    Case large(1000, 3000, 3);
    check(large);
}

// --- Types ----------------------------------------------------------------------------------

TEST(Types, AreReportedForEveryNode) {
    const NodeVector nodes = elementsOf(R"([null, false, true, {}, [], "a", 1])");
    EXPECT_THAT(vectorOf(nodes.get_types()), ElementsAre(0, 1, 2, 3, 4, 5, 6));
    const auto none = NodeVector().get_types();
    expectColumn(none, qxUINT8_CLASS);
    EXPECT_EQ(none->size(), 0U);
    forManyCases([](const Case& at) {
        const auto types = at.ours.get_types();
        expectColumn(types, qxUINT8_CLASS);
        EXPECT_EQ(vectorOf(types), plainGet(at.ours.nodes).types);
    });
}

TEST(Types, BecomeEmptyValues) {
    const std::string full = R"(["abc", {"a": 1}, [1], 7, true, null, "x"])";
    NodeVector nodes = elementsOf(full);
    nodes.set_types(codes({5, 3, 4, 6, 0, 2, 1, 99, 255})); // those past the nodes do not matter
    EXPECT_EQ(textOf(*nodes.dom), R"(["",{},[],0.0,null,true,false])");
    EXPECT_EQ(fromHost(nodes.get_data()).doubleBits, std::vector<std::uint64_t>{0});
    nodes = elementsOf(full);
    nodes.set_types(codes({0, 0, 0}));
    EXPECT_EQ(textOf(*nodes.dom), R"([null,null,null,7,true,null,"x"])");
    nodes.set_types(codes({}));
    NodeVector().set_types(codes({9}));
    forManyCases([](Case& at) {
        at.ours.set_types(codes(at.types));
        plainSetTypes(at.expected.nodes, at.types);
        at.expectAgreement();
    });
}

TEST(Types, OfNoMeaningAreRefusedBeforeAnythingChanges) {
    NodeVector nodes = elementsOf("[1, 2, 3]");
    for (const std::uint8_t bad : Codes{7, 255}) {
        try {
            nodes.set_types(codes({0, 0, bad, 8}));
            ADD_FAILURE();
        } catch (const std::out_of_range& error) {
            EXPECT_THAT(error.what(), HasSubstr(std::to_string(bad) + " at position 2"));
        }
    }
    EXPECT_THROW(nodes.set_types(nullptr), std::invalid_argument);
    EXPECT_EQ(textOf(*nodes.dom), "[1,2,3]");
}

// --- Data out -------------------------------------------------------------------------------

TEST(GetData, SortsNumbersIntoClasses) {
    const NodeVector nodes = elementsOf(
        "[1.5, 42, 9007199254740993, -9007199254740993, 18446744073709551615, 9223372036854775808, "
        "-9223372036854775808, null, true, {\"a\": 1}, [1], \"t\\u0000\\u00e9\"]");
    const NodeVectorData data = nodes.get_data();
    EXPECT_THAT(vectorOf(data.types), ElementsAre(6, 6, 6, 6, 6, 6, 6, 0, 2, 3, 4, 5));
    EXPECT_THAT(vectorOf(data.number_types), ElementsAre(0, 0, 1, 2, 1, 0, 0));
    EXPECT_THAT(vectorOf(data.doubles), ElementsAre(1.5, 42, 0x1p63, -0x1p63));
    EXPECT_THAT(vectorOf(data.uint64s),
                ElementsAre(lossy, std::numeric_limits<std::uint64_t>::max()));
    EXPECT_THAT(vectorOf(data.int64s), ElementsAre(-static_cast<std::int64_t>(lossy)));
    EXPECT_THAT(textsOf(*data.strings), ElementsAre(std::string("t\0\u00e9", 4)));
}

TEST(GetData, AgreesWithThePlainLoop) {
    EXPECT_EQ(fromHost(NodeVector().get_data()), Record());
    forManyCases([](const Case& at) {
        const std::string before = textOf(*at.ours.dom);
        EXPECT_EQ(fromHost(at.ours.get_data()), plainGet(at.ours.nodes));
        EXPECT_EQ(textOf(*at.ours.dom), before);
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
    NodeVector nodes;
    for (Value& value : values) {
        nodes.nodes.push_back(&value);
    }
    EXPECT_EQ(fromHost(nodes.get_data()), plainGet(nodes.nodes));
}

// --- Data in --------------------------------------------------------------------------------

TEST(SetData, AgreesWithThePlainLoop) {
    forManyCases([](Case& at) {
        Record record = plainSet(at.expected, at.types, at.random);
        if (at.random.below(2) == 0) { // what nobody takes does not matter
            record.strings.emplace_back();
            record.numberTypes.push_back(1);
            record.doubleBits.push_back(1);
        }
        at.ours.set_data(record.toHost());
        at.expectAgreement();
    });
}

TEST(SetData, RefusesARecordThatIsTooShort) {
    forManyCases([](Case& at) {
        const Record before = plainGet(at.allOurs);
        const Record fitting = plainSet(at.expected, at.types, at.random);
        const auto expectRefused = [&](const char* field, const auto& vectorOfRecord) {
            Record shorter = fitting;
            auto& values = vectorOfRecord(shorter);
            if (values.empty()) {
                return;
            }
            values.pop_back();
            try {
                at.ours.set_data(shorter.toHost());
                ADD_FAILURE() << field;
            } catch (const std::out_of_range& error) {
                EXPECT_THAT(error.what(), testing::StartsWith(field));
            }
        };
        expectRefused(
            "number_types", [](Record & r) -> auto& { return r.numberTypes; });
        expectRefused(
            "strings", [](Record & r) -> auto& { return r.strings; });
        expectRefused(
            "doubles", [](Record & r) -> auto& { return r.doubleBits; });
        expectRefused(
            "uint64s", [](Record & r) -> auto& { return r.uint64s; });
        expectRefused(
            "int64s", [](Record & r) -> auto& { return r.int64s; });
        if (!at.types.empty() && !at.ours.nodes.empty()) {
            Record huge = fitting;
            huge.types[at.random.below(std::min(at.types.size(), at.ours.nodes.size()))] = 200;
            EXPECT_THROW(at.ours.set_data(huge.toHost()), std::out_of_range);
        }
        EXPECT_EQ(plainGet(at.allOurs), before);
        at.ours.set_data(fitting.toHost());
        at.expectAgreement();
    });
}

TEST(SetData, RefusesMissingArrays) {
    NodeVector nodes = elementsOf("[1, \"a\"]");
    const std::function<void(NodeVectorData&)> drops[] = {[](NodeVectorData& d) { d.types.reset(); },
                                                          [](NodeVectorData& d) { d.number_types.reset(); },
                                                          [](NodeVectorData& d) { d.strings.reset(); },
                                                          [](NodeVectorData& d) { d.doubles.reset(); },
                                                          [](NodeVectorData& d) { d.uint64s.reset(); },
                                                          [](NodeVectorData& d) { d.int64s.reset(); }};
    const char* const names[] = {"types",   "number_types", "strings",
                                 "doubles", "uint64s",      "int64s"};
    for (std::size_t i = 0; i < std::size(drops); ++i) {
        NodeVectorData data = nodes.get_data();
        drops[i](data);
        try {
            nodes.set_data(data);
            ADD_FAILURE() << names[i];
        } catch (const std::invalid_argument& error) {
            EXPECT_THAT(error.what(), testing::StartsWith(names[i]));
        }
    }
    EXPECT_EQ(textOf(*nodes.dom), "[1,\"a\"]");
}

TEST(SetData, StopsAtAMissingText) {
    forManyCases([](Case& at) {
        const std::size_t missing = at.random.below(4);
        const Record record = plainSet(at.expected, at.types, at.random, missing);
        const NodeVectorData data = record.toHost();
        if (record.strings.size() <= missing) {
            at.ours.set_data(data);
        } else {
            try {
                at.ours.set_data(data);
                ADD_FAILURE();
            } catch (const IMsgIDException& error) {
                EXPECT_EQ(error.GetID(), "OSTRA:string:MissingNotSupported");
            }
        }
        at.expectAgreement();
    });
}

TEST(SetData, KeepsWhatGetDataGave) {
    for (std::uint64_t sequence = 0; sequence < 40; ++sequence) {
        const auto dom = randomDocument(sequence, 20, 4);
        NodeVector leaves(dom, {});
        for (Value* value : everythingBelow(dom).nodes) {
            if (!value->IsObject() && !value->IsArray()) {
                leaves.nodes.push_back(value);
            }
        }
        const Record before = plainGet(leaves.nodes);
        leaves.set_data(leaves.get_data());
        EXPECT_EQ(plainGet(leaves.nodes), before);
        const std::string once = textOf(*dom);
        leaves.set_data(leaves.get_data());
        EXPECT_EQ(textOf(*dom), once);
    }
}

TEST(SetData, WritesEditedColumns) {
    NodeVector nodes = elementsOf(R"([42, "old", 9007199254740993, -9007199254740993, {"a": 1}])");
    Record edited = fromHost(nodes.get_data());
    edited.types = {5, 6, 6, 6, 3}; // a number becomes a string, a string a number
    edited.strings = {"new"};
    edited.numberTypes = {1, 0, 2};
    edited.doubleBits = {std::bit_cast<std::uint64_t>(42.0)};
    edited.uint64s = {std::uint64_t{1}
                      << 53U}; // a double holds it, so that is its class from now on
    edited.int64s = {static_cast<std::int64_t>(lossy)}; // not negative: class Uint64 from now on
    nodes.set_data(edited.toHost());
    EXPECT_EQ(textOf(*nodes.dom), R"(["new",9007199254740992,42.0,9007199254740993,{}])");
    EXPECT_THAT(vectorOf(nodes.get_data().number_types), ElementsAre(0, 0, 1));
}

} // namespace
