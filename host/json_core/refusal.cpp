#include "refusal.hpp"

#include "parse_error.hpp"
#include "text_reader.hpp"
#include "value_builder.hpp"

#include <string>

namespace ostra::io::json::core {

namespace {

/// No message depends on more bytes behind the place that it names: 40 characters of a word are
/// quoted, the two halves of a surrogate pair take 12 bytes, a code point 4. But for what begins at
/// that place and does not end.
constexpr std::size_t lookAhead = 64;

bool isFinal(const ParseErrorFields& error, std::string_view text) {
    return text.size() - error.byte > lookAhead &&
           !error.reason.starts_with("unexpected end of text") &&
           // A number out of range may go on with a negative exponent.
           text.find_first_not_of("+-.0123456789eE", error.byte) != std::string_view::npos;
}

} // namespace

std::optional<Refusal> refusalIn(std::string_view context, const Window& rest,
                                 const ReadJSONDocumentOptions& options) {
    const std::u16string noName;
    const std::string text = std::string(context) + std::string(rest.bytes);
    rapidjson::Document::AllocatorType pool;
    BlockSource blocks(pool, rest.bytes.size(), BlockSource::Threads::one);
    ValueBuilder values(blocks);
    TextReader reader(noName, text, options, values);
    try {
        reader.start();
        reader.readTo(std::string_view::npos);
        if (context.empty() || context == inFrontOfAll || context == behindAll) {
            reader.finish();
        }
    } catch (const ParseError& error) {
        if (rest.isLast || isFinal(error.fields(), text)) {
            return Refusal{.offset = error.fields().byte - context.size(),
                           .reason = error.fields().reason};
        }
    }
    return std::nullopt;
}

} // namespace ostra::io::json::core
