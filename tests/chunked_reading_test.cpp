/// Reading a text in chunks: the same document, the same refusal, as in one go.

#include "fuzz/oracle/identical.hpp"
#include "support/failing_machine.hpp"
#include "support/random_json.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

namespace {

using test::ReadOptions;

const ReadOptions relaxed = {
    .allowComments = true, .allowTrailingCommas = true, .allowNaNInf = true};

void expectTheSame(const std::string& text) {
    for (const ReadOptions& options : {ReadOptions(), relaxed}) {
        const fuzz::Outcome whole = fuzz::readPlainly(text, options);
        for (const std::size_t chunkSize : {10U, 40U, 300U}) {
            EXPECT_TRUE(fuzz::readInChunks(text, options, chunkSize) == whole)
                << chunkSize << ' ' << text;
        }
    }
}

std::string randomText(std::uint64_t sequence, bool indented) {
    const auto dom = test::randomDocument(sequence, 60, 4);
    return test::textOf(*dom, {.allowNaNInf = false, .prettyPrint = indented, .indentText = u"\t"});
}

TEST(ChunkedReading, OfRandomTextsAndTheirFaultyNeighbours) {
    std::mt19937_64 engine(1);
    const std::string characters = "[]{},:\"\\ /0a\n\xC3";
    for (std::uint64_t sequence = 1; sequence <= 6; ++sequence) {
        std::string text = randomText(sequence, sequence % 2 == 0);
        ASSERT_GT(text.size(), 2000U);
        expectTheSame(text);
        for (int n = 0; n < 20; ++n) {
            char& c = text[engine() % text.size()];
            if (static_cast<unsigned char>(c) < 0x80) {
                const char before = c;
                c = characters[engine() % characters.size()];
                expectTheSame(text);
                c = n < 15 ? before : c; // later ones have several faults
            }
        }
    }
}

TEST(ChunkedReading, WherePlacesToBeginAreMisleading) {
    const std::string numbers = test::repeat("1,2,", 200) + "3";
    const std::string records = test::repeat(R"({"a":[1,{"b":2}]},)", 100) + "{}";
    // NOLINTBEGIN(performance-inefficient-string-concatenation)
    for (const std::string& text : {
             numbers, '[' + numbers + ']', '[' + numbers + "],4", '[' + numbers + ",]",
             "[\"" + numbers + "\"]", R"({"list":[)" + records + R"(],"more":[)" + records + "]}",
             R"([{"list":[)" + records + R"(]},[)" + numbers + R"(],"x"])",
             R"(["{\"a\":1},)" + test::repeat(R"({\"a\":1},)", 100) + "\"]",
             '[' + test::repeat(R"("a","b",)", 100) + R"("c"])",
             '[' + test::repeat(R"({"a":"b","c":"d"},)", 100) + "1]",
             "[/*" + records + "*/" + records + ",NaN,]",
             "[1" + test::repeat(" // 1,2,[3,4]\n,2", 100) + ']',
             // A place behind a comma, in an object, that seems to be followed by elements.
             '[' + test::repeat("{\"b\":6,\"a\": // ,\n 5,\"c\":7},", 100) + "1]",
             test::repeat("[1,", 200) + "2" + test::repeat("]", 200),
             test::repeat("[[1],", 200) + "2" + test::repeat("]", 200), test::repeat("[", 2000),
             std::string("[1111111111111,\xEF\xBB\xBF") + "2,3]", // a mark at the start only
         }) {
        expectTheSame(text);
    }
    // NOLINTEND(performance-inefficient-string-concatenation)
}

/// Lets every N-th allocation fail.
/// @return how often the text was not read for it.
long failuresAmid(const std::string& text, std::size_t chunkSize) {
    const auto read = [&](unsigned faults) {
        const test::Faults failing(faults);
        return ostra::io::json::core::readInChunks(u"", text, {}, chunkSize);
    };
    const rapidjson::Document whole = read(test::noFault); // wakes oneTBB, not to fail at that
    long failures = 0;
    bool failed = true;
    for (long n = 1; failed; ++n) {
        try {
            test::left = n;
            const rapidjson::Document document = read(test::news);
            failed = test::left <= 0;
            EXPECT_TRUE(fuzz::identical(document, whole)) << n; // what was read ahead is not missed
        } catch (const std::bad_alloc&) {
            ++failures;
        }
    }
    return failures;
}

TEST(ChunkedReading, WhenMemoryRunsOut) {
    EXPECT_GT(failuresAmid(randomText(7, false), 100), 10);
    // Large chunks read in vain: their memory comes back in two parts, used and not.
    std::string array = "[1";
    for (int n = 0; n < 10'000; ++n) {
        array += ",1";
    }
    array += "],";
    std::string text = "[\"";
    for (int n = 0; n < 9; ++n) {
        text += array;
    }
    EXPECT_GT(failuresAmid(text + "\"]", array.size()), 5);
}

} // namespace
