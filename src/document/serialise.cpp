#include "document/serialise.hpp"

#include "document/container.hpp"
#include "document/json_writers.hpp"
#include "platform/file_io.hpp"
#include "platform/text_conversion.hpp"

#include <vector>

namespace ostra::io::json::tree {

namespace {

/// A container that is being written, and how many of its entries are done.
struct OpenContainer {
    const rapidjson::Value* value;
    rapidjson::SizeType done;
};

template <class Writer>
void writeNumber(Writer& writer, const rapidjson::Value& value) {
    // The order matters: the number 0 of a fresh value carries every flag and is a double.
    if (value.IsDouble()) {
        writer.Double(value.GetDouble());
    } else if (value.IsInt64()) {
        writer.Int64(value.GetInt64());
    } else {
        writer.Uint64(value.GetUint64());
    }
}

/// Writes a scalar, or the opening bracket of a container.
template <class Writer>
void writeHead(Writer& writer, const rapidjson::Value& value) {
    switch (value.GetType()) {
    case rapidjson::kNullType:
        writer.Null();
        break;
    case rapidjson::kFalseType:
        writer.Bool(false);
        break;
    case rapidjson::kTrueType:
        writer.Bool(true);
        break;
    case rapidjson::kObjectType:
        writer.StartObject();
        break;
    case rapidjson::kArrayType:
        writer.StartArray();
        break;
    case rapidjson::kStringType:
        writer.String(value.GetString(), value.GetStringLength());
        break;
    case rapidjson::kNumberType:
        writeNumber(writer, value);
        break;
    }
}

/// Feeds the writer the events that `Value::Accept` would, without its recursion, which overflows
/// an 8 MB stack at about 100,000 nested arrays.
template <class Writer>
void writeTree(Writer& writer, const rapidjson::Value& root) {
    std::vector<OpenContainer> open;
    const auto write = [&](const rapidjson::Value& value) {
        writeHead(writer, value);
        if (isContainer(value)) {
            open.push_back({&value, 0});
        }
    };
    write(root);
    while (!open.empty()) {
        auto& [container, done] = open.back();
        if (container->IsArray()) {
            if (done == container->Size()) {
                writer.EndArray(done);
                open.pop_back();
            } else {
                write((*container)[done++]);
            }
        } else if (done == container->MemberCount()) {
            writer.EndObject(done);
            open.pop_back();
        } else {
            const auto& member = memberAt(*container, done++);
            writer.Key(member.name.GetString(), member.name.GetStringLength());
            write(member.value);
        }
    }
}

} // namespace

TextBuffer serialise(const rapidjson::Value& value,
                     const write::struct_::WriteStructOptions& options) {
    TextBuffer text;
    if (options.prettyPrint) {
        const std::string indent = fl::i18n::ustring_to_utf8(options.indentText);
        IndentedWriter writer(text, options.allowNaNInf, indent.empty() ? ' ' : indent.front(),
                              static_cast<unsigned>(indent.size()));
        writeTree(writer, value);
    } else {
        CompactWriter writer(text, options.allowNaNInf);
        writeTree(writer, value);
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
