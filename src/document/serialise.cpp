#include "document/serialise.hpp"

#include "document/number_text.hpp"
#include "document/string_text.hpp"
#include "platform/file_io.hpp"
#include "platform/text_conversion.hpp"

#include <vector>

namespace ostra::io::json::tree {

namespace {

/// No white space at all.
struct CompactLayout {
    void startEntry(TextBuffer& /*out*/, std::size_t /*depth*/) const {}
    void afterColon(TextBuffer& /*out*/) const {}
};

/// One element or member a line, as RapidJSON's `PrettyWriter` lays them out.
class IndentedLayout {
public:
    explicit IndentedLayout(const std::string& indent)
        : character_(indent.empty() ? ' ' : indent.front()), count_(indent.size()) {}
    void startEntry(TextBuffer& out, std::size_t depth) const {
        out.append('\n');
        out.appendRepeated(character_, depth * count_);
    }
    void afterColon(TextBuffer& out) const { out.append(' '); }

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

/// Writes a scalar, an empty container, or the opening bracket of another.
/// @return whether it was the latter.
bool writeHead(TextBuffer& out, const rapidjson::Value& value, bool allowNaNInf) {
    switch (value.GetType()) {
    case rapidjson::kNullType:
        out.append("null", 4);
        return false;
    case rapidjson::kFalseType:
        out.append("false", 5);
        return false;
    case rapidjson::kTrueType:
        out.append("true", 4);
        return false;
    case rapidjson::kObjectType:
        out.append("{}", value.ObjectEmpty() ? 2 : 1);
        return !value.ObjectEmpty();
    case rapidjson::kArrayType:
        out.append("[]", value.Empty() ? 2 : 1);
        return !value.Empty();
    case rapidjson::kStringType:
        writeString(out, value);
        return false;
    case rapidjson::kNumberType:
        writeNumber(out, value, allowNaNInf);
        return false;
    }
    return false;
}

/// Writes a value and all below it. `Value::Accept` with RapidJSON's writers gives the same text,
/// but its recursion overflows an 8 MB stack at about 100,000 nested arrays.
template <class Layout>
void writeTree(TextBuffer& out, const rapidjson::Value& root, bool allowNaNInf,
               const Layout& layout) {
    if (!writeHead(out, root, allowNaNInf)) {
        return;
    }
    std::vector<Rest> outer; // the containers around the one that is being written
    Rest rest = entriesOf(root);
    bool first = true;
    for (;;) {
        while (rest.left != 0) {
            if (!first) {
                out.append(',');
            }
            first = false;
            layout.startEntry(out, outer.size() + 1);
            --rest.left;
            const rapidjson::Value* value = rest.element;
            if (rest.member != nullptr) {
                writeString(out, rest.member->name);
                out.append(':');
                layout.afterColon(out);
                value = &rest.member++->value;
            } else {
                ++rest.element;
            }
            if (writeHead(out, *value, allowNaNInf)) {
                outer.push_back(rest);
                rest = entriesOf(*value);
                first = true;
            }
        }
        layout.startEntry(out, outer.size());
        out.append(rest.member != nullptr ? '}' : ']');
        if (outer.empty()) {
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
