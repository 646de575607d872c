#include "base/parallel_loop.hpp"
#include "document/pool_pieces.hpp"
#include "nodes/address_runs.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <stdexcept>

namespace ostra::io::json::tree {

namespace {

using Nodes = std::span<rapidjson::Value* const>;

/// What is to be known of a stretch of nodes before any of them changes.
struct Survey {
    std::size_t moving = 0; // arrays that need new storage
    AddressRuns touched;    // the nodes, and the storage of the arrays that grow
    bool tooScattered = false;
};

bool grows(const rapidjson::Value& node, std::size_t count) {
    return node.IsArray() && node.Size() < count;
}

Survey survey(Nodes nodes, std::size_t count) {
    constexpr std::size_t nodesPerRun = 8; // shorter runs on average: sorting them costs too much
    constexpr std::size_t fewRuns = 16;
    Survey result;
    visitNodes<Access::Read>(nodes, [&](const rapidjson::Value& value, std::size_t /*i*/) {
        const rapidjson::Value* const node = &value;
        const bool moves = grows(*node, count) && node->Capacity() < count;
        result.moving += moves ? 1 : 0;
        if (result.tooScattered) {
            return;
        }
        if (!grows(*node, count) || node->Capacity() == 0) {
            result.touched.add(node, node + 1);
        } else {
            const rapidjson::Value* storage = node->Begin();
            const rapidjson::Value* storageEnd = storage + node->Capacity();
            if (std::less<>()(storage, node)) { // in order of address: one run, not two
                result.touched.add(storage, storageEnd);
                result.touched.add(node, node + 1);
            } else {
                result.touched.add(node, node + 1);
                result.touched.add(storage, storageEnd);
            }
        }
        result.tooScattered = result.touched.size() > fewRuns + nodes.size() / nodesPerRun;
    });
    return result;
}

/// Whether the nodes may be resized in any order, also at once.
///
/// An array that grows reads its storage, which moves, or writes to its end. So no node may lie in
/// such storage and none may stand there twice. No two of them may have the same storage either: an
/// array and the stale copy of it that an earlier move of its container left behind do.
bool provablyIndependent(const std::vector<Survey>& surveys) {
    AddressRuns all;
    for (const Survey& one : surveys) {
        if (one.tooScattered) {
            return false;
        }
        all.add(one.touched);
    }
    return all.provablyDisjoint();
}

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

void resizeAll(Nodes nodes, std::size_t count, Pool pool) {
    constexpr std::size_t distance = 8; // less than that of the visit: the node itself is there
    visitNodes<Access::Write>(nodes, [&](rapidjson::Value& node, std::size_t i) {
        if (nodes.size() - i > distance && nodes[i + distance]->IsArray()) {
            __builtin_prefetch(nodes[i + distance]->Begin());
        }
        resize(node, count, pool);
    });
}

std::size_t product(std::size_t a, std::size_t b) {
    std::size_t result = 0;
    if (__builtin_mul_overflow(a, b, &result)) {
        throw std::length_error("more children than memory can hold");
    }
    return result;
}

} // namespace

/// Half a million arrays of 0 to 3 elements in as many records, grown to 4 by two threads: 9 ms; by
/// RapidJSON's own operations one after another: 30 ms.
void NodeVector::set_number_of_children(unsigned long count) {
    constexpr std::size_t largestChunk = 4096;
    constexpr std::size_t elementsPerChunk = PoolPieces::bestPayload / sizeof(rapidjson::Value);
    if (nodes.empty()) {
        return;
    }
    const std::size_t chunkSize =
        std::clamp<std::size_t>(elementsPerChunk / std::max(count, 1UL), 1, largestChunk);
    const auto chunk = [&](std::size_t c) {
        const Nodes rest = Nodes(nodes).subspan(c * chunkSize);
        return rest.first(std::min(chunkSize, rest.size()));
    };
    std::vector<Survey> surveys((nodes.size() + chunkSize - 1) / chunkSize);
    base::parallelLoop(surveys.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t c = begin; c < end; ++c) {
            surveys[c] = survey(chunk(c), count);
        }
    });
    std::vector<std::size_t> payloads;
    payloads.reserve(surveys.size());
    for (const Survey& one : surveys) {
        payloads.push_back(
            one.moving == 0 ? 0 : product(one.moving, product(count, sizeof(rapidjson::Value))));
    }
    const bool independent = provablyIndependent(surveys);
    const PoolPieces pieces(dom->document.GetAllocator(), payloads);
    const auto resizeChunks = [&](std::size_t begin, std::size_t end) {
        for (std::size_t c = begin; c < end; ++c) {
            resizeAll(chunk(c), count, pieces.piece(c));
        }
    };
    if (independent) {
        base::parallelLoop(surveys.size(), resizeChunks);
    } else {
        // What was surveyed is enough here too: no array comes to need more through another.
        resizeChunks(0, surveys.size());
    }
}

} // namespace ostra::io::json::tree
