/// Columns of nodes, `select`, and the pieces that both are joined from.

#include "columns/extractor.hpp"
#include "fuzz/column_records.hpp"
#include "support/failure.hpp"
#include "support/nodes.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

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
    for (std::uint64_t seed = 0; seed < 3000; ++seed) {
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
    for (std::uint64_t seed = 0; seed < 3000; ++seed) {
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

} // namespace
