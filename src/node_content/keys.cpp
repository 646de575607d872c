#include "base/parallel_loop.hpp"
#include "base/pool_memory.hpp"
#include "document/pool_pieces.hpp"
#include "node_content/key_pattern.hpp"
#include "node_content/key_union.hpp"
#include "nodes/distinct_nodes.hpp"
#include "nodes/shares.hpp"
#include "nodes/visit_nodes.hpp"
#include "platform/text_conversion.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace ostra::io::json::tree {

namespace {

/// Prefetches the names of an object. Inlined by force: GCC 12 drops
/// calls of a function that does nothing but prefetch.
[[gnu::always_inline]] inline void prefetchNames(const rapidjson::Value& node) {
    constexpr std::size_t line = 64;
    constexpr std::size_t most = 8 * line; // a bound on the prefetches, for objects of many keys
    if (!node.IsObject() || node.ObjectEmpty()) {
        return;
    }
    const char* members = reinterpret_cast<const char*>(&*node.MemberBegin());
    const std::size_t size = node.MemberCount() * sizeof(rapidjson::Value::Member);
    for (std::size_t offset = 0; offset < std::min(size, most); offset += line) {
        __builtin_prefetch(members + offset);
    }
}

/// Memory for `count` blocks of `size` bytes each; null for none.
/// @throws std::length_error, std::bad_alloc  the pool gives nothing then.
char* takeBlocks(Pool& pool, std::size_t count, std::size_t size) {
    std::size_t bytes = 0;
    if (__builtin_mul_overflow(count, size, &bytes)) {
        throw std::length_error("more members than memory can hold");
    }
    return static_cast<char*>(base::takeFromPool(pool, bytes));
}

} // namespace

StringArray NodeVector::get_keys() const {
    constexpr std::size_t distance = 4;
    const bool hasFirst = !nodes.empty() && nodes.front()->IsObject();
    KeyUnion keys(hasFirst ? nodes.front()->MemberCount() : 0);
    visitNodes<Access::Read>(nodes, [&](const rapidjson::Value& node, std::size_t i) {
        if (nodes.size() - i > distance) {
            prefetchNames(*nodes[i + distance]);
        }
        if (node.IsObject()) {
            keys.add(node);
        }
    });
    const std::array<std::size_t, 2> dims = {keys.names().size(), 1};
    StringArray result = Tarvel::String::make_String(dims.size(), dims.data());
    for (std::size_t k = 0; k < keys.names().size(); ++k) {
        const std::string_view name = keys.names()[k];
        result->set(k, fl::i18n::utf8_to_ustring(name.data(), name.size()));
    }
    return result;
}

void NodeVector::set_keys(const Tarvel::String::String& keys) {
    const KeyPattern pattern(keys);
    constexpr std::size_t chunkSize = 4096;
    const std::size_t mostObjects =
        PoolPieces::bestPayload / std::max<std::size_t>(pattern.size(), 100);
    const std::vector<Share> shares = dealOut<Access::ReadType>(
        Chunks(nodes, chunkSize), std::max<std::size_t>(mostObjects, 1),
        [](const rapidjson::Value& node, std::size_t) { return node.IsObject(); });
    std::vector<std::size_t> before = {0}; // how many objects stand before each share
    for (const Share& share : shares) {
        before.push_back(before.back() + share.heavy);
    }
    if (before.back() == 0) {
        return;
    }
    const bool distinct = areDistinct(nodes);
    char* const blocks = takeBlocks(dom->document.GetAllocator(), before.back(), pattern.size());
    const auto copy = [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            char* storage = blocks + before[s] * pattern.size();
            visitNodes<Access::Write>(shares[s].nodes, [&](rapidjson::Value& node, std::size_t) {
                if (node.IsObject()) {
                    pattern.copyTo(node, storage);
                    storage += pattern.size();
                }
            });
        }
    };
    if (distinct) {
        base::parallelLoop(shares.size(), copy);
    } else {
        copy(0, shares.size());
    }
}

} // namespace ostra::io::json::tree
