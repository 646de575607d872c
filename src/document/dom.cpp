#include <ostra/io/json/tree/dom.hpp>

#include "document/reading.hpp"
#include "document/serialise.hpp"
#include "platform/file_io.hpp"
#include "platform/text_conversion.hpp"

namespace ostra::io::json::tree {

std::shared_ptr<DOM> make_dom_ptr() {
    return std::make_shared<DOM>();
}

void readText(DOM& dom, const std::u16string& text, const core::ReadJSONDocumentOptions& options) {
    const std::string utf8 = fl::i18n::ustring_to_utf8(text);
    dom.buffer = std::vector<char>(utf8.begin(), utf8.end());
    dom.document = core::parse_json_document(std::u16string(), dom.buffer, options);
}

void readFile(DOM& dom, const std::u16string& path, const core::ReadJSONDocumentOptions& options) {
    dom.buffer = common::file::readall(path);
    dom.document = core::parse_json_document(path, dom.buffer, options);
}

DOM read_string(const std::u16string& text, const core::ReadJSONDocumentOptions& options) {
    DOM dom;
    readText(dom, text, options);
    return dom;
}

DOM read_file(const std::u16string& path, const core::ReadJSONDocumentOptions& options) {
    DOM dom;
    readFile(dom, path, options);
    return dom;
}

std::u16string write_string(const DOM& dom, const write::struct_::WriteStructOptions& options) {
    return serialiseToString(dom.document, options);
}

void write_file(const DOM& dom, const std::u16string& path,
                const write::struct_::WriteStructOptions& options) {
    serialiseToFile(dom.document, path, options);
}

} // namespace ostra::io::json::tree
