#pragma once

/// Blocks of a text, read ahead by several threads and put in order by any of them.

#include "columns/record_text.hpp"

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace ostra::io::json::columns {

/// Goes through a text as far as a batch has room, again and again.
///
/// A thread that has read a block puts all in order that is due, unless another one is at it
/// already. So pieces are joined while they are in a cache, and their memory serves again. Only so
/// many blocks are in hand; a thread that finds them all taken waits for one of those that work.
class OrderedBlocks {
public:
    /// @param threads  how many may work, above 0; with 1, none but the calling one.
    /// @param report   called on the calling thread now and then, while no lock is held, with what
    ///                 is in order.
    OrderedBlocks(RecordText& text, const RowSink& rows, const ReadOptions& options,
                  std::size_t threads, std::function<void(std::size_t, std::size_t)> report);

    /// Reads until `isEnough` or the text ends. What has been read ahead waits for the next call.
    /// @param isEnough  asked by the thread that puts in order, behind each block.
    /// @throws whatever reading, putting in order and reporting throw; it is used up then.
    void run(const std::function<bool()>& isEnough);

    /// Whether all blocks there are have been put in order.
    bool isAtEnd() const { return nextDue_ >= blockCount_ || text_.isComplete(); }

private:
    using Lock = std::unique_lock<std::mutex>;

    void work(const std::function<bool()>& isEnough);
    void readNext(Lock& lock, BlockReader& reader);
    void putInOrder(Lock& lock, const std::function<bool()>& isEnough);
    std::unique_ptr<BlockReader> takeReader();
    bool isDue() const { return !read_.empty() && read_.begin()->first == nextDue_; }

    RecordText& text_;
    const RowSink& rows_;
    const ReadOptions& options_;
    std::size_t threads_;
    std::function<void(std::size_t, std::size_t)> report_; // bytes and rows
    std::thread::id caller_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t nextBlock_ = 0; // to be read
    std::size_t nextDue_ = 0;   // to be put in order
    std::size_t blockCount_ = SIZE_MAX;
    std::size_t bytesDone_ = 0;
    std::size_t rowsDone_ = 0;
    bool isOrdering_ = false;
    bool isStopped_ = false;
    std::map<std::size_t, std::unique_ptr<Stretch>> read_;
    std::vector<std::unique_ptr<Stretch>> spare_;
    std::vector<std::unique_ptr<BlockReader>> spareReaders_;
};

} // namespace ostra::io::json::columns
