#include <ostra/io/json/columns/text_io.hpp>

#include "document/serialise.hpp"
#include "platform/text_conversion.hpp"

namespace ostra::io::json::columns {

namespace {

template <class Parse>
tree::DOM read(std::string_view text, const TextOptions& options, const Parse& parse) {
    tree::DOM dom;
    dom.document =
        parse(fl::i18n::utf8_to_ustring(options.name), text, options.syntax, options.big_integers);
    if (options.keep_text) {
        dom.buffer.assign(text.begin(), text.end());
    }
    return dom;
}

Utf8Text released(tree::TextBuffer text) {
    const std::size_t size = text.size();
    return {text.release(), size};
}

} // namespace

tree::DOM read_utf8(std::string_view text, const TextOptions& options) {
    return read(text, options, &core::parse_text);
}

tree::DOM read_lines(std::string_view text, const TextOptions& options) {
    return read(text, options, &core::parse_lines);
}

Utf8Text write_utf8(const rapidjson::Value& value,
                    const write::struct_::WriteStructOptions& options) {
    return released(tree::serialise(value, options));
}

Utf8Text write_lines(const rapidjson::Value& array, bool allowNaNInf) {
    return array.IsArray()
               ? released(tree::serialiseLines(array.Begin(), array.Size(), allowNaNInf))
               : released(tree::serialiseLines(&array, 1, allowNaNInf));
}

} // namespace ostra::io::json::columns
