/// Reading and writing against a table of classic traps, and against what arises from it by
/// cutting, changing and joining texts.

#include "json_traps.hpp"
#include "support/text.hpp"

#include "platform/json_core.hpp"

#include <gtest/gtest.h>

#include <optional>

namespace {

namespace core = ostra::io::json::core;
using namespace std::string_literals;

/// The document as text again; empty if it is refused.
std::optional<std::string> reading(const std::string& bytes,
                                   const test::ReadOptions& options = {}) {
    test::tree::DOM dom;
    try {
        dom.document = core::parse_json_document(u"", {bytes.begin(), bytes.end()}, options);
    } catch (const std::exception& error) {
        EXPECT_NE(std::string(error.what()).find("(byte "), std::string::npos) << error.what();
        return std::nullopt;
    }
    return test::textOf(dom, {options.allowNaNInf, false, u""});
}

TEST(Conformance, TakesWhatIsJsonAndWritesItBack) {
    for (const std::string& text : test::goodTexts) {
        const auto once = reading(text);
        ASSERT_TRUE(once) << text.substr(0, 80);
        EXPECT_EQ(reading(*once), once) << text.substr(0, 80);
        const bool marked = text.starts_with("\xEF\xBB\xBF");
        const std::string bare = marked ? text.substr(3) : text;
        EXPECT_EQ(reading("[" + bare + "]"), "[" + *once + "]");
        EXPECT_EQ(reading("{\"k\":\r" + bare + "}"), "{\"k\":" + *once + "}");
    }
}

TEST(Conformance, RefusesWhatIsNot) {
    for (const std::string& text : test::badValues) {
        EXPECT_FALSE(reading(text)) << text;
        if (text.find_first_not_of(' ') != std::string::npos) {
            EXPECT_FALSE(reading("[" + text + "]")) << text;
            EXPECT_FALSE(reading("[0, " + text + ",\"\"]")) << text;
            EXPECT_FALSE(reading("{\"a\":" + text + "}")) << text;
            EXPECT_FALSE(reading("{\"a\":[{\"b\":" + text + ",\"c\":1}]}")) << text;
        }
    }
}

/// A text ends where its outermost container does: nothing shorter is one, and nothing more may
/// follow.
TEST(Conformance, RefusesEveryPieceOfAContainer) {
    for (const std::string& text : test::goodTexts) {
        const std::size_t end = text.find_last_not_of(" \t\r\n");
        if (text.size() > 1000 || (text[end] != ']' && text[end] != '}')) {
            continue;
        }
        for (std::size_t length = 0; length <= end; ++length) {
            EXPECT_FALSE(reading(text.substr(0, length))) << text << ' ' << length;
        }
        EXPECT_FALSE(reading(text + text));
    }
}

/// Whatever becomes of a text whose bytes are changed: it is refused, or read, written and read
/// again to the same.
TEST(Conformance, NeverLosesWhatItTakes) {
    const std::string bytes =
        "\0\t\n \"#'*+,-./0189:AEINTU[\\]aefilnrstuy{|}~\x7F\x80\xC3\xED\xFF"s;
    std::size_t taken = 0;
    for (const std::string& text : test::goodTexts) {
        for (std::size_t i = 0; text.size() < 100 && i < text.size(); ++i) {
            for (const char byte : bytes) {
                for (const bool replace : {true, false}) {
                    std::string changed = text;
                    changed.replace(i, replace ? 1 : 0, 1, byte);
                    for (const bool relaxed : {false, true}) {
                        const test::ReadOptions options{relaxed, relaxed, relaxed};
                        const auto once = reading(changed, options);
                        taken += once ? 1 : 0;
                        ASSERT_TRUE(!once || reading(*once, options) == once) << changed;
                    }
                }
            }
        }
    }
    EXPECT_GT(taken, 10'000U);
}

} // namespace
