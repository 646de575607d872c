#include "document/serialise.hpp"

#include "document/string_text.hpp"
#include "document/write_number.hpp"
#include "platform/file_io.hpp"
#include "platform/text_conversion.hpp"

#include <cstring>
#include <vector>

namespace ostra::io::json::tree {

namespace {

/// No white space at all.
struct CompactLayout {
    char* startEntry(TextBuffer& out, char* at, std::size_t /*depth*/) const {
        return out.reserve(at, entryRoom);
    }
    char* afterColon(char* at) const { return at; }
};

/// One element or member a line, as RapidJSON's `PrettyWriter` lays them out.
class IndentedLayout {
public:
    explicit IndentedLayout(const std::string& indent)
        : character_(indent.empty() ? ' ' : indent.front()), count_(indent.size()) {}
    char* startEntry(TextBuffer& out, char* at, std::size_t depth) const {
        const std::size_t indentation = depth * count_;
        at = out.reserve(at, entryRoom + indentation);
        *at++ = '\n';
        // A few more than wanted where these are few: a constant number needs no call.
        constexpr std::size_t few = 32;
        static_assert(few < entryRoom / 2);
        std::memset(at, character_, few);
        if (indentation > few) {
            std::memset(at + few, character_, indentation - few);
        }
        return at + indentation;
    }
    char* afterColon(char* at) const {
        *at = ' ';
        return at + 1;
    }

private:
    char character_; // not checked for being white space: callers may want others
    std::size_t count_;
};

/// The entries of a container that are still to be written.
struct Rest {
    const rapidjson::Value::Member* member; // the next of an object, or
    const rapidjson::Value* element;        // of an array, where `member` is null
    rapidjson::SizeType left;
};

Rest entriesOf(const rapidjson::Value& container) {
    if (container.IsObject()) {
        return {&*container.MemberBegin(), nullptr, container.MemberCount()};
    }
    return {nullptr, container.Begin(), container.Size()};
}

bool hasEntries(const rapidjson::Value& value) {
    return (value.IsObject() && !value.ObjectEmpty()) || (value.IsArray() && !value.Empty());
}

/// Writes a scalar, an empty container, or the opening bracket of another.
char* putHead(TextBuffer& out, char* at, const rapidjson::Value& value, bool allowNaNInf) {
    switch (value.GetType()) {
    case rapidjson::kNullType:
        return putWord(at, "null");
    case rapidjson::kFalseType:
        return putWord(at, "false");
    case rapidjson::kTrueType:
        return putWord(at, "true");
    case rapidjson::kObjectType:
        return value.ObjectEmpty() ? putWord(at, "{}") : putWord(at, "{");
    case rapidjson::kArrayType:
        return value.Empty() ? putWord(at, "[]") : putWord(at, "[");
    case rapidjson::kStringType:
        return putString(out, at, value);
    case rapidjson::kNumberType:
        return putNumber(at, value, allowNaNInf);
    }
    return at;
}

/// Writes a value and all below it. `Value::Accept` with RapidJSON's writers gives the same text,
/// but its recursion overflows an 8 MB stack at about 100,000 nested arrays.
///
/// Flattened: calls for every key, value and number cost a sixth of the whole.
template <class Layout>
[[gnu::flatten]] void writeTree(TextBuffer& out, const rapidjson::Value& root, bool allowNaNInf,
                                const Layout& layout) {
    char* at = putHead(out, out.reserve(nullptr, entryRoom), root, allowNaNInf);
    if (!hasEntries(root)) {
        out.finish(at);
        return;
    }
    std::vector<Rest> outer; // the containers around the one that is being written
    Rest rest = entriesOf(root);
    bool first = true;
    for (;;) {
        while (rest.left != 0) {
            if (!first) {
                *at++ = ',';
            }
            first = false;
            at = layout.startEntry(out, at, outer.size() + 1);
            --rest.left;
            const rapidjson::Value* value = rest.element;
            if (rest.member != nullptr) {
                at = putString(out, at, rest.member->name);
                *at++ = ':';
                at = layout.afterColon(at);
                value = &rest.member++->value;
            } else {
                ++rest.element;
            }
            at = putHead(out, at, *value, allowNaNInf);
            if (hasEntries(*value)) {
                outer.push_back(rest);
                rest = entriesOf(*value);
                first = true;
            }
        }
        at = layout.startEntry(out, at, outer.size());
        *at++ = rest.member != nullptr ? '}' : ']';
        if (outer.empty()) {
            out.finish(at);
            return;
        }
        rest = outer.back();
        outer.pop_back();
        first = false;
    }
}

} // namespace

TextBuffer serialise(const rapidjson::Value& value,
                     const write::struct_::WriteStructOptions& options) {
    TextBuffer text;
    if (options.prettyPrint) {
        const std::string indent = fl::i18n::ustring_to_utf8(options.indentText);
        writeTree(text, value, options.allowNaNInf, IndentedLayout(indent));
    } else {
        writeTree(text, value, options.allowNaNInf, CompactLayout());
    }
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
