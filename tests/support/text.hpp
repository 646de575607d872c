#pragma once

/// UTF-8 literals in, UTF-8 text out: what most tests want of the library's UTF-16 interface.

#include "platform/text_conversion.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <string>

namespace test {

namespace tree = ostra::io::json::tree;
using ReadOptions = ostra::io::json::core::ReadJSONDocumentOptions;
using WriteOptions = ostra::io::json::write::struct_::WriteStructOptions;

inline std::u16string u16(const std::string& utf8) {
    return fl::i18n::utf8_to_ustring(utf8);
}

inline std::string u8(std::u16string_view text) {
    return fl::i18n::ustring_to_utf8(std::u16string(text));
}

inline tree::DOM parse(const std::string& text, const ReadOptions& options = {}) {
    return tree::read_string(u16(text), options);
}

inline tree::LevelReader reader(const std::string& text) {
    return tree::LevelReader::MakeStringReader(u16(text), {});
}

inline std::string textOf(const tree::DOM& dom, const WriteOptions& options = {}) {
    return u8(tree::write_string(dom, options));
}

/// The text of a value that lies somewhere in a document.
inline std::string textOf(const rapidjson::Value& value) {
    tree::DOM dom;
    static_cast<rapidjson::Value&>(dom.document).CopyFrom(value, dom.document.GetAllocator());
    return textOf(dom);
}

inline std::string textOf(const tree::LevelReader& at, const WriteOptions& options = {}) {
    return u8(at.writeString(options));
}

} // namespace test
