/// What the embedded core offers beyond the seam: errors with parts, and reading texts that are
/// never whole in memory.

#include "support/failure.hpp"
#include "support/files.hpp"
#include "support/random_json.hpp"
#include "support/text.hpp"

#include <ostra/io/json/core/document_scanner.hpp>
#include <ostra/io/json/core/parse_error.hpp>
#include <ostra/io/json/core/reading.hpp>
#include <ostra/io/json/core/record_reader.hpp>
#include <ostra/io/json/core/text_position.hpp>

#include "base/raw_value.hpp"

#include <gtest/gtest.h>

#include <random>

namespace {

using namespace ostra::io::json::core;
using test::ReadOptions;

const ReadOptions relaxed = {
    .allowComments = true, .allowTrailingCommas = true, .allowNaNInf = true};

/// What comes of a text: its records as text, one a line, or where and why it is refused.
struct Outcome {
    std::string records;
    std::string refusal;
    bool operator==(const Outcome&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << outcome.records << outcome.refusal;
}

std::string describe(std::size_t byte, const std::string& reason) {
    return std::to_string(byte) + ' ' + reason;
}

void append(std::string& records, const rapidjson::Value* first, std::size_t count, bool members) {
    for (std::size_t i = 0; i < count; ++i) {
        records += members ? test::textOf(first[2 * i]) + ':' + test::textOf(first[2 * i + 1])
                           : test::textOf(first[i]);
        records += '\n';
    }
}

/// The ordinary reader's answer, for well-formed UTF-8.
Outcome whole(const std::string& text, const std::string& pointer, const ReadOptions& options) {
    try {
        rapidjson::Document document = parse_text(u"", text, options);
        rapidjson::Value* const found = validate_selector(pointer).Get(document);
        if (found == nullptr || !(found->IsArray() || found->IsObject())) {
            return {"", "none"};
        }
        Outcome outcome;
        if (found->IsArray()) {
            append(outcome.records, found->Begin(), found->Size(), false);
        } else {
            for (const auto& member : found->GetObject()) {
                append(outcome.records, &member.name, 1, true);
            }
        }
        return outcome;
    } catch (const ParseError& error) {
        return {"", describe(error.fields().byte, error.fields().reason)};
    }
}

/// The same in windows of a few bytes, which grow if nothing comes of them.
class InParts {
public:
    InParts(std::string text, std::vector<std::string> path, const ReadOptions& options,
            std::size_t windowSize)
        : text_(std::move(text)), windowSize_(windowSize), scanner_(options, std::move(path)),
          reader_(options) {}

    Outcome read() {
        bool found = false;
        for (;;) {
            const std::size_t position = scanner_.position();
            switch (scanner_.scan(window(position))) {
            case DocumentScanner::Stop::NeedsMore:
                grown_ = scanner_.position() == position ? grown_ * 2 + 1 : 0;
                break;
            case DocumentScanner::Stop::Records:
                found = true;
                if (!readRecords(scanner_.position())) {
                    return {"", refusal_};
                }
                break;
            case DocumentScanner::Stop::NoRecords:
                return {"", "none"};
            case DocumentScanner::Stop::End:
                return found ? Outcome{records_, ""} : Outcome{"", "none"};
            case DocumentScanner::Stop::Refused:
                return {"", describe(scanner_.refusal().offset, scanner_.refusal().reason)};
            }
        }
    }

private:
    Window window(std::size_t from) const {
        const std::string_view bytes = std::string_view(text_).substr(from, windowSize_ + grown_);
        return {bytes, from + bytes.size() == text_.size()};
    }

    bool readRecords(std::size_t at) {
        const bool members = scanner_.isObject();
        grown_ = 0;
        for (Due due = Due::FirstOrEnd;;) {
            const Records records = members
                                        ? reader_.readMembers(window(at), 0, windowSize_ / 2, due)
                                        : reader_.readElements(window(at), 0, windowSize_ / 2, due);
            append(records_, records.first, records.count, members);
            if (records.stop == Records::Stop::Refused) {
                refusal_ = describe(at + records.refusal.offset, records.refusal.reason);
                return false;
            }
            grown_ = records.count == 0 && records.end == 0 ? grown_ * 2 + 1 : 0;
            at += records.end;
            due = records.due;
            if (records.stop == Records::Stop::End) {
                scanner_.leaveRecords(at);
                return true;
            }
        }
    }

    const std::string text_;
    const std::size_t windowSize_;
    std::size_t grown_ = 0;
    DocumentScanner scanner_;
    RecordReader reader_;
    std::string records_;
    std::string refusal_;
};

void expectTheSame(const std::string& text, const std::vector<std::string>& path = {}) {
    std::string pointer;
    for (const std::string& token : path) {
        pointer += '/' + token;
    }
    for (const ReadOptions& options : {ReadOptions(), relaxed}) {
        Outcome expected = whole(text, pointer, options);
        for (const std::size_t windowSize : {2U, 7U, 31U, 300U, 100'000U}) {
            const Outcome outcome = InParts(text, path, options, windowSize).read();
            // What is not a container is found out before the rest of the text is read.
            if (outcome.refusal != "none" || expected.refusal.empty()) {
                EXPECT_EQ(outcome, expected) << windowSize << ' ' << pointer << ' ' << text;
            }
        }
    }
}

TEST(PartsOfTexts, GiveTheRecordsAndRefusalsOfTheWhole) {
    const std::string surroundings =
        R"( {"a\u0062":[1,-2.5e+3,[],{},true,null,"\ud83d\ude00\n"],"ab":5,"x":{"1":)";
    for (const std::string text : {R"([])",
                                   R"( [ ] )",
                                   R"({})",
                                   R"([1])",
                                   R"([12,345 , 6789])",
                                   R"(7)",
                                   R"("s")",
                                   "",
                                   R"([1,2)",
                                   R"([1,2,)",
                                   R"([1,2,])",
                                   R"([1,,2])",
                                   R"([,1])",
                                   R"([1 2])",
                                   R"([1]])",
                                   R"([1}{)",
                                   R"([0123])",
                                   R"(["\ud83d\ude00","\ud83d"])",
                                   R"(["a)",
                                   R"([1e5,1e999])",
                                   R"({"a":1,"b":[2]})",
                                   R"({"a":1,})",
                                   R"({"a"1})",
                                   R"({"a":1 "b":2})",
                                   R"({1:2})",
                                   R"({"a":})",
                                   R"([truth])",
                                   R"([nul)",
                                   R"([NaN,-Infinity])",
                                   R"([1/*c*/,//d
             2])",
                                   R"([1]/*c)",
                                   R"([1] / 2)",
                                   "[1]\n\xEF\xBB\xBF",
                                   "\xEF\xBB\xBF[1]",
                                   "[1,\u00a02]",
                                   R"([1,"a\x"])",
                                   "[1,\"a\nb\"]",
                                   R"([[[[]]],[{"a":[{}]}]])"}) {
        expectTheSame(text);
        expectTheSame(surroundings + text + R"(,"1":[0]}, "tail": "t" })", {"x", "1"});
        expectTheSame(surroundings + text + R"(}, "tail": ["t)", {"x", "1"});
        expectTheSame("[0,\"1\",[2," + text + "],3]", {"2", "1"});
        expectTheSame(text + ' ' + text);
    }
    for (const std::vector<std::string>& path : std::vector<std::vector<std::string>>{
             {"ab"}, {"ab", "6"}, {"ab", "7"}, {"ab", "01"}, {"ab", "-"}, {"x"}, {"y"}, {""}}) {
        expectTheSame(surroundings + "[3]}}", path);
    }
}

TEST(PartsOfTexts, OfRandomDocumentsAndTheirFaultyNeighbours) {
    std::mt19937_64 engine(1);
    const std::string characters = "[]{},:\"\\ /0a.e-\n";
    for (std::uint64_t sequence = 1; sequence <= 8; ++sequence) {
        const auto dom = test::randomDocument(sequence, 20, 4);
        std::string text = test::textOf(
            *dom, {.allowNaNInf = false, .prettyPrint = sequence % 2 == 0, .indentText = u" "});
        expectTheSame(text);
        expectTheSame(text, {"1"});
        for (int n = 0; n < 40; ++n) {
            char& c = text[engine() % text.size()];
            if (static_cast<unsigned char>(c) < 0x80) {
                const char before = std::exchange(c, characters[engine() % characters.size()]);
                expectTheSame(text, n % 2 == 0 ? std::vector<std::string>{}
                                               : std::vector<std::string>{"2"});
                c = before;
            }
        }
    }
}

TEST(PartsOfTexts, NameMalformedUtf8InItsTurn) {
    for (const std::size_t windowSize : {3U, 8U, 100U}) {
        for (const auto& [text, refusal] : std::vector<std::pair<std::string, std::string>>{
                 {"[1,\"\xC3\xA9\xC3\"]", "6 malformed UTF-8 at byte value 0xC3"},
                 {"[1,\"\xE6\x9D\xB1\xE6\x9D", "7 malformed UTF-8 at byte value 0xE6"},
                 {"[1\xFF]", "2 malformed UTF-8 at byte value 0xFF"},
                 {"[1] \x80", "4 malformed UTF-8 at byte value 0x80"},
                 {"[x" + std::string(100, ' ') + "\x80]", "1 unknown word 'x'"}}) {
            const Outcome outcome = InParts(text, {}, {}, windowSize).read();
            EXPECT_EQ(outcome.refusal, refusal) << windowSize;
        }
    }
}

TEST(PartsOfTexts, OfAMillionLevels) {
    const std::string text = std::string(1'000'000, '[') + std::string(1'000'000, ']') + ",[1]]";
    EXPECT_EQ(InParts('[' + text, {"1"}, {}, 1000).read(), (Outcome{"1\n", ""}));
}

/// Lines one by one through the ordinary reader.
std::string linesOneByOne(const std::string& text, const ReadOptions& options, bool skipBad) {
    std::string outcome;
    std::size_t record = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = text.substr(begin, end - begin);
        if (line.find_first_not_of(" \t\r") != std::string::npos) {
            try {
                outcome += test::textOf(parse_text(u"", line, options)) + '\n';
            } catch (const ParseError& error) {
                outcome += std::to_string(record) + ' ' +
                           std::to_string(begin + error.fields().byte) + '\n';
                if (!skipBad) {
                    break;
                }
            }
            ++record;
        }
        begin = end + 1;
    }
    return outcome;
}

std::string linesAtOnce(const std::string& text, const ReadOptions& options, bool skipBad) {
    RecordReader reader(options);
    const Lines lines = reader.readLines(text, true, skipBad, 1000);
    EXPECT_EQ(lines.badCount, lines.described.size());
    std::string outcome;
    std::size_t good = 0;
    for (std::size_t record = 0, bad = 0; record < lines.count + lines.badCount; ++record) {
        if (bad < lines.badCount && lines.described[bad].record == record) {
            outcome += std::to_string(record) + ' ' +
                       std::to_string(lines.described[bad++].refusal.offset) + '\n';
        } else {
            outcome += test::textOf(lines.first[good++]) + '\n';
        }
    }
    return outcome;
}

TEST(JsonLines, AreTextsOfTheirOwn) {
    std::mt19937_64 engine(2);
    const std::vector<std::string> lines = {"",
                                            " \t",
                                            "\r",
                                            "1",
                                            " 2 ",
                                            "[3]\r",
                                            R"({"a":"b"})",
                                            "4 5",
                                            "[6",
                                            "tru",
                                            "true",
                                            "\"7\"",
                                            "\"7",
                                            "\"\xC3\"",
                                            "\xC3\xA9",
                                            "{\"a\":\r1}",
                                            "\\",
                                            "8,",
                                            "-",
                                            "1e999",
                                            "[1,]",
                                            "]",
                                            "\"\xE6\x9D\xB1\"",
                                            "\xFF",
                                            "[\"\\ud83d\\ude00\"]"};
    for (int n = 0; n < 400; ++n) {
        std::string text;
        for (std::size_t i = engine() % 8; i > 0; --i) {
            const bool good = engine() % 4 != 0;
            text += lines[engine() % (good ? 7 : lines.size())] + (i > 1 || n % 2 == 0 ? "\n" : "");
        }
        for (const bool skipBad : {false, true}) {
            EXPECT_EQ(linesAtOnce(text, {}, skipBad), linesOneByOne(text, {}, skipBad)) << text;
        }
        std::string root;
        const std::string expected = linesOneByOne(text, {}, false);
        try {
            const rapidjson::Document document = parse_lines(u"", text, {});
            append(root, document.Begin(), document.Size(), false);
        } catch (const ParseError& error) {
            root = std::to_string(error.fields().record.value()) + ' ' +
                   std::to_string(error.fields().byte) + '\n';
        }
        EXPECT_TRUE(expected.ends_with(root)) << root << expected;
    }
}

TEST(JsonLines, HaveMarksAndCommentsWhereTextsMay) {
    const std::string text = "\xEF\xBB\xBF// c\n1 /* d */\n/* e */ /* f */\n2\n\xEF\xBB\xBF"
                             "3\n";
    EXPECT_EQ(test::messageOf<ParseError>([&] { parse_lines(u"l", text, {}); }),
              "l:1:1: comments are not allowed (byte 3, record 0)");
    EXPECT_EQ(test::messageOf<ParseError>([&] { parse_lines(u"l", text, relaxed); }),
              "l:5:1: expected a value, found U+FEFF (byte 36, record 2)");
    EXPECT_EQ(test::textOf(parse_lines(u"", text.substr(0, 36), relaxed)), "[1,2]");
    EXPECT_EQ(test::messageOf<ParseError>([&] { parse_lines(u"", "1\n[2\n3]", {}); }),
              "2:3: unexpected end of line, expected ',' or ']' (byte 4, record 1)");
    EXPECT_EQ(test::messageOf<ParseError>([&] { parse_lines(u"", "1\n2 3\n", {}); }),
              "2:3: expected the end of the line (byte 4, record 1)");
}

TEST(JsonLines, OfManyChunksAreInOrder) {
    std::string text;
    std::string expected;
    for (int i = 0; i < 400'000; ++i) {
        text += std::to_string(i) + "\n";
        expected += (i == 0 ? "" : ",") + std::to_string(i);
    }
    EXPECT_EQ(test::textOf(parse_lines(u"", text, {})), '[' + expected + ']');
    text += "x\n";
    EXPECT_EQ(test::messageOf<ParseError>([&] { parse_lines(u"", text + "y", {}); }),
              "400001:1: unknown word 'x' (byte " + std::to_string(text.size() - 2) +
                  ", record 400000)");
}

TEST(TextPositions, DoNotDependOnWhereATextIsCut) {
    std::mt19937_64 engine(3);
    std::vector<std::string> pieces = {
        "\n", "\r", "\r\n", "a", "\xC3\xA9", "\xF0\x9F\x98\x80", "                    "};
    for (int n = 0; n < 200; ++n) {
        if (n == 150) {
            pieces.insert(pieces.end(), {std::string(5000, '\n'), test::repeat("\xC3\xA9", 5000)});
        }
        const std::size_t most = n < 180 ? 40 : 9000;
        std::string text = n % 3 == 0 ? "\xEF\xBB\xBF" : "";
        for (std::size_t i = engine() % 60; i > 0; --i) {
            text += pieces[engine() % pieces.size()];
        }
        LineAndColumn slow;
        for (std::size_t i = n % 3 == 0 ? 3 : 0; i < text.size(); ++i) {
            const bool lfNext = i + 1 < text.size() && text[i + 1] == '\n';
            if (text[i] == '\n' || (text[i] == '\r' && !lfNext)) {
                slow = {slow.line + 1, 1};
            } else {
                slow.column += (static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U ? 1 : 0;
            }
        }
        TextPosition position;
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t size = 1 + engine() % most;
            position.advance(std::string_view(text).substr(at, size));
            at = std::min(at + size, text.size());
            EXPECT_EQ(position.byte(), at);
        }
        EXPECT_EQ(position.place(false).line, slow.line) << text;
        EXPECT_EQ(position.place(false).column, slow.column) << text;
    }
}

TEST(ParseErrors, CarryTheirParts) {
    const test::TemporaryFolder folder;
    const std::string path = folder / "na\nme.json";
    test::writeBytes(path, "[1,\n 2 x]");
    try { // thrown in one library, through another, into this program
        (void)test::tree::read_file(test::u16(path), {});
        FAIL();
    } catch (const ParseError& error) {
        const ParseErrorFields& fields = error.fields();
        EXPECT_EQ(fields.source, path);
        EXPECT_EQ(fields.line, 2U);
        EXPECT_EQ(fields.column, 4U);
        EXPECT_EQ(fields.byte, 7U);
        EXPECT_EQ(fields.record, std::nullopt);
        EXPECT_EQ(fields.reason, "expected ',' or ']'");
        EXPECT_EQ(error.what(), folder / "na\\u000Ame.json:2:4: expected ',' or ']' (byte 7)");
    }
}

TEST(BigIntegers, AreRoundedRefusedOrMarked) {
    const struct {
        std::string number;
        bool isBig;
    } cases[] = {{"18446744073709551615", false},
                 {"18446744073709551616", true},
                 {"-9223372036854775808", false},
                 {"-9223372036854775809", true},
                 {"1" + std::string(30, '0'), true},
                 {"1" + std::string(30, '0') + ".0", false},
                 {"1e30", false},
                 {"123456789012345678901234567890e-1", false}};
    for (const auto& [number, isBig] : cases) {
        const std::string text = "[0, " + number + "]";
        EXPECT_EQ(
            test::messageOf<ParseError>([&] { parse_text(u"", text, {}, BigIntegers::Refuse); }),
            isBig ? "1:5: integer beyond 64 bits (byte 4)" : "no exception");
        RecordReader reader({});
        const Records records = reader.readElements({text, true}, 1, text.size(), Due::FirstOrEnd);
        ASSERT_EQ(records.count, 2U);
        EXPECT_FALSE(base::RawValue::isBigInteger(records.first[0]));
        EXPECT_EQ(base::RawValue::isBigInteger(records.first[1]), isBig) << number;
        EXPECT_EQ(records.first[1].GetDouble(), std::strtod(number.c_str(), nullptr));
        EXPECT_EQ(parse_text(u"", text, {})[1].IsDouble(), records.first[1].IsDouble());
    }
}

} // namespace
