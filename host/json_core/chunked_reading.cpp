#include "chunked_reading.hpp"

#include "element_search.hpp"
#include "parse_error.hpp"
#include "platform/parallel_loop.hpp"
#include "text_reader.hpp"
#include "utf8.hpp"

#include <algorithm>
#include <deque>
#include <vector>

namespace ostra::io::json::core {

namespace {

/// @return where chunks seem to begin, in order, all behind the start of the text.
std::vector<std::size_t> chunkBeginnings(std::string_view text, std::size_t chunkSize) {
    // Enough to see some records whole, little beside the chunk.
    const std::size_t window = std::min(chunkSize, std::size_t{16} << 10U);
    std::vector<std::size_t> beginnings(text.size() / chunkSize);
    platform::parallelLoop(beginnings.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i < end; ++i) {
            beginnings[i] =
                i == 0 ? std::string_view::npos : findElement(text, i * chunkSize, window);
        }
    });
    std::erase(beginnings, std::string_view::npos);
    return beginnings;
}

/// One text being read.
class ChunkedReading {
public:
    ChunkedReading(const std::u16string& sourceName, std::string_view text,
                   const ReadJSONDocumentOptions& options, std::size_t chunkSize,
                   rapidjson::Document::AllocatorType& pool)
        : sourceName_(sourceName), text_(text), options_(options), blocks_(pool, text.size()),
          values_(blocks_), reader_(sourceName, text, options, values_) {
        for (const std::size_t beginning : chunkBeginnings(text, chunkSize)) {
            chunks_.emplace_back(blocks_, beginning);
        }
    }

    /// Reads the text, all of it, once.
    /// @return the root value.
    rapidjson::Value& read() {
        reader_.start();
        if (chunks_.empty()) {
            readStretch(0);
        } else {
            platform::parallelLoop(chunks_.size() + 1, [this](std::size_t begin, std::size_t end) {
                for (std::size_t i = begin; i < end; ++i) {
                    readStretch(i);
                }
            });
            goThroughChunks();
        }
        if (due_) {
            due_ = reader_.readTo(std::string_view::npos);
        }
        reader_.finish();
        return values_.root();
    }

    /// @throws JSONParseError  where a part of the text is not well-formed UTF-8.
    void requireUtf8(std::size_t begin, std::size_t end) const {
        const std::string_view part = text_.substr(begin, end - begin);
        const std::size_t malformed = findMalformedUtf8(part);
        if (malformed != part.size()) {
            const auto byte = static_cast<unsigned char>(part[malformed]);
            throwParseError(sourceName_, text_, begin + malformed,
                            "malformed UTF-8 at byte value 0x" + hexadecimal(byte, 2));
        }
    }

private:
    struct Chunk {
        Chunk(BlockSource& blocks, std::size_t beginning) : begin(beginning), values(blocks) {}

        std::size_t begin; // position of the first element in the text
        ValueBuilder values;
        Elements elements; // what was read, with positions from `begin`
    };

    std::size_t beginOfChunk(std::size_t k) const {
        return k < chunks_.size() ? chunks_[k].begin : text_.size();
    }

    /// Reads what lies in front of chunk `k`: the start of the text, or the chunk before.
    void readStretch(std::size_t k) {
        const std::size_t limit = beginOfChunk(k);
        if (k == 0) {
            requireUtf8(0, limit);
            due_ = reader_.readTo(limit);
            return;
        }
        Chunk& chunk = chunks_[k - 1];
        requireUtf8(chunk.begin, limit);
        TextReader ahead(sourceName_, text_.substr(chunk.begin), options_, chunk.values);
        chunk.elements = ahead.readElements(limit - chunk.begin);
        chunk.values.releaseRest();
    }

    /// Goes on to the last chunk, taking over what fits.
    void goThroughChunks() {
        std::size_t readAhead = 0;
        for (const Chunk& chunk : chunks_) {
            readAhead += chunk.elements.count;
        }
        values_.reserve(readAhead);
        for (Chunk& chunk : chunks_) {
            if (due_ && reader_.position() < chunk.begin) {
                due_ = reader_.readTo(chunk.begin);
            }
            if (due_ && chunk.elements.count != 0 && reader_.elementDueAt(chunk.begin)) {
                due_ = reader_.adopt({chunk.elements.count, chunk.begin + chunk.elements.end},
                                     chunk.values);
            } else {
                chunk.values.discard();
            }
        }
    }

    const std::u16string& sourceName_;
    const std::string_view text_;
    const ReadJSONDocumentOptions& options_;
    BlockSource blocks_;
    ValueBuilder values_;
    TextReader reader_; // goes through the whole text
    bool due_ = true;   // whether it stands before a value
    std::deque<Chunk> chunks_;
};

} // namespace

rapidjson::Document readInChunks(const std::u16string& sourceName, std::string_view text,
                                 const ReadJSONDocumentOptions& options, std::size_t chunkSize) {
    rapidjson::Document document;
    ChunkedReading reading(sourceName, text, options, chunkSize, document.GetAllocator());
    try {
        static_cast<rapidjson::Value&>(document) = reading.read();
    } catch (const JSONParseError&) {
        // Malformed UTF-8 is reported before all else, wherever it stands; every stretch was looked
        // at only just before it was read, while it was on its way into the cache.
        reading.requireUtf8(0, text.size());
        throw;
    }
    return document;
}

} // namespace ostra::io::json::core
