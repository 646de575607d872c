/// Columns of nodes, `select`, and the pieces that both are joined from.

#include <ostra/io/json/columns/block.hpp>

#include <gtest/gtest.h>

#include <numeric>

namespace {

namespace columns = ostra::io::json::columns;

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

} // namespace
