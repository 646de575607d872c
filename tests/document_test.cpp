/// Whole documents in and out: reading, writing, the digits of doubles.

#include "support/failure.hpp"
#include "support/files.hpp"
#include "support/text.hpp"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <cmath>
#include <random>

namespace {

using namespace test;
using testing::HasSubstr;
using testing::StartsWith;

tree::DOM documentOf(double value) {
    tree::DOM dom;
    dom.document.SetDouble(value);
    return dom;
}

TEST(Document, StartsEmptyAndKeepsItsValuesWhenMoved) {
    const std::shared_ptr<tree::DOM> shared = tree::make_dom_ptr();
    EXPECT_TRUE(shared->document.IsNull());
    EXPECT_TRUE(shared->buffer.empty());
    EXPECT_EQ(shared.use_count(), 1);
    EXPECT_EQ(textOf(*shared), "null");
    EXPECT_EQ(textOf(*shared, {.prettyPrint = true, .indentText = u"  "}), "null");

    tree::DOM parsed = parse(R"({"a": ["a text that is longer than a value holds inside"]})");
    const rapidjson::Value* inner = &parsed.document["a"][0];
    *shared = std::move(parsed);
    EXPECT_EQ(inner, &shared->document["a"][0]);
    EXPECT_EQ(textOf(*shared), R"({"a":["a text that is longer than a value holds inside"]})");
}

TEST(Reading, KeepsTheBytesOfAFile) {
    const TemporaryFolder folder;
    const std::string bytes = "\xEF\xBB\xBF{\"k\": \"\xE6\x9C\xAD\"}\n\n";
    writeBytes(folder / "a.json", bytes);
    const tree::DOM dom = tree::read_file(u16(folder / "a.json"), {});
    EXPECT_EQ(std::string(dom.buffer.begin(), dom.buffer.end()), bytes);
    EXPECT_EQ(textOf(dom), "{\"k\":\"\xE6\x9C\xAD\"}");
    EXPECT_EQ(parse(" [1]").buffer.size(), 4U);
}

TEST(Reading, PassesOnWhatTheHostReports) {
    const TemporaryFolder folder;
    const std::string bad = folder / "bad.json";
    writeBytes(bad, "{\n \"a\": 1 2}");
    EXPECT_THAT(messageOf([&] { tree::read_file(u16(bad), {}); }), StartsWith(bad + ":2:9: "));
    EXPECT_THAT(messageOf([] { parse("[1,"); }), StartsWith("1:4: "));
    EXPECT_NE(messageOf([] { parse(""); }), "no exception");
    EXPECT_THAT(messageOf([&] { tree::read_file(u16(folder / "none.json"), {}); }),
                HasSubstr("none.json"));
    EXPECT_THAT(messageOf([&] { tree::LevelReader::MakeFileReaderPtr(u16(bad), {}); }),
                StartsWith(bad + ":2:9: "));
    EXPECT_EQ(
        textOf(parse("[1,/**/NaN,]",
                     {.allowComments = true, .allowTrailingCommas = true, .allowNaNInf = true})),
        "[1,null]");
}

TEST(Writing, FormsOfTheText) {
    const std::string text = R"({"a":[1,{},[]],"b":{"c":null}})";
    const tree::DOM dom = parse(text);
    const struct {
        bool pretty;
        const char16_t* indent;
        std::string expected;
    } cases[] = {
        {false, u"\t", text},
        {true, u"\t\t",
         "{\n\t\t\"a\": [\n\t\t\t\t1,\n\t\t\t\t{},\n\t\t\t\t[]\n\t\t],\n\t\t\"b\": {\n"
         "\t\t\t\t\"c\": null\n\t\t}\n}"},
        // Only the first byte counts, once per byte: a space and a tab are two spaces.
        {true, u" \t",
         "{\n  \"a\": [\n    1,\n    {},\n    []\n  ],\n  \"b\": {\n    \"c\": null\n  }\n}"},
        {true, u"", "{\n\"a\": [\n1,\n{},\n[]\n],\n\"b\": {\n\"c\": null\n}\n}"},
        // Not checked for being white space, whatever the build.
        {true, u"--",
         "{\n--\"a\": [\n----1,\n----{},\n----[]\n--],\n--\"b\": {\n----\"c\": null\n--}\n}"},
    };
    for (const auto& [pretty, indent, expected] : cases) {
        const WriteOptions options{.prettyPrint = pretty, .indentText = indent};
        EXPECT_EQ(textOf(dom, options), expected);
        const TemporaryFolder folder;
        tree::write_file(dom, u16(folder / "out.json"), options);
        EXPECT_EQ(bytesOf(folder / "out.json"), expected);
    }
}

TEST(Writing, EscapesWhatJsonDemandsAndNothingElse) {
    std::string all;
    for (char c = 1; c < 0x7f; ++c) {
        all += c;
    }
    all += '\0';
    all += "\x7f/\u00e9\U0001F600";
    tree::DOM dom;
    dom.document.SetString(all.data(), all.size(), dom.document.GetAllocator());
    const std::string text = textOf(dom);
    EXPECT_THAT(text,
                StartsWith(R"("\u0001\u0002\u0003\u0004\u0005\u0006\u0007\b\t\n\u000B\f\r\u000E)"));
    EXPECT_THAT(text, HasSubstr(R"(\u001A\u001B\u001C\u001D\u001E\u001F !\"#)"));
    EXPECT_THAT(text, HasSubstr(R"([\\])"));
    EXPECT_THAT(text, HasSubstr("\\u0000\x7f/\u00e9\U0001F600\""));
    EXPECT_EQ(std::string(parse(text).document.GetString(), all.size()), all);
}

TEST(Writing, NonFiniteNumbersAreNullOrWords) {
    const tree::DOM dom = parse("[NaN,-NaN,Infinity,-Infinity]", {.allowNaNInf = true});
    EXPECT_EQ(textOf(dom, {.allowNaNInf = true}), "[NaN,NaN,Infinity,-Infinity]");
    EXPECT_EQ(textOf(dom), "[null,null,null,null]");
    EXPECT_EQ(textOf(dom, {.allowNaNInf = true, .prettyPrint = true}),
              "[\nNaN,\nNaN,\nInfinity,\n-Infinity\n]");
    EXPECT_EQ(textOf(dom, {.prettyPrint = true}), "[\nnull,\nnull,\nnull,\nnull\n]");
}

TEST(Digits, AreThoseThatPeopleRecognise) {
    for (const std::string text :
         {"0.0", "-0.0", "1.0", "-12.5", "0.30000000000000004", "123456789012345680000.0",
          "100000000000000000000.0", "1e21", "1.5e21", "0.000001", "0.00000123", "1e-7", "1.23e-7",
          "5e-324", "2.2250738585072014e-308", "-1.7976931348623157e308", "9007199254740992.0",
          "9223372036854776000.0"}) {
        EXPECT_EQ(textOf(parse(text)), text);
    }
}

/// RapidJSON's own text of a double: the layout to keep, with digits that may be worse.
std::string rapidjsonText(double value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.Double(value);
    return {buffer.GetString(), buffer.GetSize()};
}

std::string digitsOf(const std::string& text) {
    std::string digits;
    for (const char c : text.substr(0, text.find('e'))) {
        digits += c >= '0' && c <= '9' ? std::string(1, c) : std::string();
    }
    digits.erase(0, digits.find_first_not_of('0'));
    return digits.erase(digits.find_last_not_of('0') + 1);
}

/// The digits of the shortest and closest decimal, by the standard library's general algorithm.
std::string closestDigits(double value) {
    char text[64];
    return digitsOf(
        {text, std::to_chars(text, text + sizeof text, value, std::chars_format::scientific).ptr});
}

TEST(Digits, AreTheClosestOfTheShortestInRapidjsonsLayout) {
    std::mt19937_64 random(20261121);
    int sameDigits = 0;
    for (int i = 0; i < 200'000; ++i) {
        // Any bits, or a decimal of some length as measurements are.
        const auto bits = random();
        const double decimal = static_cast<double>(bits % 30'000'000'000'000'000) /
                               std::pow(10.0, static_cast<double>(i % 23));
        const double value = i % 3 == 0   ? std::bit_cast<double>(bits)
                             : i % 3 == 1 ? decimal
                                          : static_cast<double>(bits % 100'000'000) * 1e-6;
        if (!std::isfinite(value)) {
            continue;
        }
        const std::string text = textOf(documentOf(value));
        const std::string theirs = rapidjsonText(value);
        ASSERT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)),
                  std::bit_cast<std::uint64_t>(value));
        ASSERT_EQ(digitsOf(text), closestDigits(value)) << text;
        if (digitsOf(text) == digitsOf(theirs)) {
            ++sameDigits;
            ASSERT_EQ(text, theirs);
        }
    }
    EXPECT_GT(sameDigits, 100'000);
}

} // namespace
