#include "parse_error.hpp"
#include "platform/json_core.hpp"
#include "text_reader.hpp"
#include "utf8.hpp"

namespace ostra::io::json::core {

rapidjson::Document parse_json_document(const std::u16string& sourceName,
                                        const std::vector<char>& bytes,
                                        const ReadJSONDocumentOptions& options) {
    const std::string_view text(bytes.data(), bytes.size());
    // The whole text first, in vector instructions, so that the reader can take bytes as they come.
    const std::size_t malformed = findMalformedUtf8(text);
    if (malformed != text.size()) {
        const auto byte = static_cast<unsigned char>(text[malformed]);
        throwParseError(sourceName, text, malformed,
                        "malformed UTF-8 at byte value 0x" + hexadecimal(byte, 2));
    }
    rapidjson::Document document;
    ValueBuilder builder(document.GetAllocator(), text.size());
    TextReader(sourceName, text, options, builder).read();
    static_cast<rapidjson::Value&>(document) = builder.root();
    return document;
}

} // namespace ostra::io::json::core
