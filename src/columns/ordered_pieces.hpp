#pragma once

/// Pieces filled by several threads and joined in order.

#include "base/parallel_loop.hpp"
#include "columns/extractor.hpp"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace ostra::io::json::columns {

/// Deals numbered chunks of work to threads and joins what they make of them in order.
///
/// A thread that has filled a piece joins all that are due, unless another one is at it already. So
/// pieces are joined while they are in somebody's cache, their memory serves again, and nobody
/// waits, unless one chunk takes far longer than others.
class OrderedPieces {
public:
    OrderedPieces(std::shared_ptr<const FieldPlan> plan, Joined& joined, std::size_t chunks)
        : plan_(std::move(plan)), joined_(joined), chunks_(chunks) {}

    /// @param fill  `(piece, chunk)`: appends a chunk to an empty piece; called by several threads.
    /// @throws ColumnConflict  the first one, in order. @throws whatever `fill` throws.
    template <class Fill>
    void run(const Fill& fill) {
        base::parallelLoop(std::min(chunks_, mostWorkers()),
                           [&](std::size_t begin, std::size_t end) {
                               for (std::size_t worker = begin; worker < end; ++worker) {
                                   try {
                                       work(fill);
                                   } catch (...) {
                                       giveUp();
                                       throw;
                                   }
                               }
                           });
    }

private:
    using OwnedPiece = std::unique_ptr<Piece>;

    /// Pieces that may wait for the one that is due: a thread that is held up holds up others late.
    static constexpr std::size_t mostAhead = 64;

    static std::size_t mostWorkers() {
        return std::clamp<std::size_t>(std::thread::hardware_concurrency(), 4, 256);
    }

    template <class Fill>
    void work(const Fill& fill) {
        std::unique_lock lock(mutex_);
        while (nextChunk_ < chunks_ && !failed_) {
            const std::size_t chunk = nextChunk_++;
            // The one whose chunk is due next never waits, and the thread that joins goes on.
            mayGoOn_.wait(lock, [&] { return failed_ || chunk < nextDue_ + mostAhead; });
            OwnedPiece piece;
            if (!spare_.empty()) {
                piece = std::move(spare_.back());
                spare_.pop_back();
            }
            lock.unlock();
            if (!piece) {
                piece = std::make_unique<Piece>(plan_);
            }
            fill(*piece, chunk);
            lock.lock();
            filled_.emplace(chunk, std::move(piece));
            joinDue(lock);
        }
    }

    void joinDue(std::unique_lock<std::mutex>& lock) {
        if (joining_) {
            return;
        }
        joining_ = true;
        for (auto due = filled_.find(nextDue_); due != filled_.end() && !failed_;
             due = filled_.find(nextDue_)) {
            OwnedPiece piece = std::move(due->second);
            filled_.erase(due);
            lock.unlock();
            joined_.append(*piece);
            piece->clear();
            lock.lock();
            spare_.push_back(std::move(piece));
            ++nextDue_;
            mayGoOn_.notify_all();
        }
        joining_ = false;
    }

    void giveUp() {
        const std::lock_guard lock(mutex_);
        failed_ = true;
        mayGoOn_.notify_all();
    }

    std::shared_ptr<const FieldPlan> plan_;
    Joined& joined_; // by one thread at a time: while `joining_`
    std::size_t chunks_;

    std::mutex mutex_;
    std::condition_variable mayGoOn_;
    std::size_t nextChunk_ = 0; // to be filled
    std::size_t nextDue_ = 0;   // to be joined
    bool joining_ = false;
    bool failed_ = false;
    std::map<std::size_t, OwnedPiece> filled_;
    std::vector<OwnedPiece> spare_;
};

} // namespace ostra::io::json::columns
