/// Reading a text in chunks: the same document, the same refusal, as in one go.

#include "json_core/chunked_reading.hpp"
#include "support/random_json.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> newsLeft = 0; // until one fails; never from 0 on

// Not inlined, or GCC 12 sees `std::free` after `operator new` and takes it for a mistake.
[[gnu::noinline]] void giveBack(void* block) noexcept {
    std::free(block);
}

} // namespace

// NOLINTBEGIN: the standard's names and signatures
void* operator new(std::size_t size) {
    void* const block = --newsLeft == 0 ? nullptr : std::malloc(size);
    return block != nullptr ? block : throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
    giveBack(block);
}
// NOLINTEND

namespace {

using ostra::io::json::core::readInChunks;
using test::ReadOptions;

const ReadOptions relaxed = {
    .allowComments = true, .allowTrailingCommas = true, .allowNaNInf = true};

std::string outcome(const std::string& text, const ReadOptions& options, std::size_t chunkSize) {
    test::tree::DOM dom;
    try {
        dom.document = readInChunks(u"source", text, options, chunkSize);
    } catch (const std::runtime_error& error) {
        return std::string("refused: ") + error.what();
    }
    return test::textOf(dom, {.allowNaNInf = true, .prettyPrint = false, .indentText = {}});
}

void expectTheSame(const std::string& text) {
    for (const ReadOptions& options : {ReadOptions(), relaxed}) {
        const std::string whole = outcome(text, options, text.size() + 1);
        for (const std::size_t chunkSize : {10U, 40U, 300U}) {
            EXPECT_EQ(outcome(text, options, chunkSize), whole) << chunkSize << ' ' << text;
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
    const auto repeated = [](const std::string& text, std::size_t count) {
        std::string all;
        for (std::size_t n = 0; n < count; ++n) {
            all += text;
        }
        return all;
    };
    const std::string numbers = repeated("1,2,", 200) + "3";
    const std::string records = repeated(R"({"a":[1,{"b":2}]},)", 100) + "{}";
    // NOLINTBEGIN(performance-inefficient-string-concatenation)
    for (const std::string& text : {
             numbers, '[' + numbers + ']', '[' + numbers + "],4", '[' + numbers + ",]",
             "[\"" + numbers + "\"]", R"({"list":[)" + records + R"(],"more":[)" + records + "]}",
             R"([{"list":[)" + records + R"(]},[)" + numbers + R"(],"x"])",
             R"(["{\"a\":1},)" + repeated(R"({\"a\":1},)", 100) + "\"]",
             '[' + repeated(R"("a","b",)", 100) + R"("c"])",
             '[' + repeated(R"({"a":"b","c":"d"},)", 100) + "1]",
             "[/*" + records + "*/" + records + ",NaN,]",
             "[1" + repeated(" // 1,2,[3,4]\n,2", 100) + ']',
             // A place behind a comma, in an object, that seems to be followed by elements.
             '[' + repeated("{\"b\":6,\"a\": // ,\n 5,\"c\":7},", 100) + "1]",
             repeated("[1,", 200) + "2" + repeated("]", 200),
             repeated("[[1],", 200) + "2" + repeated("]", 200), repeated("[", 2000),
             std::string("[1111111111111,\xEF\xBB\xBF") + "2,3]", // a mark at the start only
         }) {
        expectTheSame(text);
    }
    // NOLINTEND(performance-inefficient-string-concatenation)
}

/// Lets every N-th allocation fail.
/// @return how often the text was not read for it.
long failuresAmid(const std::string& text, std::size_t chunkSize) {
    const std::string whole = outcome(text, {}, chunkSize); // wakes oneTBB, not to fail at that
    long failures = 0;
    bool failed = true;
    for (long n = 1; failed; ++n) {
        try {
            newsLeft = n;
            const rapidjson::Document document = readInChunks(u"", text, {}, chunkSize);
            failed = newsLeft <= 0;
            newsLeft = 0;
            EXPECT_EQ(test::textOf(document), whole); // what was read ahead is not missed
        } catch (const std::bad_alloc&) {
            ++failures;
        }
    }
    return failures;
}

TEST(ChunkedReading, WhereMemoryRunsOut) {
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
