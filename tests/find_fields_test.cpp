/// Finding fields in blocks: against walking all records of the whole document.

#include "fuzz/oracle/field_model.hpp"
#include "support/failure.hpp"
#include "support/nodes.hpp"
#include "support/random_json.hpp"

#include <gtest/gtest.h>

namespace {

using namespace ostra::io::json::columns;
using ostra::io::json::columns::ReadOptions;
using ostra::io::json::columns::Source;

void expectTheSame(const std::string& text) {
    for (const std::size_t depth : {std::size_t{1}, std::size_t{2}, SIZE_MAX}) {
        const std::string expected = fuzz::blocks::foundSlowly(text, depth, {});
        for (const std::size_t blockSize : {3U, 60U, 1'000'000U}) {
            for (const std::size_t threads : {1U, 4U}) {
                EXPECT_EQ(fuzz::blocks::foundInBlocks(
                              text, depth, {.threads = threads, .block_size = blockSize}),
                          expected)
                    << blockSize << ' ' << threads << ' ' << text.substr(0, 2000);
            }
        }
    }
}

TEST(FindFields, OfRandomRecords) {
    for (std::uint64_t sequence = 1; sequence <= 5; ++sequence) {
        expectTheSame(test::textOf(*test::randomDocument(sequence, 25, 4), {.allowNaNInf = false}));
    }
}

TEST(FindFields, OfTypesBesideEachOther) {
    const std::vector<std::string> values = {"null",
                                             "true",
                                             "1",
                                             "-1",
                                             "9007199254740993",
                                             "18446744073709551615",
                                             "0.5",
                                             R"("t")",
                                             "[]",
                                             "[null]",
                                             "[1,null]",
                                             "[0.5]",
                                             R"(["t"])",
                                             "[true,1]",
                                             "[[1]]",
                                             "[{}]",
                                             "{}",
                                             R"({"x":{"y":1}})",
                                             R"({"x":2,"x":{"z":3}})"};
    for (const std::string& first : values) {
        for (const std::string& second : values) {
            const std::string pair = R"({"a":)" + first + R"(},{"b~/":0,"a":)" + second + "}";
            expectTheSame("[" + pair + "]");
            expectTheSame("[" + pair + R"(,{"a":-1},{"a":0.5},7,[1],{"a":{"x":{}}}])");
        }
    }
}

TEST(FindFields, PointersOfAnyKeysAndLines) {
    const std::string text = "{\"a~b\":{\"/\":1}}\n\n{\"\":[]}\n{\"big\":1e400}\n";
    const auto found =
        find_fields(Source::memory(text), {}, {.form = Form::Lines, .bad_lines = BadLines::Skip});
    std::string pointers;
    for (const FoundField& one : found) {
        pointers += one.pointer + ' ';
    }
    EXPECT_EQ(pointers, "/a~0b/~1 / ");
}

TEST(FindFields, HugeIntegersAreTextsUnlessTheyMayBeRounded) {
    const std::string text = R"([{"a":100000000000000000000,"b":[1,-100000000000000000000]}])";
    for (const auto& [huge, wanted] : {std::pair(HugeIntegers::Exact, Want::Json),
                                       std::pair(HugeIntegers::AsDouble, Want::Double)}) {
        for (const FoundField& one :
             find_fields(Source::memory(text), {}, {.huge_integers = huge})) {
            EXPECT_EQ(one.type.want, wanted) << one.pointer;
        }
    }
}

TEST(FindFields, LimitsAreErrorsThatNameThem) {
    std::string text = "[";
    for (int i = 0; i < 300; ++i) {
        text += R"({"k":0,"f)" + std::to_string(i / 3) + R"(":1},)";
    }
    text.back() = ']';
    const Source source = Source::memory(text);
    EXPECT_EQ(find_fields(source, {.max_fields = 101}).size(), 101U);
    for (const std::size_t blockSize : {20U, 1'000'000U}) {
        const ReadOptions options{.block_size = blockSize};
        EXPECT_EQ(test::messageOf<std::length_error>(
                      [&] { static_cast<void>(find_fields(source, {.max_fields = 50}, options)); }),
                  "more than 50 fields: the next one is '/f49'");
    }
    EXPECT_THROW(static_cast<void>(find_fields(source, {.max_depth = 0})), std::invalid_argument);
}

TEST(FindFields, OfDeepRecords) {
    constexpr std::size_t depth = 100'000;
    std::string text = "[";
    for (std::size_t i = 0; i < depth; ++i) {
        text += R"({"a":)";
    }
    text += "1" + std::string(depth, '}') + ']';
    const auto found = find_fields(Source::memory(text));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].path.size(), depth);
    EXPECT_EQ(find_fields(Source::memory(text), {.max_depth = 2}).at(0).pointer, "/a/a");
}

} // namespace
