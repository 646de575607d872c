#include "columns/ordered_blocks.hpp"

#include "base/parallel_loop.hpp"

#include <algorithm>
#include <chrono>
#include <utility>

namespace ostra::io::json::columns {

OrderedBlocks::OrderedBlocks(RecordText& text, const RowSink& rows, const ReadOptions& options,
                             std::size_t threads,
                             std::function<void(std::size_t, std::size_t)> report)
    : text_(text), rows_(rows), options_(options), threads_(threads), report_(std::move(report)) {}

void OrderedBlocks::run(const std::function<bool()>& isEnough) {
    caller_ = std::this_thread::get_id();
    isStopped_ = false;
    if (threads_ == 1) {
        work(isEnough);
        return;
    }
    base::parallelLoop(threads_, [&](std::size_t begin, std::size_t end) {
        for (; begin < end; ++begin) {
            work(isEnough);
        }
    });
}

void OrderedBlocks::work(const std::function<bool()>& isEnough) {
    const std::size_t mostInHand = 2 * threads_ + 1;
    Lock lock(mutex_);
    try {
        std::unique_ptr<BlockReader> reader;
        while (!isStopped_) {
            if (!isOrdering_ && (isAtEnd() || isDue())) {
                putInOrder(lock, isEnough);
            } else if (nextBlock_ < std::min(blockCount_, nextDue_ + mostInHand)) {
                reader = reader ? std::move(reader) : takeReader();
                readNext(lock, *reader);
            } else {
                // Not for as long as it takes: the caller is told how far things are, and may stop
                // them, while other threads wait for a slow source.
                changed_.wait_for(lock, std::chrono::milliseconds(50));
            }
            if (std::this_thread::get_id() == caller_ && !isStopped_) {
                const std::size_t bytes = bytesDone_;
                const std::size_t rows = rowsDone_;
                lock.unlock();
                report_(bytes, rows);
                lock.lock();
            }
        }
        if (reader) {
            spareReaders_.push_back(std::move(reader));
        }
    } catch (...) {
        if (!lock.owns_lock()) {
            lock.lock();
        }
        isStopped_ = true;
        changed_.notify_all();
        throw;
    }
}

std::unique_ptr<BlockReader> OrderedBlocks::takeReader() {
    if (spareReaders_.empty()) {
        return std::make_unique<BlockReader>(options_, *rows_.plan());
    }
    auto reader = std::move(spareReaders_.back());
    spareReaders_.pop_back();
    return reader;
}

void OrderedBlocks::readNext(Lock& lock, BlockReader& reader) {
    std::unique_ptr<Stretch> stretch;
    if (spare_.empty()) {
        stretch = std::make_unique<Stretch>(rows_.plan());
    } else {
        stretch = std::move(spare_.back());
        spare_.pop_back();
    }
    const std::size_t block = nextBlock_++;
    stretch->begin(block);
    lock.unlock();
    const bool exists = text_.readBlock(reader, *stretch);
    lock.lock();
    if (exists) {
        read_.emplace(block, std::move(stretch));
    } else {
        blockCount_ = std::min(blockCount_, block);
        spare_.push_back(std::move(stretch));
    }
    changed_.notify_all();
}

/// Puts the block in order that is due, or finds that there is none.
void OrderedBlocks::putInOrder(Lock& lock, const std::function<bool()>& isEnough) {
    if (isAtEnd()) {
        isStopped_ = true;
        changed_.notify_all();
        return;
    }
    Stretch& stretch = *read_.begin()->second;
    isOrdering_ = true;
    lock.unlock();
    const bool isDone = text_.putInOrder(stretch);
    const bool stops = !isDone || isEnough();
    lock.lock();
    isOrdering_ = false;
    bytesDone_ = text_.position();
    rowsDone_ = rows_.allRows();
    if (isDone) {
        spare_.push_back(std::move(read_.begin()->second));
        read_.erase(read_.begin());
        ++nextDue_;
    }
    isStopped_ = isStopped_ || stops;
    changed_.notify_all();
}

} // namespace ostra::io::json::columns
