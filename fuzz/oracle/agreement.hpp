#pragma once

/// What the oracles share. Each does slowly and plainly what the library does fast, and throws if
/// the two disagree; tests and fuzzers use them alike.

#include "platform/text_conversion.hpp"

#include <ostra/io/json/tree/dom.hpp>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz {

namespace tree = ostra::io::json::tree;
namespace core = ostra::io::json::core;
using rapidjson::Value;
using ReadOptions = core::ReadJSONDocumentOptions;
using WriteOptions = ostra::io::json::write::struct_::WriteStructOptions;

/// What an oracle reports: the library and the slow way disagree. A test fails with its message; a
/// fuzzer lets it end the process.
struct Disagreement : std::logic_error {
    using std::logic_error::logic_error;
};

/// @throws Disagreement  if `agrees` is false, naming `what` was compared.
inline void check(bool agrees, const char* what) {
    if (!agrees) {
        throw Disagreement(std::string("disagreement: ") + what);
    }
}

inline std::u16string u16(const std::string& utf8) {
    return fl::i18n::utf8_to_ustring(utf8);
}

inline std::string u8(std::u16string_view text) {
    return fl::i18n::ustring_to_utf8(std::u16string(text));
}

inline std::vector<char> toBytes(const std::string& text) {
    return {text.begin(), text.end()};
}

/// The text of a value that lies somewhere in a document. The value is the root of another for that
/// long: RapidJSON's own copy of it does arithmetic on null pointers.
inline std::string textOf(Value& value) {
    tree::DOM dom;
    static_cast<Value&>(dom.document).Swap(value);
    std::string text =
        u8(tree::write_string(dom, {.allowNaNInf = true, .prettyPrint = false, .indentText = {}}));
    static_cast<Value&>(dom.document).Swap(value);
    return text;
}

inline std::string keyOf(const Value::Member& member) {
    return {member.name.GetString(), member.name.GetStringLength()};
}

} // namespace fuzz
