#include "columns/stream_source.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace ostra::io::json::columns {

std::string_view StreamSource::read(std::size_t offset, std::size_t size, ReadBuffer& buffer) {
    const std::lock_guard lock(mutex_);
    fetch(offset + size);
    size = std::min(size, end_ - std::min(offset, end_));
    char* const to = buffer.require(size);
    for (std::size_t have = 0; have < size;) {
        const std::size_t at = offset + have - begin_;
        const std::size_t some = std::min(size - have, chunkSize - at % chunkSize);
        std::memcpy(to + have, chunks_[at / chunkSize].get() + at % chunkSize, some);
        have += some;
    }
    return {to, size};
}

/// Reads on until the text is known up to `end`.
void StreamSource::fetch(std::size_t end) {
    while (end_ < end && !hasEnded_) {
        const std::size_t used = (end_ - begin_) % chunkSize;
        if (end_ - begin_ == chunks_.size() * chunkSize) {
            if (spare_.empty()) {
                spare_.push_back(std::make_unique_for_overwrite<char[]>(chunkSize));
            }
            chunks_.emplace_back();
            chunks_.back() = std::move(spare_.back());
            spare_.pop_back();
        }
        const std::size_t room = chunkSize - used;
        const std::size_t got = readNext_(chunks_.back().get() + used, room);
        if (got > room) {
            throw std::runtime_error("a stream gave more bytes than there was room for");
        }
        hasEnded_ = got == 0;
        end_ += got;
    }
}

void StreamSource::discard(std::size_t before) {
    const std::lock_guard lock(mutex_);
    while (begin_ + chunkSize <= std::min(before, end_)) {
        spare_.push_back(std::move(chunks_.front())); // serves again
        chunks_.pop_front();
        begin_ += chunkSize;
    }
}

} // namespace ostra::io::json::columns
