#pragma once

/// UTF-8 literals in, UTF-8 text out: what most tests want of the library's UTF-16 interface.

#include "fuzz/oracle/agreement.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <string>

namespace test {

namespace tree = ostra::io::json::tree;
using fuzz::ReadOptions;
using fuzz::u16;
using fuzz::u8;
using fuzz::WriteOptions;

inline std::string repeat(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t n = 0; n < count; ++n) {
        all += text;
    }
    return all;
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
