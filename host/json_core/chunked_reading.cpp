#include "chunked_reading.hpp"

#include "element_search.hpp"
#include "platform/parallel_loop.hpp"
#include "text_reader.hpp"

#include <algorithm>
#include <deque>
#include <vector>

namespace ostra::io::json::core {

namespace {

struct Chunk {
    Chunk(BlockSource& blocks, std::size_t beginning) : begin(beginning), values(blocks) {}

    std::size_t begin; // position of the first element in the text
    ValueBuilder values;
    Elements elements; // what was read, with positions from `begin`
};

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

} // namespace

rapidjson::Document readInChunks(const std::u16string& sourceName, std::string_view text,
                                 const ReadJSONDocumentOptions& options, std::size_t chunkSize) {
    rapidjson::Document document;
    BlockSource blocks(document.GetAllocator(), text.size());
    std::deque<Chunk> chunks;
    for (const std::size_t beginning : chunkBeginnings(text, chunkSize)) {
        chunks.emplace_back(blocks, beginning);
    }
    ValueBuilder values(blocks);
    TextReader reader(sourceName, text, options, values);
    reader.start();
    bool due = true;
    const auto limit = [&](std::size_t k) {
        return k < chunks.size() ? chunks[k].begin : text.size();
    };
    if (!chunks.empty()) {
        platform::parallelLoop(chunks.size() + 1, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                if (i == 0) {
                    due = reader.readTo(limit(0));
                    continue;
                }
                Chunk& chunk = chunks[i - 1];
                TextReader ahead(sourceName, text.substr(chunk.begin), options, chunk.values);
                chunk.elements = ahead.readElements(limit(i) - chunk.begin);
                chunk.values.releaseRest();
            }
        });
    }
    for (Chunk& chunk : chunks) {
        if (due && reader.position() < chunk.begin) {
            due = reader.readTo(chunk.begin);
        }
        if (due && chunk.elements.count != 0 && reader.elementDueAt(chunk.begin)) {
            due = reader.adopt({chunk.elements.count, chunk.begin + chunk.elements.end},
                               chunk.values);
        } else {
            chunk.values.discard();
        }
    }
    if (due) {
        reader.readTo(std::string_view::npos);
    }
    reader.finish();
    static_cast<rapidjson::Value&>(document) = values.root();
    return document;
}

} // namespace ostra::io::json::core
