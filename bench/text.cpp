/// Parsing and writing JSON text against RapidJSON and simdjson.

#include "generated_data.hpp"
#include "side.hpp"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

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

std::size_t writeRapidjsonText(const rapidjson::Document& document, const char* path) {
    return withRapidjsonText<Writer>(document, [path](std::string_view text) {
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

void compareWriting(const Text& text) {
    static std::vector<std::unique_ptr<bench::tree::DOM>> kept;
    const auto& dom = *kept.emplace_back(std::make_unique<bench::tree::DOM>(
        bench::tree::read_string(fl::i18n::utf8_to_ustring(text.json), {})));
    requireSameTexts(dom, text.name);
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
    for (const Text& text : texts) {
        compareWriting(text);
    }
    return bench::runSides(argc, argv);
}
