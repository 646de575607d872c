#include "base/parallel_loop.hpp"
#include "document/pool_pieces.hpp"
#include "nodes/address_runs.hpp"
#include "nodes/address_set.hpp"
#include "nodes/chunks.hpp"
#include "nodes/shares.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <stdexcept>

namespace ostra::io::json::tree {

namespace {

/// What is to be known of a chunk of nodes before any of them changes.
struct Survey {
    bool changes = false; // whether there is anything to do
    AddressRuns touched;  // the nodes, and the storage of the arrays that grow
    bool tooScattered = false;
};

bool grows(const rapidjson::Value& node, std::size_t count) {
    return node.IsArray() && node.Size() < count;
}

/// Whether an array needs new storage.
bool moves(const rapidjson::Value& node, std::size_t count) {
    return grows(node, count) && node.Capacity() < count;
}

constexpr std::size_t chunkSize = 4096;

/// Takes one node of a chunk into account.
void addTo(Survey& survey, const rapidjson::Value& value, std::size_t count) {
    constexpr std::size_t mostRuns = chunkSize / 8; // bounds what sorting them costs
    const rapidjson::Value* const node = &value;
    survey.changes = survey.changes || (value.IsArray() && value.Size() != count);
    if (survey.tooScattered) {
        return;
    }
    if (!grows(value, count) || value.Capacity() == 0) {
        survey.touched.add(node, node + 1);
    } else {
        const rapidjson::Value* storage = value.Begin();
        const rapidjson::Value* storageEnd = storage + value.Capacity();
        if (std::less<>()(storage, node)) { // in order of address: one run, not two
            survey.touched.add(storage, storageEnd);
            survey.touched.add(node, node + 1);
        } else {
            survey.touched.add(node, node + 1);
            survey.touched.add(storage, storageEnd);
        }
    }
    survey.tooScattered = survey.touched.size() > mostRuns;
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
/// @param pool  must be able to give `count` elements if the array's capacity is smaller.
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

/// Leaves of each share's arrays that move those that did not stand in an earlier place: an array
/// moves once, however often it is listed.
void countOnce(std::vector<Share>& shares, std::size_t count) {
    std::size_t moving = 0;
    for (const Share& share : shares) {
        moving += share.heavy;
    }
    AddressSet seen(moving);
    for (Share& share : shares) {
        if (share.heavy != 0) {
            share.heavy = static_cast<std::size_t>(
                std::ranges::count_if(share.nodes, [&](const rapidjson::Value* node) {
                    return moves(*node, count) && seen.insert(node);
                }));
        }
    }
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
    constexpr std::size_t elementsPerShare = PoolPieces::bestPayload / sizeof(rapidjson::Value);
    const Chunks chunks(nodes, chunkSize);
    std::vector<Survey> surveys(chunks.count());
    std::vector<Share> shares = dealOut<Access::Read>(
        chunks, std::max<std::size_t>(elementsPerShare / std::max(count, 1UL), 1),
        [&](const rapidjson::Value& node, std::size_t c) {
            addTo(surveys[c], node, count);
            return moves(node, count);
        });
    if (std::ranges::none_of(surveys, &Survey::changes)) {
        return;
    }
    const bool independent = provablyIndependent(surveys);
    if (!independent) {
        countOnce(shares, count);
    }
    std::vector<std::size_t> payloads;
    payloads.reserve(shares.size());
    for (const Share& share : shares) {
        payloads.push_back(
            share.heavy == 0 ? 0 : product(share.heavy, product(count, sizeof(rapidjson::Value))));
    }
    // If arrays are only cut, or grow within their capacity, there may be no document.
    const bool moving = std::ranges::any_of(payloads, [](std::size_t bytes) { return bytes != 0; });
    Pool none;
    const PoolPieces pieces(moving ? dom->document.GetAllocator() : none, payloads);
    const auto resizeShares = [&](std::size_t begin, std::size_t end) {
        for (std::size_t s = begin; s < end; ++s) {
            resizeAll(shares[s].nodes, count, pieces.piece(s));
        }
    };
    if (independent) {
        base::parallelLoop(shares.size(), resizeShares);
    } else {
        // What was surveyed is enough here too: no array comes to need more through another.
        resizeShares(0, shares.size());
    }
}

} // namespace ostra::io::json::tree
