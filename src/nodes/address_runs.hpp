#pragma once

/// Whether pieces of memory overlap, found out cheaply if they lie in some order.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ostra::io::json::tree {

/// Collects pieces of memory and tells whether they are known not to overlap.
///
/// What is derived from a document mostly comes in order of address, block of the pool by block of
/// the pool, or in a few such sequences side by side. Each is kept as one run from its first byte
/// to its last, and no overlap between the few runs proves that there is none between the pieces.
///
/// A run never leaps over more than the smallest block of a pool: blocks come in any order, and a
/// run across a gap would seem to overlap whatever fills the gap later.
class AddressRuns {
public:
    /// Takes in the bytes from `begin` to before `end`. Cost: a few comparisons.
    void add(const void* begin, const void* end) {
        const Run piece = {reinterpret_cast<std::uintptr_t>(begin),
                           reinterpret_cast<std::uintptr_t>(end)};
        Run* nearest = nullptr;
        std::uintptr_t gap = largestGap;
        for (std::size_t k = runs_.size(), open = 0; k != 0 && open < openRuns; ++open) {
            Run& run = runs_[--k];
            if (piece.begin - run.end < gap) { // wraps to a huge gap for a piece before the end
                gap = piece.begin - run.end;
                nearest = &run;
            }
        }
        if (nearest != nullptr) {
            nearest->end = piece.end;
        } else {
            runs_.push_back(piece);
        }
    }

    /// Takes in all that `other` holds.
    void add(const AddressRuns& other) {
        runs_.insert(runs_.end(), other.runs_.begin(), other.runs_.end());
    }

    /// The number of runs so far: what the answer will cost.
    std::size_t size() const { return runs_.size(); }

    /// @return true if no two pieces overlap; false if they do or may.
    /// Cost: sorts the runs.
    bool provablyDisjoint() {
        std::ranges::sort(runs_, {}, &Run::begin);
        const auto overlap = std::ranges::adjacent_find(
            runs_, [](const Run& a, const Run& b) { return a.end > b.begin; });
        return overlap == runs_.end();
    }

private:
    struct Run {
        std::uintptr_t begin;
        std::uintptr_t end;
    };
    static constexpr std::uintptr_t largestGap = 65536;
    static constexpr std::size_t openRuns = 4; // the youngest; sequences that may lie side by side

    std::vector<Run> runs_;
};

} // namespace ostra::io::json::tree
