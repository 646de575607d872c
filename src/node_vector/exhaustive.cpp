#include "base/huge_pages.hpp"
#include "document/container.hpp"
#include "node_vector/reached_memory.hpp"
#include "node_vector/selector_walk.hpp"
#include "nodes/chunks.hpp"
#include "nodes/columns.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace ostra::io::json::tree {

namespace {

/// The elements of an array that are still to be visited.
struct Elements {
    rapidjson::Value* next;
    rapidjson::Value* end;
};

/// Counts travel as 32-bit signed numbers, which wrap, widened with sign: a width that hosts rely
/// on. One that wraps to a negative number is more than any vector holds.
std::uint64_t wrappedCount(std::size_t count) {
    const auto wrapped = static_cast<std::int32_t>(static_cast<std::uint32_t>(count));
    if (wrapped < 0) {
        throw std::length_error("vector::reserve");
    }
    return static_cast<std::uint64_t>(wrapped);
}

/// Calls `visit(first, count)` for the scalars of `root` in order, as runs that stand side by side;
/// objects are not entered.
/// @param open  working storage, empty before and after: the nesting of arrays is on the heap.
template <class Visit>
void visitLeaves(rapidjson::Value& root, std::vector<Elements>& open, const Visit& visit) {
    if (!isContainer(root)) {
        visit(&root, std::size_t{1});
    }
    if (!root.IsArray()) {
        return;
    }
    Elements rest = {root.Begin(), root.End()};
    for (;;) {
        // Not std::find_if, which is made for longer runs: half as long again for a few elements.
        rapidjson::Value* container = rest.next;
        while (container != rest.end && !isContainer(*container)) {
            ++container;
        }
        if (container != rest.next) {
            visit(rest.next, static_cast<std::size_t>(container - rest.next));
        }
        if (container == rest.end) {
            if (open.empty()) {
                return;
            }
            rest = open.back();
            open.pop_back();
            continue;
        }
        rest.next = container + 1;
        if (container->IsArray()) {
            open.push_back(rest);
            rest = {container->Begin(), container->End()};
        }
    }
}

/// Flattening in two steps, so that all is counted before anything is collected.
///
/// Nearly always the scalars below a node are one run: the counting remembers where it begins, and
/// the collecting reads nothing of the document. A node is counted as soon as it is found, while
/// its elements are in the cache: half a million arrays of up to three strings in records take 20
/// ms of CPU time on two threads, 30 if chunks of nodes are looked up first and counted afterwards.
class Flattening {
public:
    /// @param counts  room for one count per node.
    Flattening(Nodes nodes, std::uint64_t* counts)
        : chunks_(nodes, chunkSizeFor(nodes.size())), counts_(counts), isRun_(nodes.size()),
          offsets_(chunks_.count() + 1) {
        base::reserveOnHugePages(found_, nodes.size());
        found_.resize(nodes.size());
    }

    /// Looks the selector up from every node and counts the scalars of what it finds.
    /// @return how many there are in all.
    /// @throws std::length_error  if a count wraps to a negative number.
    std::size_t count(const core::JSONPointer& selector) {
        chunks_.visitInParallel([&](Nodes some, std::size_t c) {
            offsets_[c + 1] = countChunk(selector, some, chunks_.before(c));
        });
        std::partial_sum(offsets_.begin(), offsets_.end(), offsets_.begin());
        return offsets_.back();
    }

    /// @param leaves  room for all of them.
    void collect(rapidjson::Value** leaves) const {
        chunks_.visitInParallel([&](Nodes some, std::size_t c) {
            collectChunk(chunks_.before(c), some.size(), leaves + offsets_[c],
                         leaves + offsets_[c + 1]);
        });
    }

private:
    /// One node per chunk if there are few: the work may lie in any of them.
    static std::size_t chunkSizeFor(std::size_t count) {
        constexpr std::size_t leastChunks = 64;
        constexpr std::size_t largestChunk = 4096;
        return std::clamp<std::size_t>(count / leastChunks, 1, largestChunk);
    }

    std::size_t countChunk(const core::JSONPointer& selector, Nodes some, std::size_t begin) {
        rapidjson::Value** const found = found_.data() + begin;
        std::uint8_t* const isRun = isRun_.data() + begin;
        std::size_t total = 0;
        std::vector<Elements> open;
        walkSelector(selector, some, [&](rapidjson::Value* value, std::size_t i) {
            std::size_t count = 0;
            std::size_t runs = 0;
            rapidjson::Value* run = nullptr;
            if (value != nullptr) {
                visitLeaves(*value, open, [&](rapidjson::Value* first, std::size_t length) {
                    run = first;
                    count += length;
                    ++runs;
                });
            }
            counts_[begin + i] = wrappedCount(count);
            isRun[i] = runs <= 1 && counts_[begin + i] == count ? 1 : 0;
            found[i] = isRun[i] != 0 ? run : value;
            total += count;
            return value != nullptr ? childStorage(*value) : ChildStorage{};
        });
        return total;
    }

    void collectChunk(std::size_t begin, std::size_t size, rapidjson::Value** leaves,
                      rapidjson::Value** end) const {
        constexpr std::size_t few = 4;
        std::vector<Elements> open;
        const auto append = [&leaves, end](rapidjson::Value* first, std::size_t length) {
            std::size_t k = 0;
            if (static_cast<std::size_t>(end - leaves) >= few) {
                // The length of short runs cannot be predicted: the surplus is overwritten. It is
                // made of addresses, for there are no values.
                auto address = reinterpret_cast<std::uintptr_t>(first);
                for (; k < few; ++k, address += sizeof(rapidjson::Value)) {
                    // NOLINTNEXTLINE(performance-no-int-to-ptr)
                    leaves[k] = reinterpret_cast<rapidjson::Value*>(address);
                }
            }
            for (; k < length; ++k) {
                leaves[k] = first + k;
            }
            leaves += length;
        };
        for (std::size_t i = begin; i < begin + size; ++i) {
            if (isRun_.data()[i] != 0) {
                append(found_.data()[i], counts_[i]);
            } else {
                visitLeaves(*found_[i], open, append);
            }
        }
    }

    Chunks chunks_;
    std::uint64_t* counts_;
    std::vector<rapidjson::Value*> found_; // per node: the first of its run, or what was found
    std::vector<std::uint8_t> isRun_;      // per node; bytes, as threads write them
    std::vector<std::size_t> offsets_;     // of the chunks' leaves, at the end the total
};

} // namespace

std::pair<NodeVector, NumericArray<std::uint64_t>>
NodeVector::get_children_exhaustive(const std::string& selector) const {
    const core::JSONPointer pointer = core::validate_selector(selector);
    NumericArray<std::uint64_t> counts = makeColumn<std::uint64_t>(nodes.size());
    Flattening flattening(nodes, counts->data());
    const std::size_t total = flattening.count(pointer);
    wrappedCount(total);
    std::vector<rapidjson::Value*> leaves;
    base::reserveOnHugePages(leaves, total);
    leaves.resize(total);
    flattening.collect(leaves.data());
    return {NodeVector(dom, std::move(leaves)), std::move(counts)};
}

} // namespace ostra::io::json::tree
