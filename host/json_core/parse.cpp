#include "base/parallel_loop.hpp"
#include "chunked_reading.hpp"
#include "lines_in_chunks.hpp"
#include "platform/json_core.hpp"

#include <ostra/io/json/core/reading.hpp>

namespace ostra::io::json::core {

namespace {

// A hundred times what finding a place to begin costs. 100 MB on two threads took the same time
// in chunks of 0.25, 1 and 4 MiB; small ones let shorter texts gain too.
constexpr std::size_t chunkSize = std::size_t{1} << 20U;

std::size_t chunkSizeFor(std::size_t textSize) {
    return textSize >= 2 * chunkSize && base::severalThreads() ? chunkSize : textSize + 1;
}

BigIntegerRule ruleOf(BigIntegers bigIntegers) {
    return bigIntegers == BigIntegers::Refuse ? BigIntegerRule::Refuse : BigIntegerRule::Round;
}

} // namespace

rapidjson::Document parse_json_document(const std::u16string& sourceName,
                                        const std::vector<char>& bytes,
                                        const ReadJSONDocumentOptions& options) {
    return readInChunks(sourceName, {bytes.data(), bytes.size()}, options,
                        chunkSizeFor(bytes.size()));
}

rapidjson::Document parse_text(const std::u16string& sourceName, std::string_view text,
                               const ReadJSONDocumentOptions& options, BigIntegers bigIntegers) {
    return readInChunks(sourceName, text, options, chunkSizeFor(text.size()), ruleOf(bigIntegers));
}

rapidjson::Document parse_lines(const std::u16string& sourceName, std::string_view text,
                                const ReadJSONDocumentOptions& options, BigIntegers bigIntegers) {
    return readLinesInChunks(sourceName, text, options, chunkSizeFor(text.size()),
                             ruleOf(bigIntegers));
}

} // namespace ostra::io::json::core
