#include "document/reading.hpp"

#include "platform/file_io.hpp"
#include "platform/text_conversion.hpp"

namespace ostra::io::json::tree {

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

} // namespace ostra::io::json::tree
