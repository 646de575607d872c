/// The cursor against a slow recursive walker, and documents copied by lists alone.

#include "examples/list_copy.hpp"
#include "fuzz/oracle/lookups.hpp"
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

/// Visits every value by `cd` and compares its text, type and lists with the value itself.
void walk(const Value& value, LevelReader& at) {
    ASSERT_EQ(at.getCurrentType(), value.GetType());
    ASSERT_EQ(textOf(at), textOf(value));
    std::size_t index = 0;
    const auto visit = [&](const Value& child) {
        at.cd(index++);
        walk(child, at);
        at.cdup();
    };
    if (value.IsObject()) {
        std::vector<std::u16string> keys;
        for (const auto& member : value.GetObject()) {
            keys.push_back(
                fl::i18n::utf8_to_ustring(member.name.GetString(), member.name.GetStringLength()));
            visit(member.value);
        }
        ASSERT_EQ(at.listKeyNames(), keys);
    } else if (value.IsArray()) {
        for (const Value& element : value.GetArray()) {
            visit(element);
        }
    }
}

TEST(Cursor, AgreesWithARecursiveWalkerOnRandomDocuments) {
    for (std::uint64_t sequence = 0; sequence < 60; ++sequence) {
        const auto dom = randomDocument(sequence, 4, 4);
        const auto at = readerOn(*dom);
        ASSERT_NO_FATAL_FAILURE(walk(dom->document, *at));
        for (const std::string& name : {std::string("b"), std::string("a\0b", 3), std::string()}) {
            fuzz::checkCursorNames(*at, dom->document, name);
        }
    }
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
