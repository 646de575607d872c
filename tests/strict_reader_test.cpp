/// The fast reader against the plain one: the same documents to the bit, the same refusals.

#include "fuzz/oracle/identical.hpp"
#include "json_traps.hpp"
#include "support/random_json.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

/// A thread that outlives the library's own variables, as the workers of a pool do: built before
/// them, this one is destroyed behind them.
struct LastThread {
    std::thread thread;
    std::atomic<bool> hasRead = false, mayEnd = false;
    ~LastThread() {
        mayEnd = true;
        if (thread.joinable()) {
            thread.join();
        }
    }
};
[[gnu::init_priority(101)]] LastThread lastThread;

using fuzz::identical;
using fuzz::Outcome;
using test::repeat;

std::string shortened(const std::string& text) {
    return text.size() < 200 ? text : text.substr(0, 200) + "... " + std::to_string(text.size());
}

/// The fast reader takes just the containers that the plain one takes, and makes the same of them.
void expectTheSame(const std::string& text) {
    // A block of exactly this size, so that reading past its end is seen.
    const std::vector<char> block(text.begin(), text.end());
    const std::string_view exactly(block.data(), block.size());
    const Outcome plain = fuzz::readPlainly(exactly, {});
    rapidjson::Document document;
    const bool read = ostra::io::json::core::readStrictly(exactly, text.size() + 1, document);
    const bool isContainer =
        plain.document && (plain.document->IsArray() || plain.document->IsObject());
    ASSERT_EQ(read, isContainer) << shortened(text);
    ASSERT_TRUE(!read || identical(document, *plain.document)) << shortened(text);
    ASSERT_TRUE(fuzz::readInChunks(exactly, {}, text.size() + 1) == plain) << shortened(text);
}

std::string randomText(std::uint64_t sequence) {
    static const std::array<std::u16string, 4> indents = {u"", u"\t", u"  ", u"          "};
    const auto dom = test::randomDocument(sequence, 3 + sequence % 5 * 8, 4);
    return test::textOf(*dom, {false, sequence % 4 != 0, indents[sequence % 4]});
}

TEST(StrictReader, OfRandomTexts) {
    for (std::uint64_t sequence = 1; sequence <= 300; ++sequence) {
        expectTheSame(randomText(sequence));
    }
}

TEST(StrictReader, OfTextsThatEndEarly) {
    for (std::uint64_t sequence = 1; sequence <= 12; ++sequence) {
        const std::string text = randomText(sequence);
        for (std::size_t size = 0; size < text.size(); size += 1 + size / 500) {
            expectTheSame(text.substr(0, size));
        }
    }
}

TEST(StrictReader, OfTextsWithOneByteChanged) {
    const std::string bytes = "[]{},:\"\\ /0e.-+u\n\x01\xC3\x7F";
    std::mt19937_64 engine(1);
    for (std::uint64_t sequence = 1; sequence <= 12; ++sequence) {
        std::string text = randomText(sequence);
        for (std::size_t i = 0; i < text.size(); i += 1 + i / 300) {
            const char before = text[i];
            text[i] = bytes[engine() % bytes.size()];
            expectTheSame(text);
            text[i] = before;
        }
    }
}

TEST(StrictReader, OfTrapsWhereverTheyStand) {
    std::vector<std::string> all = test::goodTexts;
    all.insert(all.end(), test::badValues.begin(), test::badValues.end());
    for (const std::string& trap : all) {
        const std::string value = trap.starts_with("\xEF\xBB\xBF") ? trap.substr(3) : trap;
        expectTheSame(trap);
        for (const std::size_t behind : {0U, 20U, 256U, 5000U}) {
            const std::string spaces(behind, ' ');
            expectTheSame('[' + spaces + value + ',' + value + spaces + ']');
            expectTheSame("{\"k\":" + value + spaces + ", " + value + ":0}" + spaces);
        }
    }
}

/// Tokens of all lengths around that of a vector register, of the copied end of the text, and of a
/// block of storage.
TEST(StrictReader, OfLongTokens) {
    std::vector<std::size_t> lengths = {200, 255, 256, 257, 2040, 2047, 2048, 2049, 70'000};
    for (std::size_t length = 0; length < 70; ++length) {
        lengths.push_back(length);
    }
    for (const std::size_t length : lengths) {
        const std::string digits(length, '7');
        for (const std::string& token :
             {'"' + std::string(length, 'x') + '"', '"' + repeat("\\n", length) + '"',
              '"' + std::string(length, 'x') + "\\ud83d\\ude00\\u00e9\\u20ac\"",
              '"' + repeat("\\uD83D\\uDE00", length % 3000) + '"', std::string(length, ' ') + '1',
              digits, '-' + digits, "0." + digits, digits + ".5e-" + std::to_string(length),
              "1e" + std::string(length, '0') + '1', "1." + std::string(length, '0') + '1'}) {
            for (const std::size_t behind : {0U, 1U, 15U, 250U, 2100U}) {
                const std::string rest = std::string(behind, '\t') + ']';
                expectTheSame('[' + token + rest);
                expectTheSame("[1,{\"" + std::string(length, 'k') + "\":" + token + "}" + rest);
            }
            expectTheSame('[' + token);
        }
    }
}

TEST(StrictReader, OfDeepAndWideContainers) {
    for (const std::size_t count : {10U, 1000U, 3000U, 100'000U}) {
        expectTheSame(repeat("[", count) + repeat("]", count));
        expectTheSame(repeat("[{\"\":", count) + "[]" + repeat("}]", count));
        expectTheSame(repeat("[ ", count) + repeat("]\n", count) + ' ');
        expectTheSame(repeat("[", count) + repeat("]", count - 1));
        expectTheSame('[' + repeat("0,", count) + "0]");
        expectTheSame('{' + repeat("\"\":{},", count) + "\"\":[]}");
    }
}

TEST(StrictReader, OfRandomNumbers) {
    std::mt19937_64 engine(7);
    const auto below = [&engine](std::size_t limit) { return engine() % limit; };
    const auto digits = [&below](std::size_t count) {
        std::string result;
        for (std::size_t i = 0; i < count; ++i) {
            result += static_cast<char>('0' + below(10));
        }
        return result;
    };
    std::string text = "[0";
    for (int n = 0; n < 50'000; ++n) {
        text += below(2) == 0 ? "," : ",-";
        text += std::to_string(1 + below(9)) + digits(below(4) == 0 ? below(20) : below(6));
        if (below(4) != 0) {
            text += '.' + (below(5) == 0 ? std::string(below(6), '0') : "") + digits(1 + below(18));
        }
        if (below(3) == 0) {
            text += (below(2) == 0 ? "e" : "E-") + std::to_string(below(below(3) == 0 ? 290 : 25));
        }
    }
    expectTheSame(text + ']');
}

/// Each thread keeps a stack of values between documents, small and large ones.
TEST(StrictReader, OnThreadsThatEnd) {
    const std::string large = '[' + repeat("[1,2],", 60'000) + "3]";
    std::vector<std::jthread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&large] {
            for (const std::string& text : {std::string("[1]"), large, std::string("[[2]]")}) {
                expectTheSame(text);
            }
        });
    }
}

/// Checked where leaks are: nothing else would notice.
TEST(StrictReader, OnAThreadThatEndsAfterMain) {
    EXPECT_EXIT(
        {
            lastThread.thread = std::thread([] {
                expectTheSame("[1]");
                lastThread.hasRead = true;
                while (!lastThread.mayEnd) {
                    std::this_thread::yield();
                }
            });
            while (!lastThread.hasRead) {
                std::this_thread::yield();
            }
            std::exit(0); // NOLINT(concurrency-mt-unsafe): nothing else runs
        },
        ::testing::ExitedWithCode(0), "");
}

} // namespace
