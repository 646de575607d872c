/// Documents and lines as UTF-8 bytes: against the same by way of UTF-16 and files.

#include "fuzz/oracle/slow_text.hpp"
#include "support/failure.hpp"
#include "support/files.hpp"
#include "support/random_json.hpp"

#include <ostra/io/json/columns/text_io.hpp>

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace ostra::io::json::columns;
namespace core = ostra::io::json::core;

TEST(Utf8, IsWhatFilesHold) {
    const test::TemporaryFolder folder;
    for (std::uint64_t sequence = 1; sequence <= 4; ++sequence) {
        const auto dom = test::randomDocument(sequence, 200, 4);
        for (const test::WriteOptions& options :
             {test::WriteOptions{}, {.prettyPrint = true, .indentText = u"\t"}}) {
            const Utf8Text text = write_utf8(dom->document, options);
            test::tree::write_file(*dom, test::u16(folder / "file"), options);
            EXPECT_EQ(text.view(), test::contentOf(folder / "file"));
            const test::tree::DOM read = read_utf8(text.view());
            EXPECT_EQ(write_utf8(read.document, options).view(), text.view());
            EXPECT_TRUE(read.buffer.empty());
            const auto kept = read_utf8(text.view(), {.keep_text = true}).buffer;
            EXPECT_EQ(std::string(kept.begin(), kept.end()), text.view());
        }
    }
    EXPECT_EQ(Utf8Text().view(), "");
}

/// Puts the root as deep as that into the document, with others beside it.
void wrapRoot(test::tree::DOM& dom, std::size_t levels) {
    auto& pool = dom.document.GetAllocator();
    for (std::size_t level = 0; level < levels; ++level) {
        rapidjson::Value inner;
        inner.Swap(dom.document);
        if (level % 3 == 0) {
            dom.document.SetObject().AddMember("a", rapidjson::kArrayType, pool);
            dom.document.AddMember("b", inner, pool);
        } else {
            dom.document.SetArray().PushBack(inner, pool);
        }
        if (level % 3 == 2) {
            dom.document.PushBack(rapidjson::Value(7), pool);
        }
    }
}

TEST(Utf8, LongTextsAreWrittenAsByOneThread) {
    for (const std::size_t levels : {4U, 30U, 1500U}) { // in more levels than are cut up
        const auto dom = test::randomDocument(levels, 6000, 4);
        wrapRoot(*dom, levels);
        for (const test::WriteOptions& options :
             {test::WriteOptions{}, {.prettyPrint = true, .indentText = u" "}}) {
            const Utf8Text text = write_utf8(dom->document, options);
            EXPECT_GT(text.size(), std::size_t{300} << 10U);
            EXPECT_TRUE(text.view() == fuzz::slowText(dom->document, options)) << levels;
        }
    }
}

TEST(Utf8, LinesAreTheElements) {
    for (const std::size_t count : {50U, 200U, 6000U}) {
        const auto dom = test::randomDocument(count, count, 4);
        std::string expected;
        for (const rapidjson::Value& element : dom->document.GetArray()) {
            expected += test::textOf(element) + '\n';
        }
        const Utf8Text lines = write_lines(dom->document);
        EXPECT_EQ(lines.view(), expected);
        EXPECT_EQ(test::textOf(read_lines(lines.view())), test::textOf(*dom));
    }
    rapidjson::Value values(rapidjson::kArrayType);
    EXPECT_EQ(write_lines(values).view(), "");
    rapidjson::Document::AllocatorType pool;
    values.PushBack(std::numeric_limits<double>::infinity(), pool);
    EXPECT_EQ(write_lines(values).view(), "null\n");
    EXPECT_EQ(write_lines(values, true).view(), "Infinity\n");
    EXPECT_EQ(write_lines(values[0]).view(), "null\n");
}

TEST(Utf8, OptionsAndNamesReachTheReader) {
    const std::string text = "[1, // one\n 99999999999999999999]";
    EXPECT_EQ(test::messageOf<core::ParseError>([&] { read_utf8(text, {.name = "\u00e9"}); }),
              "\u00e9:1:5: comments are not allowed (byte 4)");
    TextOptions options = {.syntax = {.allowComments = true}};
    EXPECT_EQ(test::textOf(read_utf8(text, options)), "[1,100000000000000000000.0]");
    options.big_integers = core::BigIntegers::Refuse;
    EXPECT_EQ(test::messageOf<core::ParseError>([&] { read_utf8(text, options); }),
              "2:2: integer beyond 64 bits (byte 12)");
    EXPECT_EQ(
        test::messageOf<core::ParseError>([&] { read_lines("1\n99999999999999999999", options); }),
        "2:1: integer beyond 64 bits (byte 2, record 1)");
}

} // namespace
