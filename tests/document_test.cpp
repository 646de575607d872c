/// Whole documents in and out: reading, writing, the digits of doubles.

#include "fuzz/oracle/slow_text.hpp"
#include "support/failure.hpp"
#include "support/files.hpp"
#include "support/text.hpp"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <random>
#include <sstream>

namespace {

using namespace test;
using testing::HasSubstr;
using testing::StartsWith;

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
        EXPECT_EQ(contentOf(folder / "out.json"), expected);
    }
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

/// Doubles of all kinds, and those at the borders of the conversion.
std::vector<double> manyDoubles() {
    // Half way between two integers but for 2^-64, and the closest to an end of its interval.
    std::vector<double> all = {0, -0.0, 0x13de005bd620dfp164, 9007199254740993.0};
    for (int exponent = -1074; exponent < 1024; ++exponent) {
        const double power = std::ldexp(1.0, exponent); // its neighbours lie unevenly
        all.insert(all.end(), {std::nextafter(power, 0), power, std::nextafter(power, HUGE_VAL)});
    }
    std::mt19937_64 random(20261121);
    for (int i = 0; i < 100'000; ++i) {
        const std::uint64_t bits = random();
        const auto fewBits = bits & ~std::uint64_t{0} << bits % 64;
        all.insert(all.end(),
                   {std::bit_cast<double>(bits), std::bit_cast<double>(fewBits),
                    static_cast<double>(bits % 30'000'000'000'000'000) /
                        std::pow(10.0, static_cast<double>(i % 23)),
                    static_cast<double>(bits % 100'000'000) * 1e-6,
                    static_cast<double>(bits) * 1e13, static_cast<double>(i - 50'000) / 8});
    }
    std::erase_if(all, [](double value) { return !std::isfinite(value); });
    return all;
}

/// RapidJSON's own text of a double: the layout to keep, with digits that may be worse.
std::string rapidjsonText(double value) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.Double(value);
    return {buffer.GetString(), buffer.GetSize()};
}

TEST(Digits, AreTheClosestOfTheShortestInRapidjsonsLayout) {
    const std::vector<double> values = manyDoubles();
    tree::DOM dom;
    dom.document.SetArray();
    for (const double value : values) {
        dom.document.PushBack(value, dom.document.GetAllocator());
    }
    std::string all = textOf(dom).substr(1);
    all.back() = ',';
    std::istringstream written(all);
    std::size_t asRapidjson = 0;
    for (const double value : values) {
        std::string text;
        std::getline(written, text, ',');
        ASSERT_EQ(text, fuzz::slowText(value, false));
        ASSERT_EQ(std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)),
                  std::bit_cast<std::uint64_t>(value));
        asRapidjson += text == rapidjsonText(value) ? 1 : 0;
    }
    EXPECT_GT(asRapidjson, values.size() / 2);
}

TEST(Integers, HaveAllTheirDigits) {
    std::uint64_t power = 1;
    for (int digits = 1; digits <= 20; ++digits, power *= 10) {
        for (const std::uint64_t value :
             {power - 1, power, power + 1, 7 * power, 123 * power / 100}) {
            tree::DOM dom;
            dom.document.SetUint64(value);
            EXPECT_EQ(textOf(dom), std::to_string(value));
            const auto negative = static_cast<std::int64_t>(-value);
            dom.document.SetInt64(negative);
            EXPECT_EQ(textOf(dom), std::to_string(negative));
        }
    }
}

/// Every byte, at every place of strings of every length: in blocks of 16 bytes, in what is left of
/// one, and in strings held in 24 bytes.
TEST(Strings, AreEscapedWhereverTheEscapeStands) {
    tree::DOM dom;
    dom.document.SetArray();
    unsigned bytes = 0;
    for (std::size_t length = 0; length < 70; ++length) {
        for (std::size_t first = 0; first <= length; ++first) {
            std::string text(length, 'x');
            for (std::size_t at = first; at < length; at += 1 + first % 19) {
                text[at] = at % 2 == 0 ? static_cast<char>(bytes++) : "\n\"\\\x1f"[bytes % 4];
            }
            rapidjson::Value value;
            value.SetString(text.data(), text.size(), dom.document.GetAllocator());
            dom.document.PushBack(value, dom.document.GetAllocator());
        }
    }
    const TemporaryFolder folder; // as UTF-8: the strings are none
    tree::write_file(dom, u16(folder / "out.json"), {});
    EXPECT_TRUE(contentOf(folder / "out.json") == fuzz::slowText(dom.document));
}

} // namespace
