#include "lines_in_chunks.hpp"

#include "base/parallel_loop.hpp"
#include "line_reading.hpp"
#include "parse_error.hpp"

#include <algorithm>
#include <deque>

namespace ostra::io::json::core {

namespace {

struct Chunk {
    Chunk(std::size_t start, std::string_view part, BlockSource& blocks)
        : begin(start), text(part), values(blocks), kept(blocks) {}

    std::size_t begin;
    std::string_view text;
    ValueBuilder values;
    ValueBuilder kept;
    Lines lines; // in one of the two
};

} // namespace

rapidjson::Document readLinesInChunks(const std::u16string& sourceName, std::string_view text,
                                      const ReadJSONDocumentOptions& options, std::size_t chunkSize,
                                      BigIntegerRule bigIntegers) {
    rapidjson::Document document;
    BlockSource blocks(document.GetAllocator(), text.size(), BlockSource::Threads::several);
    std::deque<Chunk> chunks;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t lineEnd = text.find('\n', std::min(begin + chunkSize, text.size()) - 1);
        const std::size_t end = std::min(lineEnd, text.size() - 1) + 1;
        chunks.emplace_back(begin, text.substr(begin, end - begin), blocks);
        begin = end;
    }
    const LineReading::Options lineOptions{
        .syntax = options, .bigIntegers = bigIntegers, .skipBad = false, .mostDescribed = 1};
    base::parallelLoop(chunks.size(), [&](std::size_t begin, std::size_t end) {
        for (; begin < end; ++begin) {
            Chunk& chunk = chunks[begin];
            LineReading reading(chunk.text, begin == 0, lineOptions, chunk.values, chunk.kept);
            chunk.lines = reading.read();
            chunk.values.releaseRest();
            chunk.kept.releaseRest();
        }
    });
    ValueBuilder array(blocks);
    array.startArray();
    std::size_t count = 0;
    for (Chunk& chunk : chunks) {
        if (chunk.lines.badCount != 0) {
            const BadLine& bad = chunk.lines.described.front();
            throwParseError(sourceName, text, chunk.begin + bad.refusal.offset, bad.refusal.reason,
                            count + bad.record);
        }
        if (chunk.lines.count != 0) {
            const bool inKept = chunk.lines.first == chunk.kept.stack().begin();
            ValueBuilder& values = inKept ? chunk.kept : chunk.values;
            array.append(values,
                         static_cast<std::size_t>(chunk.lines.first - values.stack().begin()),
                         chunk.lines.count);
            count += chunk.lines.count;
        }
    }
    array.endArray(count);
    static_cast<rapidjson::Value&>(document) = array.root();
    return document;
}

} // namespace ostra::io::json::core
