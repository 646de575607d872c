/// What reaches the caller when the host fails inside a parallel loop. This program brings its own
/// `resolve_node_name`, which the library finds before the host's.

#include "support/random_json.hpp"
#include "support/text.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace {

std::atomic<long> callsLeft = 0;

} // namespace

namespace ostra::io::json::core {

__attribute__((visibility("default"))) rapidjson::Value* resolve_node_name(rapidjson::Value& node,
                                                                           const std::string&) {
    if (--callsLeft <= 0) { // also in the other threads
        throw std::runtime_error("the host failed");
    }
    return &node;
}

} // namespace ostra::io::json::core

namespace {

TEST(HostFailure, ReachesTheCallerOnceAndChangesNothing) {
    constexpr long count = 2000;
    const auto dom = test::randomDocument(1, count, 1);
    const test::tree::NodeVector root(dom, {&dom->document});
    const test::tree::NodeVector nodes = root.get_children();
    const std::string before = test::textOf(*dom);
    for (const long failing : {1L, 2L, count / 2, count}) {
        callsLeft = failing;
        int caught = 0;
        try {
            (void)nodes.get_children_by_node_name("any");
        } catch (const std::runtime_error& error) {
            ++caught;
            EXPECT_STREQ(error.what(), "the host failed");
        }
        EXPECT_EQ(caught, 1);
        EXPECT_EQ(nodes.nodes.size(), static_cast<std::size_t>(count));
        EXPECT_EQ(test::textOf(*dom), before);
    }
    callsLeft = count + 1; // none fails
    EXPECT_EQ(nodes.get_children_by_node_name("any").first.nodes, nodes.nodes);
}

} // namespace
