/// Many host threads and unusual hosts: every operation answers as it does alone.

#include "support/operations.hpp"
#include "support/random_json.hpp"

#include "nodes/shares.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#ifndef TVIOJSONTREE_PLAIN_THREADS
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/task_arena.h>
#endif

namespace {

/// What every operation answers, and what it leaves behind.
std::vector<std::string> outcomes(std::size_t records, const std::string& file) {
    std::vector<std::string> all;
    for (const test::Operation& operation : test::operations()) {
        test::Subject subject(records, file);
        const std::string answer = operation.run(subject, SIZE_MAX);
        all.push_back(operation.name + ": " + answer + '\n' + subject.state());
    }
    return all;
}

class Threads : public testing::Test {
protected:
    static constexpr std::size_t records = 150;
    test::TemporaryFolder folder;
    const std::vector<std::string> expected = outcomes(records, folder / "expected.json");

    /// Whether this thread, whichever it is, gets what was got alone.
    void expectTheSame(std::size_t thread) {
        const auto got = outcomes(records, folder / std::to_string(thread));
        for (std::size_t i = 0; i < got.size(); ++i) {
            EXPECT_TRUE(got[i] == expected[i]) << got[i].substr(0, 40);
        }
    }
};

TEST_F(Threads, EachWithItsOwnDocuments) {
    std::vector<std::jthread> threads;
    threads.reserve(8);
    for (std::size_t t = 0; t < 8; ++t) {
        threads.emplace_back([this, t] { expectTheSame(t); });
    }
}

TEST_F(Threads, ReadOneDocumentTogether) {
    test::Subject shared(records, folder / "shared");
    const auto readAll = [&] {
        std::string all;
        for (const test::Operation& operation : test::operations()) {
            for (const char* reading : {"get_", "resolve", "subset", "write_string"}) {
                all += operation.name.starts_with(reading) ? operation.run(shared, 0) : "";
            }
        }
        return all;
    };
    const std::string alone = readAll();
    std::vector<std::jthread> threads;
    threads.reserve(8);
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&] { EXPECT_TRUE(readAll() == alone); });
    }
}

#ifndef TVIOJSONTREE_PLAIN_THREADS
TEST_F(Threads, OfAHostThatUsesTasksItself) {
    for (const int concurrency : {1, 2, 5}) {
        tbb::task_arena(concurrency).execute([&] { expectTheSame(0); });
    }
    {
        const tbb::global_control one(tbb::global_control::max_allowed_parallelism, 1);
        expectTheSame(1);
    }
    // From workers, each of which waits for our loops in the midst of its host's.
    tbb::parallel_for(std::size_t{0}, std::size_t{6}, [&](std::size_t t) { expectTheSame(t); });

    // A host that has called off its own tasks gets whole answers all the same.
    tbb::task_group_context cancelled;
    std::atomic<int> complete = 0;
    tbb::parallel_for(
        0, 1,
        [&](int) {
            cancelled.cancel_group_execution();
            expectTheSame(7);
            ++complete;
        },
        cancelled);
    EXPECT_EQ(complete, 1);
}
#endif

/// Few nodes are many shares if each makes much work, and many nodes are few if they do not.
TEST(Shares, FollowOneAnotherAndAreCutByWork) {
    const auto dom = test::randomDocument(1, 5000, 1);
    const auto nodes = test::tree::NodeVector(dom, {&dom->document}).get_children();
    const struct {
        std::size_t nodes, chunkSize, mostHeavy, fewest, most;
    } cases[] = {{0, 10, 1, 0, 0},         {1, 4096, 1, 1, 1},        {40, 4096, 1, 10, 40},
                 {5000, 4096, 1000, 2, 8}, {5000, 100, 1000, 50, 50}, {5000, 4096, 3, 500, 1700}};
    for (const auto& [count, chunkSize, mostHeavy, fewest, most] : cases) {
        const auto some = std::span(nodes.nodes).first(count);
        const auto isObject = [](const rapidjson::Value& node, std::size_t = 0) {
            return node.IsObject();
        };
        const auto shares = test::tree::dealOut<test::tree::Access::ReadType>(
            test::tree::Chunks(some, chunkSize), mostHeavy, isObject);
        EXPECT_GE(shares.size(), fewest) << count;
        EXPECT_LE(shares.size(), most) << count;
        std::vector<rapidjson::Value*> joined;
        for (const auto& share : shares) {
            joined.insert(joined.end(), share.nodes.begin(), share.nodes.end());
            const auto heavy = std::ranges::count_if(
                share.nodes, [&](const rapidjson::Value* node) { return isObject(*node); });
            EXPECT_EQ(static_cast<std::size_t>(heavy), share.heavy);
            EXPECT_LE(share.heavy, mostHeavy);
        }
        EXPECT_TRUE(std::ranges::equal(joined, some));
    }
}

} // namespace
