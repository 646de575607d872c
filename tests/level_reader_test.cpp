/// The cursor: navigation and the typed lists of a level.

#include "support/failure.hpp"
#include "support/text.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <malloc.h>

namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;
using tree::LevelReader;
using Types = std::vector<rapidjson::Type>;
using InvalidPointer =
    foundation::core::except::Exception<OSTRA::io::json::common::InvalidJSONPointer, std::exception,
                                        void>;

rapidjson::Type type(int code) {
    return static_cast<rapidjson::Type>(code);
}

Types types(std::initializer_list<int> codes) {
    Types result;
    for (const int code : codes) {
        result.push_back(type(code));
    }
    return result;
}

/// The texts of the values from the current one up to the top, which `levels` steps up reach.
std::vector<std::string> climb(LevelReader& at, int levels) {
    std::vector<std::string> texts = {textOf(at)};
    for (int i = 0; i < levels; ++i) {
        at.cdup();
        texts.push_back(textOf(at));
    }
    return texts;
}

TEST(Navigation, DescendsByPositionAndPairsEveryCdWithOneCdup) {
    LevelReader at = reader(R"({"a": [1, 2, 3], "b": {}, "c": "x"})");
    const std::string root = textOf(at);
    at.cdup();
    EXPECT_EQ(textOf(at), root);
    at.cd(0);
    at.cd(5); // past the end: the same value, one level deeper
    EXPECT_THAT(climb(at, 2), ElementsAre("[1,2,3]", "[1,2,3]", root));
    at.cd(1);
    at.cd(0); // in an empty object
    EXPECT_THAT(climb(at, 2), ElementsAre("{}", "{}", root));
    at.cd(2);
    at.cd(0); // a string has no level below
    EXPECT_THAT(climb(at, 1), ElementsAre("\"x\"", root));
    at.cd(std::numeric_limits<std::size_t>::max());
    EXPECT_THAT(climb(at, 1), ElementsAre(root, root));
}

TEST(Navigation, FindsKeysDepthFirstInDocumentOrder) {
    LevelReader at = reader(R"({"a":{"x":1},"x":2,"l":[[{"y":[{"z":3}]}]],"\u0000":4,"":5})");
    const std::string root = textOf(at);
    const struct {
        std::string name;
        bool recursive;
        std::string found; // empty: nothing
        int levels;
    } cases[] = {
        {"x", true, "1", 2},
        {"x", false, "2", 1},
        {"z", true, "3", 6},
        {"z", false, "", 0},
        {std::string(1, '\0'), false, "4", 1},
        {"", true, "5", 1},
        {"nowhere", true, "", 0},
    };
    for (const auto& [name, recursive, found, levels] : cases) {
        EXPECT_EQ(at.cdNodeName(name, recursive), !found.empty()) << name;
        EXPECT_EQ(textOf(at), found.empty() ? root : found);
        EXPECT_EQ(climb(at, levels).back(), root);
    }
    at.cd(2);
    EXPECT_FALSE(at.cdNodeName(u"z", false)); // an array has no keys
    EXPECT_TRUE(at.cdNodeName(u"z", true));
    EXPECT_FALSE(at.cdNodeName(u"z", true)); // nor has a number
    EXPECT_EQ(textOf(at), "3");
}

TEST(Navigation, FollowsSelectors) {
    LevelReader at = reader(R"({"a":[{"b":7},8],"0":"zero","~/":"odd","d":1,"d":2,"":{"":3}})");
    const std::string root = textOf(at);
    const struct {
        std::string selector;
        std::string found;
        int levels;
    } cases[] = {
        {"", root, 0},  {"/a/0/b", "7", 3}, {"/0", "\"zero\"", 1}, {"/~0~1", "\"odd\"", 1},
        {"/d", "1", 1}, {"//", "3", 2},     {"#/a/1", "8", 2},     {"#/%61/1", "8", 2},
    };
    for (const auto& [selector, found, levels] : cases) {
        EXPECT_TRUE(at.cdSelector(selector)) << selector;
        EXPECT_EQ(textOf(at), found);
        EXPECT_EQ(climb(at, levels).back(), root);
    }
    for (const std::string missing : {"/a/-", "/a/2", "/a/00", "/a/01", "/a/1/x", "/nosuch",
                                      "/a/0/c", "/a/b", "/a/36893488147419103232"}) {
        EXPECT_FALSE(at.cdSelector(missing)) << missing;
        EXPECT_EQ(textOf(at), root);
    }
    for (const std::string selector : {"a", "/~", "/~2", "#/%4", "#/ "}) {
        at.cd(0);
        try {
            at.cdSelector(u16(selector));
            ADD_FAILURE() << selector;
        } catch (const InvalidPointer& error) {
            EXPECT_EQ(error.GetID(), "OSTRA:io:json:common:InvalidJSONPointer");
            EXPECT_THAT(error.GetBaseMsgIDObj().arguments,
                        ElementsAre(foundation::core::except::MessageArgument(selector)));
            EXPECT_THAT(dynamic_cast<const std::exception&>(error).what(), HasSubstr(selector));
        }
        EXPECT_THAT(climb(at, 1), ElementsAre(R"([{"b":7},8])", root));
    }
}

TEST(CurrentType, BecomesAnEmptyValueInItsPlace) {
    const std::string fresh[] = {"null", "false", "true", "{}", "[]", "\"\"", "0.0"};
    for (int code = 0; code <= 6; ++code) {
        LevelReader at = reader(R"([[1], "a"])");
        at.cd(0);
        at.setCurrentType(type(code));
        EXPECT_EQ(at.getCurrentType(), type(code));
        EXPECT_THAT(climb(at, 1), ElementsAre(fresh[code], "[" + fresh[code] + ",\"a\"]"));
        for (const int bad : {7, -1}) {
            EXPECT_THROW(at.setCurrentType(type(bad)), std::out_of_range);
        }
        EXPECT_EQ(textOf(at), "[" + fresh[code] + ",\"a\"]");
    }
}

TEST(Lists, SeeMembersElementsOrTheValueItself) {
    const struct {
        std::string level;
        std::vector<std::u16string> strings;
        std::vector<std::u16string> keys;
        Types expected;
    } cases[] = {
        {R"({"p": "s", "q": 2, "p": "t"})", {u"s", u"t"}, {u"p", u"q", u"p"}, types({5, 6, 5})},
        {R"(["x", 1, "yz", null])", {u"x", u"yz"}, {}, types({5, 6, 5, 0})},
        {R"("lone")", {u"lone"}, {}, types({5})},
        {R"("a\u0000b")", {std::u16string(u"a\0b", 3)}, {}, types({5})},
        {R"({"": "\uD83D\uDE00"})", {u"\U0001F600"}, {u""}, types({5})},
        {"null", {}, {}, types({0})},
        {"{}", {}, {}, {}},
        {"[]", {}, {}, {}},
    };
    for (const auto& [level, strings, keys, expected] : cases) {
        const LevelReader at = reader(level);
        EXPECT_EQ(at.listStrings(), strings) << level;
        EXPECT_EQ(at.listKeyNames(), keys) << level;
        EXPECT_EQ(at.listValueTypes(), expected) << level;
    }
}

/// One set operation with its values, whatever their type.
using Set = std::function<void(LevelReader&)>;

template <class T>
Set call(void (LevelReader::*operation)(const std::vector<T>&),
         const std::type_identity_t<std::vector<T>>& values) {
    return [=](LevelReader& at) { (at.*operation)(values); };
}

TEST(Sets, ReplaceMatchingEntriesAndALevelOfOne) {
    const std::string mixed = R"([1,"a",2.5,9007199254740993,-9007199254740993,true,null,"b"])";
    using Reader = LevelReader;
    const struct {
        std::string before;
        Set set;
        std::string after;
    } cases[] = {
        // The generic rules: surplus is ignored, missing values leave entries alone, a level of one
        // is replaced whatever it is.
        {mixed, call(&Reader::setDoubles, {7, 8, 9}),
         R"([7.0,"a",8.0,9007199254740993,-9007199254740993,true,null,"b"])"},
        {mixed, call(&Reader::setDoubles, {4}),
         R"([4.0,"a",2.5,9007199254740993,-9007199254740993,true,null,"b"])"},
        {mixed, call(&Reader::setDoubles, {}), mixed},
        {R"({"a":1,"b":"x","c":2,"a":3})", call(&Reader::setDoubles, {10, 20}),
         R"({"a":10.0,"b":"x","c":20.0,"a":3})"},
        {R"("text")", call(&Reader::setDoubles, {1.5, 2}), "1.5"},
        {R"("text")", call(&Reader::setDoubles, {}), R"("text")"},
        {"[]", call(&Reader::setDoubles, {1}), "[]"},
        {"{}", call(&Reader::setDoubles, {1}), "{}"},
        // What is each operation's own.
        {mixed, call(&Reader::setUint64s, {5, 6}),
         R"([1,"a",2.5,5,-9007199254740993,true,null,"b"])"},
        {mixed, call(&Reader::setInt64s, {-5, 6}),
         R"([1,"a",2.5,9007199254740993,-5,true,null,"b"])"},
        {"null", call(&Reader::setInt64s, {-5}), "-5"},
        {mixed, call(&Reader::setStrings, {u"", u"a text longer than 21 bytes \u00e9", u"surplus"}),
         "[1,\"\",2.5,9007199254740993,-9007199254740993,true,null,"
         "\"a text longer than 21 bytes \u00e9\"]"},
        {"7", call(&Reader::setStrings, {u"t"}), R"("t")"},
        {"5", call(&Reader::setKeyNames, {u"a", u"a", u""}), R"({"a":null,"a":null,"":null})"},
        {"[1,2]", call(&Reader::setKeyNames, {}), "{}"},
        {R"({"old":1})", call(&Reader::setKeyNames, {u"a key longer than 21 bytes"}),
         R"({"a key longer than 21 bytes":null})"},
        {"[]", call(&Reader::setValueTypes, types({5, 6, 0})), R"(["",0.0,null])"},
        {R"([{"k":1}])", call(&Reader::setValueTypes, types({5, 6, 0})), R"(["",0.0,null])"},
        {"[1,2,3]", call(&Reader::setValueTypes, types({3})), "[{},2,3]"},
        {R"({"m":1})", call(&Reader::setValueTypes, types({4, 4})), R"({"m":[]})"},
        {R"("abc")", call(&Reader::setValueTypes, types({0})), "null"},
        {R"("abc")", call(&Reader::setValueTypes, {}), R"("abc")"},
        {R"({"m":1})", call(&Reader::setValueTypes, types({1, 7})),
         R"({"m":false})"}, // surplus: not looked at
        {R"([1,9007199254740993,"x",-1])",
         call(&Reader::setNumberTypes,
              {LevelReader::Int64, LevelReader::Double, LevelReader::Uint64}),
         R"([-9223372036854775807,0.0,"x",18446744073709551615])"},
        {"[5]", call(&Reader::setNumberTypes, {static_cast<LevelReader::NumberType>(7)}), "[0.0]"},
        {"true", call(&Reader::setNumberTypes, {LevelReader::Uint64}), "18446744073709551615"},
    };
    for (const auto& [before, set, after] : cases) {
        // Below a root, so that the level is put back into its place.
        LevelReader at = reader("[0," + before + ",0]");
        at.cd(1);
        set(at);
        EXPECT_EQ(textOf(at), after) << before;
        at.cdup();
        EXPECT_EQ(textOf(at), "[0," + after + ",0]");
    }
}

TEST(Sets, GrowAnArrayOneByOneInLinearMemory) {
    const auto used = [] { // where a sanitizer has its own malloc: always 0
        const auto info = mallinfo2();
        return info.uordblks + info.hblkhd;
    };
    LevelReader at = reader("[]");
    const std::size_t before = used();
    Types codes;
    while (codes.size() < 2000) {
        codes.push_back(type(6));
        at.setValueTypes(codes);
    }
    EXPECT_LT(used() - before, 4 * codes.size() * sizeof(rapidjson::Value) + 200'000);
    EXPECT_EQ(at.listValueTypes(), codes);
}

TEST(Sets, RefuseTypesOutsideTheRangeBeforeAnythingChanges) {
    for (const int bad : {7, -1, 1 << 20}) {
        for (const std::string before : {"[1]", R"({"a":1,"b":2})", "[1,2,3]"}) {
            LevelReader at = reader(before);
            const auto set = [&] { at.setValueTypes({type(4), type(bad)}); };
            const std::string message = test::messageOf<std::out_of_range>(set);
            EXPECT_THAT(message, HasSubstr("code " + std::to_string(bad)));
            EXPECT_THAT(message, HasSubstr("position 1"));
            EXPECT_EQ(textOf(at), before);
        }
    }
}

} // namespace
