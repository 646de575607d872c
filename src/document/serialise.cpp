#include "document/serialise.hpp"

#include "document/write_number.hpp"
#include "document/write_string.hpp"
#include "platform/file_io.hpp"
#include "platform/text_conversion.hpp"

#include <cstring>
#include <vector>

namespace ostra::io::json::tree {

namespace {

/// No white space at all.
class CompactLayout {
public:
    void openLevel() {}
    void closeLevel() {}
    char* startLine(TextBuffer& out, char* at) const { return out.reserve(at, entryRoom); }
    char* putColon(char* at) const {
        *at = ':';
        return at + 1;
    }
};

/// One element or member a line, as RapidJSON's `PrettyWriter` lays them out.
class IndentedLayout {
public:
    explicit IndentedLayout(const std::string& indent)
        : character_(indent.empty() ? ' ' : indent.front()), perLevel_(indent.size()) {}
    void openLevel() { indentation_ += perLevel_; }
    void closeLevel() { indentation_ -= perLevel_; }
    char* startLine(TextBuffer& out, char* at) const {
        at = out.reserve(at, entryRoom + indentation_);
        *at++ = '\n';
        // A few more than wanted if these are few: a constant number does not need a call.
        constexpr std::size_t few = 32;
        static_assert(few < entryRoom / 2);
        std::memset(at, character_, few);
        if (indentation_ > few) {
            std::memset(at + few, character_, indentation_ - few);
        }
        return at + indentation_;
    }
    char* putColon(char* at) const { return putWord(at, ": "); }

private:
    char character_; // not checked for being white space: callers may want others
    std::size_t perLevel_;
    std::size_t indentation_ = 0;
};

/// The entries of a container that are still to be written: members of an object, elements of an
/// array.
struct Entries {
    const void* next;
    const void* end;
    bool ofObject;
};

Entries entriesOf(const rapidjson::Value& container) {
    if (container.IsObject()) {
        const auto* const members = &*container.MemberBegin();
        return {members, members + container.MemberCount(), true};
    }
    return {container.Begin(), container.End(), false};
}

bool hasEntries(const rapidjson::Value& value) {
    return (value.IsObject() && !value.ObjectEmpty()) || (value.IsArray() && !value.Empty());
}

/// Writes a scalar or an empty container.
char* putLeaf(TextBuffer& out, char* at, const rapidjson::Value& value, bool allowNaNInf) {
    switch (value.GetType()) {
    case rapidjson::kNullType:
        return putWord(at, "null");
    case rapidjson::kFalseType:
        return putWord(at, "false");
    case rapidjson::kTrueType:
        return putWord(at, "true");
    case rapidjson::kObjectType:
        return putWord(at, "{}");
    case rapidjson::kArrayType:
        return putWord(at, "[]");
    case rapidjson::kStringType:
        return putString(out, at, value);
    case rapidjson::kNumberType:
        return putNumber(at, value, allowNaNInf);
    }
    return at;
}

/// Writes a value and all below it, from `at` on. `Value::Accept` with RapidJSON's writers gives
/// the same text, but its recursion overflows an 8 MB stack at about 100,000 nested arrays.
///
/// Flattened: calls for every key, value and number cost a sixth of the whole.
template <class Layout>
[[gnu::flatten]] char* writeTree(TextBuffer& out, char* at, const rapidjson::Value& root,
                                 bool allowNaNInf, Layout layout) {
    at = out.reserve(at, entryRoom);
    if (!hasEntries(root)) {
        return putLeaf(out, at, root, allowNaNInf);
    }
    std::vector<Entries> outer; // the containers around the one that is being written
    Entries rest = entriesOf(root);
    *at++ = rest.ofObject ? '{' : '[';
    layout.openLevel();
    for (;;) {
        while (rest.next != rest.end) {
            at = layout.startLine(out, at);
            const rapidjson::Value* value = nullptr;
            if (rest.ofObject) {
                const auto* const member = static_cast<const rapidjson::Value::Member*>(rest.next);
                rest.next = member + 1;
                at = putString(out, at, member->name);
                at = layout.putColon(at);
                value = &member->value;
            } else {
                value = static_cast<const rapidjson::Value*>(rest.next);
                rest.next = value + 1;
            }
            if (hasEntries(*value)) {
                outer.push_back(rest);
                rest = entriesOf(*value);
                *at++ = rest.ofObject ? '{' : '[';
                layout.openLevel();
            } else {
                at = putLeaf(out, at, *value, allowNaNInf);
                *at++ = ',';
            }
        }
        --at; // the last comma
        layout.closeLevel();
        at = layout.startLine(out, at);
        *at++ = rest.ofObject ? '}' : ']';
        if (outer.empty()) {
            return at;
        }
        *at++ = ',';
        rest = outer.back();
        outer.pop_back();
    }
}

} // namespace

TextBuffer serialise(const rapidjson::Value& value,
                     const write::struct_::WriteStructOptions& options) {
    TextBuffer text;
    if (options.prettyPrint) {
        const std::string indent = fl::i18n::ustring_to_utf8(options.indentText);
        text.finish(writeTree(text, nullptr, value, options.allowNaNInf, IndentedLayout(indent)));
    } else {
        text.finish(writeTree(text, nullptr, value, options.allowNaNInf, CompactLayout()));
    }
    return text;
}

TextBuffer serialiseLines(const rapidjson::Value* values, std::size_t count, bool allowNaNInf) {
    TextBuffer text;
    char* at = nullptr;
    for (std::size_t i = 0; i < count; ++i) {
        at = text.reserve(writeTree(text, at, values[i], allowNaNInf, CompactLayout()), smallPiece);
        *at++ = '\n';
    }
    text.finish(at);
    return text;
}

std::u16string serialiseToString(const rapidjson::Value& value,
                                 const write::struct_::WriteStructOptions& options) {
    const TextBuffer text = serialise(value, options);
    return fl::i18n::utf8_to_ustring(text.data(), text.size());
}

void serialiseToFile(const rapidjson::Value& value, const std::u16string& path,
                     const write::struct_::WriteStructOptions& options) {
    const TextBuffer text = serialise(value, options);
    common::file::writeall(path, text.data(), text.size());
}

} // namespace ostra::io::json::tree
