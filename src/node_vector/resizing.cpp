#include "node_vector/distinct_nodes.hpp"
#include "node_vector/parallel_loop.hpp"
#include "node_vector/pool_pieces.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <stdexcept>

namespace ostra::io::json::tree {

namespace {

/// Gives an array exactly `count` elements; any other value is left alone.
/// @param pool  must be able to give `count` elements where the array's capacity is smaller.
void resize(rapidjson::Value& node, std::size_t count, Pool& pool) {
    if (!node.IsArray()) {
        return;
    }
    if (node.Size() > count) {
        node.Erase(node.Begin() + count, node.End());
        return;
    }
    if (node.Capacity() < count) {
        node.Reserve(count, pool);
    }
    while (node.Size() < count) {
        node.PushBack(rapidjson::Value(), pool);
    }
}

} // namespace

void NodeVector::set_number_of_children(unsigned long count) {
    std::size_t growing = 0;
    for (const rapidjson::Value* node : nodes) {
        growing += node->IsArray() && node->Capacity() < count ? 1 : 0;
    }
    (void)growing;
    Pool& pool = dom->document.GetAllocator();
    for (rapidjson::Value* node : nodes) {
        resize(*node, count, pool);
    }
}

} // namespace ostra::io::json::tree
