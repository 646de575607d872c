#include "document/serialise.hpp"

#include "document/container.hpp"
#include "document/number_text.hpp"
#include "document/string_text.hpp"
#include "platform/file_io.hpp"
#include "platform/text_conversion.hpp"

#include <vector>

namespace ostra::io::json::tree {

namespace {

/// No white space at all.
struct CompactLayout {
    void startEntry(std::size_t /*depth*/) {}
    void afterColon() {}
};

/// One element or member a line, as RapidJSON's `PrettyWriter` lays them out.
class IndentedLayout {
public:
    IndentedLayout(TextBuffer& out, const std::string& indent)
        : out_(out), character_(indent.empty() ? ' ' : indent.front()), count_(indent.size()) {}
    void startEntry(std::size_t depth) {
        out_.append('\n');
        out_.appendRepeated(character_, depth * count_);
    }
    void afterColon() { out_.append(' '); }

private:
    TextBuffer& out_;
    char character_; // not checked for being white space: callers may want others
    std::size_t count_;
};

/// A container that is being written, and how many of its entries are done.
struct OpenContainer {
    const rapidjson::Value* value;
    rapidjson::SizeType count;
    rapidjson::SizeType done;
};

/// Writes a scalar, an empty container, or the opening bracket of another.
void writeHead(TextBuffer& out, const rapidjson::Value& value, bool allowNaNInf) {
    switch (value.GetType()) {
    case rapidjson::kNullType:
        out.append("null", 4);
        break;
    case rapidjson::kFalseType:
        out.append("false", 5);
        break;
    case rapidjson::kTrueType:
        out.append("true", 4);
        break;
    case rapidjson::kObjectType:
        out.append("{}", value.ObjectEmpty() ? 2 : 1);
        break;
    case rapidjson::kArrayType:
        out.append("[]", value.Empty() ? 2 : 1);
        break;
    case rapidjson::kStringType:
        writeString(out, value);
        break;
    case rapidjson::kNumberType:
        writeNumber(out, value, allowNaNInf);
        break;
    }
}

/// Writes a value and all below it. `Value::Accept` with RapidJSON's writers gives the same text,
/// but its recursion overflows an 8 MB stack at about 100,000 nested arrays.
template <class Layout>
void writeTree(TextBuffer& out, const rapidjson::Value& root, bool allowNaNInf, Layout layout) {
    std::vector<OpenContainer> open;
    const auto write = [&](const rapidjson::Value& value) {
        writeHead(out, value, allowNaNInf);
        if (const rapidjson::SizeType count = childCount(value); count != 0) {
            open.push_back({&value, count, 0});
        }
    };
    write(root);
    while (!open.empty()) {
        auto& [container, count, done] = open.back();
        const bool isObject = container->IsObject();
        if (done == count) {
            open.pop_back();
            layout.startEntry(open.size());
            out.append(isObject ? '}' : ']');
            continue;
        }
        if (done != 0) {
            out.append(',');
        }
        layout.startEntry(open.size());
        const rapidjson::SizeType index = done++;
        if (isObject) {
            const auto& member = memberAt(*container, index);
            writeString(out, member.name);
            out.append(':');
            layout.afterColon();
            write(member.value);
        } else {
            write((*container)[index]);
        }
    }
}

} // namespace

TextBuffer serialise(const rapidjson::Value& value,
                     const write::struct_::WriteStructOptions& options) {
    TextBuffer text;
    if (options.prettyPrint) {
        const std::string indent = fl::i18n::ustring_to_utf8(options.indentText);
        writeTree(text, value, options.allowNaNInf, IndentedLayout(text, indent));
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
