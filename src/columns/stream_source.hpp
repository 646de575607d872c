#pragma once

/// A stream as a text that can be read at any offset that is still of use.

#include "columns/byte_source.hpp"

#include <deque>
#include <mutex>
#include <vector>

namespace ostra::io::json::columns {

/// Keeps what has come of a stream until it is discarded.
class StreamSource : public ByteSource {
public:
    StreamSource(Source::Read readNext, std::optional<std::size_t> size)
        : readNext_(std::move(readNext)), size_(size) {}

    std::string_view read(std::size_t offset, std::size_t size, ReadBuffer& buffer) override;
    std::optional<std::size_t> size() const override { return size_; }
    void discard(std::size_t before) override;
    bool forgets() const override { return true; }

private:
    using Chunk = std::unique_ptr<char[]>;

    void fetch(std::size_t end);

    static constexpr std::size_t chunkSize = std::size_t{256} << 10U;

    std::mutex mutex_; // held while the stream is read: by one thread at a time
    Source::Read readNext_;
    std::optional<std::size_t> size_;
    std::deque<Chunk> chunks_; // the last one perhaps not full
    std::size_t begin_ = 0;    // of the first of them, in the text
    std::size_t end_ = 0;      // of what has come
    bool hasEnded_ = false;
    std::vector<Chunk> spare_;
};

} // namespace ostra::io::json::columns
