/// Documents copied by lists alone.

#include "examples/list_copy.hpp"
#include "support/random_json.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

namespace {

using namespace test;
using rapidjson::Value;
using tree::LevelReader;

std::unique_ptr<LevelReader> readerOn(const tree::DOM& dom) {
    return LevelReader::MakeStringReaderPtr(tree::write_string(dom, {}), {});
}

/// What a copy by lists is to be: integers that a double holds exactly become doubles.
void integersToDoubles(Value& value) {
    if (value.IsObject()) {
        for (auto& member : value.GetObject()) {
            integersToDoubles(member.value);
        }
    } else if (value.IsArray()) {
        for (Value& element : value.GetArray()) {
            integersToDoubles(element);
        }
    } else if (value.IsLosslessDouble()) {
        value.SetDouble(value.GetDouble());
    }
}

TEST(ListCopy, LosesNotOneBit) {
    for (std::uint64_t sequence = 100; sequence < 200; ++sequence) {
        const auto dom = randomDocument(sequence, 5, 4);
        const auto source = readerOn(*dom);
        const auto copy = LevelReader::MakeStringReaderPtr(u"null", {});
        const auto again = LevelReader::MakeStringReaderPtr(u"null", {});
        example::copyByLists(*source, *copy);
        integersToDoubles(dom->document);
        ASSERT_EQ(textOf(*copy), textOf(*dom));
        example::copyByLists(*copy, *again);
        ASSERT_EQ(textOf(*again), textOf(*copy));
    }
    for (const std::string scalar : {"null", "true", "\"x\"", "9007199254740993", "[]", "{}"}) {
        LevelReader source = reader(scalar);
        LevelReader copy = reader("{\"old\":[1]}");
        example::copyByLists(source, copy);
        EXPECT_EQ(textOf(copy), scalar);
    }
}

} // namespace
