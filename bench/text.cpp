/// Parsing and writing JSON text against RapidJSON and simdjson.

#include "generated_data.hpp"
#include "side.hpp"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>

#include <fstream>

namespace {

using bench::coldSide;
using bench::require;
using bench::side;
namespace core = ostra::io::json::core;

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
    require(core::parse_json_document({}, bytes, {}) == rapidjsonParse(text.json), text.name);
    const std::string name = std::string("parse/") + text.name;
    const auto parse = [&bytes] { return core::parse_json_document({}, bytes, {}); };
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

template <class Writer>
std::u16string rapidjsonText(const rapidjson::Document& document) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    document.Accept(writer);
    return fl::i18n::utf8_to_ustring(buffer.GetString(), buffer.GetSize());
}

void compareWriting(const Text& text) {
    static std::vector<std::unique_ptr<bench::tree::DOM>> kept;
    const auto& dom = *kept.emplace_back(std::make_unique<bench::tree::DOM>(
        bench::tree::read_string(fl::i18n::utf8_to_ustring(text.json), {})));
    // The digits of a few doubles differ, and with them the text: compare what reads back.
    require(bench::tree::read_string(bench::tree::write_string(dom, {}), {}).document ==
                dom.document,
            text.name);
    const std::string name = std::string("write/") + text.name;
    side(name + "/library", [&dom] { return bench::tree::write_string(dom, {}); });
    side(name + "/RapidJSON", [&dom] {
        return rapidjsonText<rapidjson::Writer<rapidjson::StringBuffer>>(dom.document);
    });
    side(name + ", indented/library", [&dom] {
        return bench::tree::write_string(dom, {.prettyPrint = true, .indentText = u"    "});
    });
    side(name + ", indented/RapidJSON", [&dom] {
        return rapidjsonText<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(dom.document);
    });
    side(name + ", into a file/library", [&dom] {
        bench::tree::write_file(dom, u"/dev/null", {});
        return 0;
    });
    side(name + ", into a file/RapidJSON", [&dom] {
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        dom.document.Accept(writer);
        std::ofstream("/dev/null", std::ios::binary)
            .write(buffer.GetString(), static_cast<std::streamsize>(buffer.GetSize()));
        return 0;
    });
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
