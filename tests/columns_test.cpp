/// Columns of nodes, `select`, and the pieces that both are joined from.

#include "columns/extractor.hpp"
#include "fuzz/oracle/column_records.hpp"
#include "support/failure.hpp"
#include "support/nodes.hpp"
#include "support/random_json.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

namespace {

namespace columns = ostra::io::json::columns;
using columns::Column;
using columns::ColumnType;
using columns::Field;
using columns::Kind;
using columns::Layout;
using columns::Mismatch;
using columns::State;
using columns::Want;

TEST(Memory, KeepsItsContentFromMallocToMappedBlocks) {
    columns::Block<std::uint64_t> block;
    std::size_t moves = 0;
    const std::uint64_t* before = nullptr;
    for (std::uint64_t i = 0; i < 16'000'000; ++i) {
        block.push_back(i);
        moves += std::exchange(before, block.data()) != block.data() ? 1 : 0;
    }
    EXPECT_LT(moves, 60U);
    block.shrink();
    columns::Block<std::uint64_t> moved = std::move(block);
    EXPECT_TRUE(block.empty()); // NOLINT(bugprone-use-after-move): what is left is promised
    for (std::uint64_t i = 0; i < moved.size(); ++i) {
        ASSERT_EQ(moved[i], i);
    }
    EXPECT_THROW(moved.reserve(SIZE_MAX / 8), std::bad_alloc);
    EXPECT_THROW(moved.extend(SIZE_MAX), std::bad_alloc);
    EXPECT_EQ(moved.size(), 16'000'000U);
}

struct Random {
    std::mt19937_64 engine;
    std::size_t below(std::size_t limit) { return engine() % limit; }
};

/// A document of records, fields, and what the model makes of them.
struct Case {
    explicit Case(std::uint64_t seed, std::size_t mostRecords) : random{std::mt19937_64(seed)} {
        auto& pool = dom->document.GetAllocator();
        fuzz::ColumnRecords make(random, pool);
        fields = make.fields();
        dom->document.SetArray();
        for (std::size_t n = random.below(mostRecords); n > 0; --n) {
            dom->document.PushBack(make.record(), pool);
        }
        records = test::rootOf(dom).get_children();
    }

    /// Appends the records to pieces of random sizes, which are joined.
    template <class AfterPiece>
    void join(columns::Joined& joined, const AfterPiece& afterPiece) {
        auto& piece = pieces[random.below(2)]; // their memory serves many times
        for (std::size_t begin = 0; begin < records.nodes.size();) {
            const std::size_t count =
                std::min(random.below(random.below(2) == 0 ? 4 : 80), records.nodes.size() - begin);
            piece.clear();
            if (random.below(2) == 0) {
                piece.append(records.nodes[begin], count, sizeof(rapidjson::Value));
            } else {
                piece.append(std::span(records.nodes).subspan(begin, count));
            }
            EXPECT_EQ(piece.rows(), count);
            joined.append(piece);
            begin += count;
            afterPiece(begin);
        }
    }

    Random random;
    std::shared_ptr<test::tree::DOM> dom = test::tree::make_dom_ptr();
    std::vector<Field> fields;
    test::tree::NodeVector records;
    std::shared_ptr<const columns::FieldPlan> plan;
    std::vector<columns::Piece> pieces;
};

TEST(Select, AgreesWithTheModelHoweverRecordsAreCut) {
    for (std::uint64_t seed = 0; seed < 1000; ++seed) {
        Case one(seed, seed % 50 == 0 ? 5000 : 100);
        one.plan = columns::makePlan(one.fields);
        one.pieces.emplace_back(one.plan);
        one.pieces.emplace_back(one.plan);
        fuzz::PlainSelection model(one.fields);
        for (rapidjson::Value* record : one.records.nodes) {
            model.add(*record);
        }
        auto again = model;
        SCOPED_TRACE(seed);
        model.compareOutcome([&] { return columns::select(one.records, one.fields); });
        again.compareOutcome([&] {
            columns::Joined joined(one.plan, one.random.below(200));
            one.join(joined, [](std::size_t) {});
            EXPECT_EQ(joined.rows(), one.records.nodes.size());
            return joined.take(false);
        });
    }
}

TEST(Select, KeepsTypesOverBatches) {
    for (std::uint64_t seed = 0; seed < 1000; ++seed) {
        Case one(seed, 100);
        one.plan = columns::makePlan(one.fields);
        one.pieces.emplace_back(one.plan);
        one.pieces.emplace_back(one.plan);
        SCOPED_TRACE(seed);
        fuzz::PlainSelection model(one.fields);
        columns::Joined joined(one.plan, 10);
        std::size_t added = 0;
        const auto batch = [&](std::size_t end) {
            while (added < end) {
                model.add(*one.records.nodes[added++]);
            }
            model.compare(joined.take(true), true);
        };
        try {
            one.join(joined, [&](std::size_t end) {
                if (one.random.below(2) == 0) {
                    batch(end);
                }
            });
            batch(one.records.nodes.size());
        } catch (const columns::ColumnConflict& error) {
            while (added < one.records.nodes.size()) {
                model.add(*one.records.nodes[added++]);
            }
            model.compareConflict(error);
        }
    }
}

/// A column as text: its kind and its rows, "null" and "-" (absent) among them.
std::string shown(const Column& column) {
    static const char* const kinds[] = {"int64", "uint64", "double", "boolean", "text", "json"};
    const auto value = [&](std::size_t i) -> std::string {
        switch (column.kind) {
        case Kind::Int64:
            return std::to_string(column.as<std::int64_t>()[i]);
        case Kind::Uint64:
            return std::to_string(column.as<std::uint64_t>()[i]);
        case Kind::Double:
            return test::textOf(rapidjson::Value(column.as<double>()[i]));
        case Kind::Boolean:
            return column.as<std::uint8_t>()[i] != 0 ? "yes" : "no";
        case Kind::Text:
        case Kind::Json:
            break;
        }
        return "'" + std::string(column.text(i)) + "'";
    };
    std::string text = kinds[static_cast<int>(column.kind)];
    std::size_t at = 0;
    for (std::size_t row = 0; row < column.rows; ++row) {
        const bool list = column.layout == Layout::List;
        const std::size_t end =
            list ? static_cast<std::size_t>(column.lists[row + 1]) : at + column.width;
        if (column.states[row] != State::Present) {
            text += column.states[row] == State::Null ? " null" : " -";
            at = end;
            continue;
        }
        text += column.layout == Layout::Scalar ? " " : " [";
        for (; at < end; ++at) {
            const bool missing =
                column.layout != Layout::Scalar && column.element_states[at] != State::Present;
            text += (missing ? "null" : value(at)) +
                    (column.layout == Layout::Scalar || at + 1 == end ? "" : " ");
        }
        text += column.layout == Layout::Scalar ? "" : "]";
    }
    return text;
}

TEST(GetColumn, SettlesTypesAndNamesConflicts) {
    constexpr auto refuse = Mismatch::Refuse;
    constexpr auto missing = Mismatch::Missing;
    const ColumnType any;
    const auto of = [](Want want, Mismatch mismatch) {
        return ColumnType{want, Layout::Scalar, 1, mismatch};
    };
    const auto fixed = [](std::size_t width, Mismatch mismatch) {
        return ColumnType{Want::Any, Layout::Fixed, width, mismatch};
    };
    const ColumnType list = {Want::Any, Layout::List, 1, refuse};
    const struct {
        std::string nodes;
        ColumnType type;
        std::string expected; // the column, or the message of a conflict
    } cases[] = {
        {"[1, null, -9223372036854775808]", any, "int64 1 null -9223372036854775808"},
        {"[1, 9223372036854775808]", any, "uint64 1 9223372036854775808"},
        {"[-1, 9223372036854775808, 3]", any, "double -1.0 9223372036854776000.0 3.0"},
        {"[9007199254740993, null, 1.5]", any, "row 2: 1.5 where the column holds int64"},
        {"[1.5, 2, 9007199254740993]", any,
         "row 2: 9007199254740993 where the column holds double"},
        {"[18446744073709551615, -1]", any, "row 1: -1 where the column holds uint64"},
        {"[-1, 18446744073709551615]", any,
         "row 1: 18446744073709551615 where the column holds int64"},
        {"[1, 2.0]", any, "double 1.0 2.0"},
        {"[9007199254740993, 1.5]", of(Want::Double, refuse), "double 9007199254740992.0 1.5"},
        {"[2, 2.0]", of(Want::Int64, refuse), "row 1: 2.0 where the column holds int64"},
        {"[2, 2.0, -1]", of(Want::Uint64, missing), "uint64 2 null null"},
        {"[2, \"a\", []]", of(Want::Number, missing), "int64 2 null null"},
        {"[2, \"a\"]", any, "row 1: a string where the column holds numbers"},
        {"[\"a\", \"\", \"\u00e9\", true]", of(Want::Text, missing), "text 'a' '' '\u00e9' null"},
        {"[true, null, false]", any, "boolean yes null no"},
        {"[null, null]", any, "double null null"},
        {"[]", of(Want::Number, refuse), "double"},
        {"[[1, null], [], null, [2.5]]", any, "double [1.0 null] [] null [2.5]"},
        {"[[], [\"a\", 1]]", any, "row 1: 1 in an array where the column holds arrays of strings"},
        {"[[1], 2]", any, "row 1: 2 where the column holds arrays of numbers"},
        {"[1, [2, 3]]", any, "row 1: an array of 2 where the column holds numbers"},
        {"[[1], [[2]]]", any, "row 1: an array of 1 where the column holds arrays of numbers"},
        {"[{}, 1]", any, "row 0: an object where the column holds scalars or arrays of scalars"},
        {"[{}, 1, [[]]]", of(Want::Any, missing), "int64 null 1 null"},
        {"[[1, [2, {\"a\": 9}, [3]]], 4, {}, null]", list, "int64 [1 2 3] [4] [] null"},
        {"[[1, 2], [3, null], null]", fixed(2, refuse), "int64 [1 2] [3 null] null"},
        {"[[1, 2], [3]]", fixed(2, refuse),
         "row 1: an array of 1 where the column holds arrays of 2"},
        {"[[1, 2], [3], 4]", fixed(2, missing), "int64 [1 2] null null"},
        {"[[1], \"a\", {\"b\": null}, null]", of(Want::Json, refuse),
         "json '[1]' '\"a\"' '{\"b\":null}' null"},
    };
    for (const auto& [text, type, expected] : cases) {
        std::string actual;
        try {
            actual = shown(columns::get_column(test::elementsOf(text), type));
        } catch (const columns::ColumnConflict& conflict) {
            actual = conflict.what();
        }
        EXPECT_EQ(actual, expected) << text;
    }
}

TEST(GetColumn, GivesARowARecordWithAMissMask) {
    const auto records = test::elementsOf(R"([{"a": 1}, {}, {"a": null}, {"a": 2}, 5])");
    const auto looked = records.get_children("/a");
    const auto* const missing = looked.second.get();
    EXPECT_EQ(shown(columns::get_column(looked.first, {}, missing)), "int64 1 - null 2 -");
    EXPECT_EQ(
        test::messageOf<std::invalid_argument>([&] { columns::get_column(records, {}, missing); }),
        "a miss mask with 3 zeros for 5 nodes");
    const Field bad[] = {{"height", "h", {}}};
    EXPECT_THAT(test::messageOf<std::invalid_argument>([&] { columns::select(records, bad); }),
                testing::StartsWith("field 'height': "));
    const Field empty[] = {{"xyz", "/a", {Want::Any, Layout::Fixed, 0, Mismatch::Refuse}}};
    EXPECT_EQ(test::messageOf<std::invalid_argument>([&] { columns::select(records, empty); }),
              "field 'xyz': a width of 0");
}

TEST(Columns, TakeNoStackForDepth) {
    constexpr std::size_t depth = 1'000'000;
    const auto nodes =
        test::elementsOf("[" + std::string(depth, '[') + "7" + std::string(depth, ']') + "]");
    EXPECT_EQ(shown(columns::get_column(nodes, {Want::Any, Layout::List, 1, {}})), "int64 [7]");
    std::string pointer;
    for (std::size_t i = 0; i < depth; i += 10) {
        pointer += "/0";
    }
    const Field fields[] = {{"deep", pointer, {Want::Json, {}, 1, {}}},
                            {"json", "", {Want::Json, {}, 1, {}}}};
    const std::vector<Column> selected = columns::select(nodes, fields);
    EXPECT_EQ(selected[0].text(0).size(), 2 * (depth - depth / 10) + 1);
    EXPECT_EQ(selected[1].text(0).size(), 2 * depth + 1);
}

columns::ColumnView viewOf(const Column& column) {
    return {column.kind, column.rows, column.values.data(), column.offsets.data(),
            column.states.data()};
}

TEST(SetColumn, OfWhatWasTakenChangesNothing) {
    for (std::uint64_t seed = 0; seed < 200; ++seed) {
        const auto dom = test::randomDocument(seed, 40, 3);
        auto nodes = test::everythingBelow(dom);
        const std::string before = test::textOf(*dom);
        for (const Want want :
             {Want::Int64, Want::Uint64, Want::Double, Want::Boolean, Want::Text}) {
            const Column column =
                columns::get_column(nodes, {want, Layout::Scalar, 1, Mismatch::Missing});
            columns::set_column(nodes, viewOf(column));
            EXPECT_EQ(test::textOf(*dom), before);
        }
    }
}

/// Random values for random nodes, some twice, against one node after another.
template <class T>
void setRandomly(std::uint64_t seed, const std::vector<T>& choices) {
    Random random{std::mt19937_64(seed)};
    const auto setInto = [&](bool model, std::mt19937_64 engine) {
        random.engine = engine;
        const auto dom = test::randomDocument(seed, 1000, 2);
        auto& pool = dom->document.GetAllocator();
        auto nodes = test::everythingBelow(dom);
        if (seed % 2 == 0) {
            for (std::size_t i = 0; i < 100; ++i) {
                nodes.nodes.push_back(nodes.nodes[random.below(nodes.nodes.size())]);
            }
        }
        std::vector<T> values;
        std::vector<State> states;
        for (std::size_t i = 0; i < nodes.nodes.size(); ++i) {
            values.push_back(choices[random.below(choices.size())]);
            states.push_back(static_cast<State>(random.below(3)));
        }
        const bool setNull = seed % 3 == 0;
        const bool noStates = seed % 5 == 0;
        columns::ColumnView view = {Kind::Int64, values.size(), nullptr, nullptr,
                                    noStates ? nullptr : states.data()};
        std::string texts;
        std::vector<std::int64_t> offsets = {0};
        std::vector<std::uint8_t> bytes;
        if constexpr (std::is_same_v<T, std::string>) {
            for (const T& value : values) {
                texts += value;
                offsets.push_back(static_cast<std::int64_t>(texts.size()));
            }
            view.kind = Kind::Text;
            view.values = texts.data();
            view.offsets = offsets.data();
        } else if constexpr (std::is_same_v<T, bool>) {
            bytes.assign(values.begin(), values.end());
            view.kind = Kind::Boolean;
            view.values = bytes.data();
        } else {
            view.kind = std::is_same_v<T, double>         ? Kind::Double
                        : std::is_same_v<T, std::int64_t> ? Kind::Int64
                                                          : Kind::Uint64;
            view.values = values.data();
        }
        if (!model) {
            columns::set_column(
                nodes, view, setNull ? columns::MissingRows::SetNull : columns::MissingRows::Keep);
        }
        for (std::size_t i = 0; model && i < values.size(); ++i) {
            if (noStates || states[i] == State::Present) {
                fuzz::plainSet<T>(*nodes.nodes[i], values[i], pool);
            } else if (setNull) {
                nodes.nodes[i]->SetNull();
            }
        }
        return test::textOf(*dom);
    };
    const std::mt19937_64 engine = random.engine;
    EXPECT_EQ(setInto(false, engine), setInto(true, engine)) << seed;
}

TEST(SetColumn, AgreesWithOneNodeAfterAnother) {
    constexpr std::int64_t two53 = 1L << 53U;
    for (std::uint64_t seed = 0; seed < 10; ++seed) {
        setRandomly<std::int64_t>(seed, {0, 1, -1, two53, two53 + 1, INT64_MAX, INT64_MIN});
        setRandomly<std::uint64_t>(seed, {0, 1, two53, two53 + 1, 1UL << 63U, ~0UL});
        setRandomly<double>(seed, {0.0, -0.0, 1.0, 0.1, 0x1p53, 0x1p63, 0x1p64, -1.0});
        setRandomly<bool>(seed, {false, true});
        setRandomly<std::string>(seed, {"", "a", test::bytes21, test::bytes22, "\u00e9",
                                        std::string("a\0b", 3), std::string(300, 'x')});
    }
}

TEST(SetColumn, RefusesBeforeItChangesAnything) {
    const auto nodes = test::elementsOf(R"([1, "a", null])");
    const std::string before = test::textOf(*nodes.dom);
    const std::int64_t numbers[3] = {4, 5, 6};
    const std::int64_t offsets[] = {0, 1, 2, 3};
    const std::int64_t descending[] = {0, 2, 1, 3};
    const std::int64_t negative[] = {-1, 0, 1, 2};
    const State second[] = {State::Present, State::Null, State::Present};
    const struct {
        columns::ColumnView view;
        std::string message;
    } cases[] = {
        {{Kind::Int64, 2, numbers, nullptr, nullptr}, "2 rows for 3 nodes"},
        {{Kind::Json, 3, "123", offsets, nullptr}, "JSON texts cannot be set"},
        {{Kind::Double, 3, nullptr, nullptr, nullptr}, "no values"},
        {{Kind::Text, 3, nullptr, offsets, nullptr}, "no values"},
        {{Kind::Text, 3, "123", nullptr, nullptr}, "texts without offsets"},
        {{Kind::Text, 3, "123", descending, nullptr}, "offsets descend at row 1"},
        {{Kind::Text, 3, "123", negative, nullptr}, "offsets descend at row 0"},
        {{Kind::Text, 3,
          "1\xff"
          "3",
          offsets, nullptr},
         "the text of row 1 is not UTF-8"},
        {{Kind::Text, 3, "1\xc3\xa9", offsets, nullptr}, "the text of row 1 is not UTF-8"},
        {{Kind::Text, 3, "12\xc3", offsets, nullptr}, "the text of row 2 is not UTF-8"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(
            test::messageOf<std::invalid_argument>([&] { columns::set_column(nodes, one.view); }),
            one.message);
        EXPECT_EQ(test::textOf(*nodes.dom), before);
    }
    columns::set_column(nodes, {Kind::Text, 3,
                                "1\xff"
                                "3",
                                offsets, second});
    EXPECT_EQ(test::textOf(*nodes.dom), R"(["1","a","3"])");
}

} // namespace
