#pragma once

/// Memory for the values of a document that several threads build.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <mutex>
#include <span>

namespace ostra::io::json::core {

/// Records take about this much more values as than text. One block for all of a text of 1.5 MB,
/// on huge pages, read it in 1.7 ms, while two small ones of twice the text took 3.1.
inline constexpr std::size_t valuesPerText = 3;

/// Hands out blocks of a document's pool, which is not safe for several threads by itself.
///
/// The first block is as large as the text calls for, each further one twice the one before, up to
/// 16 MiB. Large ones lie on huge pages: page faults were two thirds of the cost of building values
/// before. What a taker leaves unused serves the next. The memory is released with the document.
///
/// All operations are thread-safe if the source was made for several threads.
class __attribute__((visibility("hidden"))) BlockSource {
public:
    enum class Threads : bool { one, several };

    /// @param pool      the document's pool; must outlive the source, and be left alone meanwhile.
    /// @param textSize  bytes of JSON text to come, a measure of the storage needed.
    /// @param threads   whether several threads take blocks; locking for a single one would be an
    ///                  eighth of the time for `[1]`.
    BlockSource(rapidjson::Document::AllocatorType& pool, std::size_t textSize, Threads threads);

    /// @return a block of at least `size` bytes, with any content, aligned for values.
    /// @throws std::bad_alloc  if memory is exhausted.
    std::span<char> take(std::size_t size);

    /// Takes back what is left of a block, or all of it; the start must be aligned for values. The
    /// content is lost.
    void giveBack(std::span<char> unused) noexcept;

private:
    /// A spare block, linked in place so that nothing need be allocated for the list.
    struct Spare {
        Spare* next;
        std::size_t size;
    };

    std::unique_lock<std::mutex> lock();

    rapidjson::Document::AllocatorType& pool_;
    const Threads threads_;
    std::mutex mutex_;
    std::size_t nextSize_;
    Spare* spare_ = nullptr;
};

} // namespace ostra::io::json::core
