/// Parsing and writing JSON text against RapidJSON and simdjson.

#include "generated_data.hpp"
#include "side.hpp"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace {

using bench::coldSide;
using bench::require;
using bench::side;
namespace core = ostra::io::json::core;

/// As RapidJSON's writer has it.
const ostra::io::json::write::struct_::WriteStructOptions wide = {
    .allowNaNInf = false, .prettyPrint = true, .indentText = u"    "};

struct Text {
    const char* name;
    std::string json;
};

/// The same text in ASCII.
std::string escaped(const std::string& text) {
    std::string result;
    for (const char16_t unit : fl::i18n::utf8_to_ustring(text)) {
        char escape[8];
        (void)std::snprintf(escape, sizeof escape, unit < 0x80 ? "%c" : "\\u%04X", unit);
        result += escape;
    }
    return result;
}

/// Texts of the forms that parsers are commonly compared on.
std::vector<Text> commonTexts() {
    const std::string statuses = bench::statuses(500);
    return {{"map", bench::coordinates(400, 15)},
            {"mesh", bench::mesh(7'000)},
            {"mesh, indented", bench::indented(bench::mesh(7'000), 8)},
            {"performances, indented", bench::indented(bench::performances(400), 4)},
            {"statuses, indented", bench::indented(statuses, 2)},
            {"statuses, escaped", escaped(statuses)},
            {"records, 400 bytes", bench::records(2)},
            {"records, 1 kB", bench::records(6)},
            {"records, 4 kB", bench::records(22)}};
}

/// RapidJSON's own parse with every check that the library makes, too. Some of its doubles are one
/// digit off; the comparison is kind to it there.
rapidjson::Document rapidjsonParse(const std::string& json) {
    constexpr unsigned flags = rapidjson::kParseFullPrecisionFlag |
                               rapidjson::kParseValidateEncodingFlag |
                               rapidjson::kParseIterativeFlag;
    rapidjson::Document document;
    document.Parse<flags>(json.data(), json.size());
    require(!document.HasParseError(), "RapidJSON parse");
    return document;
}

void compareParsing(const Text& text) {
    static std::vector<std::unique_ptr<std::vector<char>>> kept;
    const auto& bytes =
        *kept.emplace_back(std::make_unique<std::vector<char>>(bench::bytesOf(text.json)));
    const std::string name = std::string("parse/") + text.name;
    const auto parse = [&bytes] { return core::parse_json_document({}, bytes, {}); };
    const rapidjson::Document expected = rapidjsonParse(text.json);
    require(parse() == expected && bench::onOneThread(parse) == expected, text.name);
    coldSide(name + "/library", parse);
    coldSide(name + "/library, one thread", [parse] { return bench::onOneThread(parse); });
    coldSide(name + "/RapidJSON", [&text] { return rapidjsonParse(text.json); });
    coldSide(name + "/simdjson DOM", [&text] {
        simdjson::dom::parser parser;
        const bool parsed = parser.parse(text.json).error() == simdjson::SUCCESS;
        require(parsed, "simdjson parse");
        return parser;
    });
}

std::string_view viewOf(const rapidjson::Value& string) {
    return {string.GetString(), string.GetStringLength()};
}

/// Whether simdjson found the same as we did.
bool same(const rapidjson::Value& value, const simdjson::dom::element& theirs) {
    using simdjson::dom::element_type;
    switch (theirs.type()) {
    case element_type::ARRAY: {
        if (!value.IsArray()) {
            return false;
        }
        const auto* element = value.Begin();
        for (const auto& below : simdjson::dom::array(theirs.get_array())) {
            if (element == value.End() || !same(*element++, below)) {
                return false;
            }
        }
        return element == value.End();
    }
    case element_type::OBJECT: {
        if (!value.IsObject()) {
            return false;
        }
        auto member = value.MemberBegin();
        for (const auto& [key, below] : simdjson::dom::object(theirs.get_object())) {
            if (member == value.MemberEnd() || viewOf(member->name) != key ||
                !same(member->value, below)) {
                return false;
            }
            ++member;
        }
        return member == value.MemberEnd();
    }
    case element_type::STRING:
        return value.IsString() && viewOf(value) == std::string_view(theirs.get_string());
    case element_type::INT64:
        return value.IsInt64() && value.GetInt64() == theirs.get_int64();
    case element_type::UINT64:
        return value.IsUint64() && value.GetUint64() == theirs.get_uint64();
    case element_type::DOUBLE:
        return value.IsDouble() && value.GetDouble() == theirs.get_double();
    case element_type::BOOL:
        return value.IsBool() && value.GetBool() == theirs.get_bool();
    case element_type::NULL_VALUE:
        return value.IsNull();
    }
    return false;
}

void compareWarmParsing(const Text& text) {
    struct Input {
        std::string json;
        std::vector<char> bytes;
        simdjson::padded_string padded;
        simdjson::dom::parser parser;
    };
    static std::vector<std::unique_ptr<Input>> kept;
    auto& input = *kept.emplace_back(std::make_unique<Input>(
        Input{text.json, bench::bytesOf(text.json), simdjson::padded_string(text.json),
              simdjson::dom::parser()}));
    const auto parse = [&input] { return core::parse_json_document({}, input.bytes, {}); };
    const auto simdjsonParse = [&input] {
        const auto root = input.parser.parse(input.padded);
        require(root.error() == simdjson::SUCCESS, "simdjson parse");
        return root.value_unsafe();
    };
    const rapidjson::Document parsed = parse();
    require(parsed == rapidjsonParse(text.json) && same(parsed, simdjsonParse()), text.name);
    const std::string name = std::string("parse, warm/") + text.name;
    bench::warmSide(name + "/library", parse);
    bench::warmSide(name + "/RapidJSON", [&input] { return rapidjsonParse(input.json); });
    bench::warmSide(name + "/simdjson DOM", simdjsonParse);
}

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;
using PrettyWriter = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

/// What `use` makes of RapidJSON's text, of type `W`, of a document.
template <class W, class Use>
auto withRapidjsonText(const rapidjson::Document& document, const Use& use) {
    rapidjson::StringBuffer buffer;
    W writer(buffer);
    document.Accept(writer);
    return use(std::string_view(buffer.GetString(), buffer.GetSize()));
}

template <class W>
std::u16string rapidjsonText(const rapidjson::Document& document) {
    return withRapidjsonText<W>(document, [](std::string_view text) {
        return fl::i18n::utf8_to_ustring(text.data(), text.size());
    });
}

template <class W = Writer>
std::size_t writeRapidjsonText(const rapidjson::Document& document, const char* path) {
    return withRapidjsonText<W>(document, [path](std::string_view text) {
        std::ofstream(path, std::ios::binary)
            .write(text.data(), static_cast<std::streamsize>(text.size()));
        return text.size();
    });
}

/// The digits of a few doubles differ, and with them the texts: what they say must be the same.
void requireSameTexts(const bench::tree::DOM& dom, const char* name) {
    const auto reads = [&dom](const std::u16string& text) {
        return bench::tree::read_string(text, {}).document == dom.document;
    };
    const auto withoutDigits = [](std::u16string text) {
        std::erase_if(text, [](char16_t c) { return c >= u'0' && c <= u'9'; });
        return text;
    };
    const std::u16string compact = bench::tree::write_string(dom, {});
    const std::u16string indented = bench::tree::write_string(dom, wide);
    require(reads(compact) && reads(indented), name);
    require(withoutDigits(indented) == withoutDigits(rapidjsonText<PrettyWriter>(dom.document)),
            name);
    require(withoutDigits(compact) == withoutDigits(rapidjsonText<Writer>(dom.document)), name);
    const std::filesystem::path path = bench::temporaryPath();
    bench::tree::write_file(dom, path.u16string(), {});
    require(bench::tree::read_file(path.u16string(), {}).document == dom.document, name);
    writeRapidjsonText(dom.document, path.c_str());
    require(bench::tree::read_file(path.u16string(), {}).document == dom.document, name);
    std::filesystem::remove(path);
}

const bench::tree::DOM& keptDom(const Text& text) {
    static std::vector<std::unique_ptr<bench::tree::DOM>> kept;
    const auto& dom = *kept.emplace_back(std::make_unique<bench::tree::DOM>(
        bench::tree::read_string(fl::i18n::utf8_to_ustring(text.json), {})));
    requireSameTexts(dom, text.name);
    return dom;
}

void compareWarmWriting(const Text& text) {
    const bench::tree::DOM& dom = keptDom(text);
    const std::string name = std::string("write UTF-8, warm/") + text.name;
    const auto write = [&dom](const auto& options) {
        bench::tree::write_file(dom, u"/dev/null", options);
        return 0;
    };
    const auto compact = ostra::io::json::write::struct_::WriteStructOptions();
    bench::warmSide(name + "/library", [=] { return write(compact); });
    bench::warmSide(name + "/RapidJSON",
                    [&dom] { return writeRapidjsonText(dom.document, "/dev/null"); });
    bench::warmSide(name + ", indented/library", [=] { return write(wide); });
    bench::warmSide(name + ", indented/RapidJSON",
                    [&dom] { return writeRapidjsonText<PrettyWriter>(dom.document, "/dev/null"); });
}

void compareWriting(const Text& text) {
    const bench::tree::DOM& dom = keptDom(text);
    const std::string name = std::string("write/") + text.name;
    side(name + "/library", [&dom] { return bench::tree::write_string(dom, {}); });
    side(name + "/RapidJSON", [&dom] { return rapidjsonText<Writer>(dom.document); });
    side(name + ", indented/library", [&dom] { return bench::tree::write_string(dom, wide); });
    side(name + ", indented/RapidJSON",
         [&dom] { return rapidjsonText<PrettyWriter>(dom.document); });
    side(name + ", into a file/library", [&dom] {
        bench::tree::write_file(dom, u"/dev/null", {});
        return 0;
    });
    side(name + ", into a file/RapidJSON",
         [&dom] { return writeRapidjsonText(dom.document, "/dev/null"); });
}

} // namespace

int main(int argc, char** argv) {
    const Text texts[] = {{"messages", bench::messages(50'000)},
                          {"catalogue", bench::catalogue(100'000)},
                          {"coordinates", bench::coordinates(8'000)},
                          {"records", bench::records(500'000)}};
    for (const Text& text : texts) {
        compareParsing(text);
    }
    for (const Text& text : commonTexts()) {
        compareWarmParsing(text);
    }
    for (const Text& text : texts) {
        compareWriting(text);
    }
    const Text written[] = {{"map", bench::coordinates(400, 15)},
                            {"mesh", bench::mesh(7'000)},
                            {"performances", bench::performances(400)},
                            {"statuses", bench::statuses(500)},
                            {"records", bench::records(1000)}};
    for (const Text& text : written) {
        compareWarmWriting(text);
    }
    return bench::runSides(argc, argv);
}
