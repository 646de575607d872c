#include "document/pointer_step.hpp"
#include "platform/json_core.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <thread>

namespace {

using namespace ostra::io::json::core;
using namespace std::string_literals;
using rapidjson::Value;

/// `features`: any of c (comments), t (trailing commas), n (NaN and Infinity).
rapidjson::Document parse(const std::string& text, const std::string& features = "",
                          const std::u16string& source = u"") {
    const auto has = [&](char c) { return features.find(c) != std::string::npos; };
    return parse_json_document(source, {text.begin(), text.end()}, {has('c'), has('t'), has('n')});
}

/// The message with which a text is refused; empty where it is not.
std::string refusal(const std::string& text, const std::string& features = "",
                    const std::u16string& source = u"") {
    try {
        parse(text, features, source);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string bytesOf(const Value& text) {
    return {text.GetString(), text.GetStringLength()};
}

std::string repeat(const std::string& text, std::size_t count) {
    std::string result;
    for (std::size_t i = 0; i < count; ++i) {
        result += text;
    }
    return result;
}

TEST(JsonCoreErrors, NamePositionAndReason) {
    const struct {
        std::string text, message, features;
    } cases[] = {
        {"", "1:1: unexpected end of text, expected a value (byte 0)", ""},
        {"\xEF\xBB\xBF", "1:1: unexpected end of text, expected a value (byte 3)", ""},
        {"\xEF\xBB\xBF[1 2]", "1:4: expected ',' or ']' (byte 6)", ""},
        {" \n\t", "2:2: unexpected end of text, expected a value (byte 3)", ""},
        {"[\r\n\r\n 1 x]", "3:4: expected ',' or ']' (byte 8)", ""},
        {"[\r\r 1 x]", "3:4: expected ',' or ']' (byte 6)", ""},
        {"[\"\u00e9\U0001F600\", x]", "1:8: unknown word 'x' (byte 11)", ""},
        {"{\"a\":1 \"b\":2}", "1:8: expected ',' or '}' (byte 7)", ""},
        {"{\"a\" 1}", "1:6: expected ':' (byte 5)", ""},
        {"{a:1}", "1:2: expected a key in double quotes or '}' (byte 1)", ""},
        {"{\"a\":1,b:1}", "1:8: expected a key in double quotes (byte 7)", ""},
        {"{\"a\":", "1:6: unexpected end of text, expected a value (byte 5)", ""},
        {"[", "1:2: unexpected end of text, expected a value or ']' (byte 1)", ""},
        {"[1", "1:3: unexpected end of text, expected ',' or ']' (byte 2)", ""},
        {"[1,]", "1:3: trailing comma before ']' (byte 2)", ""},
        {"{\"a\":1 , }", "1:8: trailing comma before '}' (byte 7)", ""},
        {"[,]", "1:2: expected a value or ']' (byte 1)", "t"},
        {"[1,,]", "1:4: expected a value (byte 3)", "t"},
        {"{,}", "1:2: expected a key in double quotes or '}' (byte 1)", "t"},
        {"[1}", "1:3: expected ',' or ']' (byte 2)", ""},
        {"1 2", "1:3: expected the end of the text (byte 2)", ""},
        {"1,", "1:2: expected the end of the text (byte 1)", "t"},
        {"1\0"s, "1:2: expected the end of the text, found U+0000 (byte 1)", ""},
        {"[\u00a0"
         "1]",
         "1:2: expected a value or ']', found U+00A0 (byte 1)", ""},
        {"{\u201ca\": 1}", "1:2: expected a key in double quotes or '}', found U+201C (byte 1)",
         ""},
        {"tru", "1:4: unexpected end of text, expected true (byte 3)", ""},
        {"[True]", "1:2: unknown word 'True' (byte 1)", ""},
        {"-", "1:2: unexpected end of text, expected a digit after '-' (byte 1)", ""},
        {"-x", "1:2: expected a digit after '-' (byte 1)", "n"},
        {"+1", "1:1: expected a value (byte 0)", ""},
        {".5", "1:1: expected a value (byte 0)", ""},
        {"[1.]", "1:4: expected a digit after the decimal point (byte 3)", ""},
        {"1e", "1:3: unexpected end of text, expected a digit in the exponent (byte 2)", ""},
        {"1E+-", "1:4: expected a digit in the exponent (byte 3)", ""},
        {"[-012]", "1:2: number with a leading zero (byte 1)", ""},
        {"0x10", "1:2: expected the end of the text (byte 1)", ""},
        {"[1.8e308]", "1:2: number beyond the range of a double (byte 1)", ""},
        {"-" + repeat("9", 400), "1:1: number beyond the range of a double (byte 0)", ""},
        {repeat("9", 4000), "1:1: number beyond the range of a double (byte 0)", ""},
        {"NaN", "1:1: NaN is not allowed (byte 0)", ""},
        {"[-Infinity]", "1:2: -Infinity is not allowed (byte 1)", ""},
        {"Infinit", "1:1: unknown word 'Infinit' (byte 0)", "n"},
        {"[\"ab", "1:2: unexpected end of text in the string that starts here (byte 1)", ""},
        {"\"\\", "1:1: unexpected end of text in the string that starts here (byte 0)", ""},
        {"\"\\u12", "1:1: unexpected end of text in the string that starts here (byte 0)", ""},
        {"\"a\nb\"", "1:3: unescaped control character U+000A in a string (byte 2)", ""},
        {"\"\0\""s, "1:2: unescaped control character U+0000 in a string (byte 1)", ""},
        {"\"a\\x\"", "1:3: unknown escape in a string (byte 2)", ""},
        {"\"\\u12g4\"", "1:6: expected four hexadecimal digits after \\u (byte 5)", ""},
        {"\"\\ud83d\"", "1:2: \\ud83d is one half of a surrogate pair (byte 1)", ""},
        {"\"\\uD83Dx\"", "1:2: \\uD83D is one half of a surrogate pair (byte 1)", ""},
        {"\"a\\ude00\"", "1:3: \\ude00 is one half of a surrogate pair (byte 2)", ""},
        {"[1, // one\n2]", "1:5: comments are not allowed (byte 4)", ""},
        {"/**/1", "1:1: comments are not allowed (byte 0)", ""},
        {"[1 /* ]", "1:4: unexpected end of text in the comment that starts here (byte 3)", "c"},
        {"1 /*/", "1:3: unexpected end of text in the comment that starts here (byte 2)", "c"},
        {"1 /x", "1:4: expected '/' or '*' after '/' (byte 3)", "c"},
    };
    for (const auto& [text, message, features] : cases) {
        EXPECT_EQ(refusal(text, features), message) << text.substr(0, 60);
    }
    EXPECT_EQ(refusal("[\n1 2", "", u"d\u00efr/a\n.json"),
              "d\u00efr/a\\u000A.json:2:3: expected ',' or ']' (byte 4)");
}

TEST(JsonCoreErrors, MalformedUtf8IsRefusedWhereverItStands) {
    for (const std::string bad :
         {"\x80", "\xBF", "\xC0\x80", "\xC1\xBF", "\xC3", "\xC3(", "\xE0\x9F\xBF", "\xE2\x82",
          "\xE2(\xA1", "\xED\xA0\x80", "\xED\xBF\xBF", "\xEF\xBF", "\xF0\x8F\xBF\xBF",
          "\xF0\x9F\x98", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFE", "\xFF"}) {
        std::ostringstream byte;
        byte << "0x" << std::uppercase << std::hex << +static_cast<unsigned char>(bad[0]);
        const auto expect = [&](const std::string& before, const std::string& position) {
            const std::string message = position + ": malformed UTF-8 at byte value " + byte.str() +
                                        " (byte " + std::to_string(before.size()) + ")";
            EXPECT_EQ(refusal(before + bad + "\""), message);
            EXPECT_EQ(refusal(before + bad), message);
        };
        expect("\"\u00e9", "1:3");
        expect("\n" + repeat("\u20ac", 100), "2:101");
        expect("", "1:1");
    }
    const std::string good = "\x7F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF\U00010000\U0010FFFF";
    EXPECT_EQ(parse('"' + good + '"').GetString(), good);
}

std::string asKeyAndElement(const std::string& string) {
    return "{\"" + string + "\":[\"" + string + "\"]}";
}

TEST(JsonCoreStrings, EscapesAndRuns) {
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {R"(\"\\\/\b\f\n\r\t)", "\"\\/\b\f\n\r\t"},
        {R"(a\u0000b)", "a\0b"s},
        {R"(\u007f\u0080\u07FF\u0800\uFFFF)", "\x7F\u0080\u07FF\u0800\uFFFF"},
        {R"(\ud83d\uDE00\uD800\udc00\uDBFF\uDFFF)", "\U0001F600\U00010000\U0010FFFF"},
        {repeat("x", 21), repeat("x", 21)},
        {repeat("x", 22) + "\\n" + repeat("\u20ac", 40000),
         repeat("x", 22) + "\n" + repeat("\u20ac", 40000)},
    };
    for (const auto& [json, expected] : cases) {
        const auto document = parse(asKeyAndElement(json));
        const auto& member = *document.MemberBegin();
        for (const Value* text : {&member.name, &member.value[0]}) {
            EXPECT_EQ(bytesOf(*text), expected);
        }
    }
}

TEST(JsonCoreStructure, OptionsWidenWhatIsAllowed) {
    for (const auto& [text, features] : std::vector<std::pair<std::string, std::string>>{
             {"/*[*/[/**/1/***/,//\r2 //\n/*\n*/ /**/, 3//]\n]// end", "c"},
             {"[[],{},1 , ]", "t"},
             {"{\"a\":{\"b\":[],},}", "t"},
             {"[1,/*,*/]", "ct"}}) {
        EXPECT_NE(refusal(text), "");
        EXPECT_EQ(refusal(text, features), "") << text;
    }
    const auto words = parse("[NaN,-NaN,Infinity,-Infinity,Inf,-Inf]", "n");
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(std::isnan(words[0].GetDouble()) && std::isnan(words[1].GetDouble()));
    for (const std::size_t i : {2U, 3U, 4U, 5U}) {
        EXPECT_EQ(words[i].GetDouble(), i % 2 == 0 ? infinity : -infinity);
    }
    const auto members = parse(" {\"k\":true,\"\":null,\"k\":false} ");
    ASSERT_EQ(members.MemberCount(), 3U);
    EXPECT_TRUE(members.MemberBegin()[0].value.IsTrue());
    EXPECT_TRUE(members.MemberBegin()[1].value.IsNull());
    EXPECT_TRUE(members.MemberBegin()[2].value.IsFalse());
}

std::uint64_t bitsOf(double value) {
    return std::bit_cast<std::uint64_t>(value);
}

/// i, u, I, U: fits int, unsigned, int64_t, uint64_t; d: is a double.
std::string classesOf(const Value& value) {
    return (value.IsInt() ? "i"s : "") + (value.IsUint() ? "u" : "") +
           (value.IsInt64() ? "I" : "") + (value.IsUint64() ? "U" : "") +
           (value.IsDouble() ? "d" : "");
}

TEST(JsonCoreNumbers, ClassesAndValues) {
    const struct {
        std::string text, classes;
        std::uint64_t integer;
        double real;
    } cases[] = {
        {"0", "iuIU", 0, 0},
        {"-0", "iuIU", 0, 0},
        {"2147483647", "iuIU", 2147483647, 0},
        {"2147483648", "uIU", 2147483648, 0},
        {"4294967295", "uIU", 4294967295, 0},
        {"4294967296", "IU", 4294967296, 0},
        {"-2147483648", "iI", 0 - std::uint64_t{2147483648}, 0},
        {"-2147483649", "I", 0 - std::uint64_t{2147483649}, 0},
        {"9007199254740993", "IU", 9007199254740993, 0},
        {"9223372036854775807", "IU", INT64_MAX, 0},
        {"9223372036854775808", "U", std::uint64_t{1} << 63, 0},
        {"18446744073709551615", "U", UINT64_MAX, 0},
        {"-9223372036854775808", "I", std::uint64_t{1} << 63, 0},
        {"18446744073709551616", "d", 0, 0x1p64},
        {"99999999999999999999", "d", 0, 1e20},
        {"-9223372036854775809", "d", 0, -0x1p63},
        {"-18446744073709551617", "d", 0, -0x1p64},
        {"-0.0", "d", 0, -0.0},
        {"-0e5", "d", 0, -0.0},
        {"0e400", "d", 0, 0.0},
        {"0e99999999999999999999", "d", 0, 0.0},
        {"-1e-400", "d", 0, -0.0},
        {"1e-99999999999999999999", "d", 0, 0.0},
        {"1E+2", "d", 0, 100.0},
        {"9007199254740991.0", "d", 0, 0x1.fffffffffffffp52},
        {"9007199254740993.0", "d", 0, 0x1p53},
        {"9007199254740993.00000000000000000000000000001", "d", 0, 0x1.0000000000001p53},
        {"0.184467440737095516159", "d", 0, 0x1.79ca10c924223p-3},
        {"128.74836467836484838364836483643636483648e-336", "d", 0, 0.0},
        {"4.9e-324", "d", 0, 0x1p-1074},
        {"2.4703282292062327e-324", "d", 0, 0.0},
        {"2.4703282292062328e-324", "d", 0, 0x1p-1074},
        {"2.2250738585072011e-308", "d", 0, 0x0.fffffffffffffp-1022},
        {"2.2250738585072014e-308", "d", 0, 0x1p-1022},
        {"1.7976931348623158e308", "d", 0, 0x1.fffffffffffffp1023},
        {repeat("1", 400) + "e-399", "d", 0, 0x1.1c71c71c71c72p0},
        {"1" + repeat("0", 5000) + "e-5000", "d", 0, 1.0},
        {"-0." + repeat("0", 5000) + "25e5001", "d", 0, -2.5},
        {"1" + repeat("0", 5000) + "e-5400", "d", 0, 0.0},
        {"1" + repeat("0", 2000) + "e-4000000000000000000000", "d", 0, 0.0},
        {"-0." + repeat("0", 2000), "d", 0, -0.0},
    };
    for (const auto& [text, classes, integer, real] : cases) {
        const auto value = parse(text);
        EXPECT_EQ(classesOf(value), classes) << text;
        if (value.IsDouble()) {
            EXPECT_EQ(bitsOf(value.GetDouble()), bitsOf(real)) << text;
        } else {
            EXPECT_EQ(value.IsUint64() ? value.GetUint64()
                                       : static_cast<std::uint64_t>(value.GetInt64()),
                      integer)
                << text;
            EXPECT_EQ(classes, classesOf(rapidjson::Document().Parse(text.c_str()))) << text;
        }
    }
}

/// glibc rounds every decimal correctly and serves as the oracle.
void expectAsStrtod(const std::string& number) {
    const double expected = std::strtod(number.c_str(), nullptr);
    if (std::isinf(expected)) {
        EXPECT_NE(refusal(number), "") << number;
        return;
    }
    const auto value = parse(number);
    ASSERT_TRUE(value.IsDouble()) << number;
    EXPECT_EQ(bitsOf(value.GetDouble()), bitsOf(expected)) << number;
}

TEST(JsonCoreNumbers, DoublesAreRoundedCorrectly) {
    std::mt19937_64 random(20);
    const auto below = [&](std::uint64_t bound) { return random() % bound; };
    for (int i = 0; i < 20000; ++i) {
        std::string number = std::to_string(1 + below(9));
        for (std::uint64_t k = below(25); k > 0; --k) {
            number += static_cast<char>('0' + below(10));
        }
        expectAsStrtod((i % 2 == 0 ? "-" : "") + number + '.' + std::to_string(below(1000000)) +
                       'e' + std::to_string(static_cast<int>(below(700)) - 350));
    }
    // Halfway between two doubles, exactly and by a digit far behind the last that can matter.
    for (int i = 0; i < 1000; ++i) {
        const double lower = std::bit_cast<double>(below(0x7FEFFFFFFFFFFFFF));
        const double upper = std::nextafter(lower, std::numeric_limits<double>::infinity());
        const long double halfway = (static_cast<long double>(lower) + upper) / 2;
        std::array<char, 1300> digits{};
        char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), halfway,
                                        std::chars_format::scientific, 800)
                              .ptr;
        const std::string text(digits.data(), end);
        const std::size_t mark = text.find('e');
        const std::string zeros(below(2) * 800, '0');
        expectAsStrtod(text);
        expectAsStrtod(text.substr(0, mark) + zeros + '1' + text.substr(mark));
    }
}

// A sanitizer needs the address space for itself.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
TEST(JsonCoreMemory, ExhaustionIsAnExceptionAtEveryStage) {
    // In a fresh process, with no memory left over from other tests.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::vector<std::string> texts = {
        "[" + repeat("0,", 600'000) + "0]",
        "[" + repeat("\"" + repeat("x", 50) + "\",", 150'000) + "0]",
        "[" + repeat("{\"k\":[1,2,3]},", 100'000) + "0]",
        repeat("[", 600'000) + repeat("]", 600'000),
        "\"\\n" + repeat("y", 9'000'000) + "\"",
    };
    const auto parseWithin = [&](std::size_t mebibytes) {
        rlimit limit{};
        getrlimit(RLIMIT_AS, &limit);
        std::size_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages;
        limit.rlim_cur = pages * 4096 + (mebibytes << 20U);
        setrlimit(RLIMIT_AS, &limit);
        int refused = 0;
        for (const auto& text : texts) {
            try {
                parse(text);
            } catch (const std::bad_alloc&) {
                ++refused;
            }
        }
        std::_Exit(refused);
    };
    for (const std::size_t mebibytes : {1U, 4U, 12U}) {
        EXPECT_EXIT(
            parseWithin(mebibytes),
            [](int status) { return WIFEXITED(status) && WEXITSTATUS(status) > 0; }, "")
            << mebibytes;
    }
    EXPECT_EXIT(parseWithin(4000), ::testing::ExitedWithCode(0), "");
}
#endif

/// RapidJSON 1.1.0's own `Get` ends a key at its first NUL.
Value* follow(const JSONPointer& pointer, Value& root) {
    Value* value = &root;
    for (std::size_t i = 0; value != nullptr && i < pointer.GetTokenCount(); ++i) {
        value = ostra::io::json::tree::childByToken(*value, pointer.GetTokens()[i]);
    }
    return value;
}

TEST(JsonCoreSelectors, RefusalsQuoteTheSelector) {
    const std::pair<std::string, std::string> cases[] = {
        {"a", "no JSON Pointer: \"a\": expected '/', or nothing at all (byte 0)"},
        {"/a~2\n", "no JSON Pointer: \"/a~2\\u000A\": expected 0 or 1 after '~' (byte 3)"},
        {"/~", "no JSON Pointer: \"/~\": expected 0 or 1 after '~' (byte 2)"},
        {"#/%4", "no JSON Pointer: \"#/%4\": malformed percent-encoding (byte 2)"},
        {"#/%C3", "no JSON Pointer: \"#/%C3\": malformed percent-encoding (byte 2)"},
        {"#/a b",
         "no JSON Pointer: \"#/a b\": this character must be percent-encoded after '#' (byte 3)"},
    };
    for (const auto& [selector, message] : cases) {
        try {
            validate_selector(selector);
            ADD_FAILURE() << selector;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), message);
        }
    }
    auto document = parse(R"({"":{"é/~":[1,{"n\u0000l":2}]}})");
    Value* target = &document[""]["é/~"][1].MemberBegin()->value;
    for (const auto& selector : {"//é~1~0/1/n\0l"s, "#//%C3%A9~1%7E0/1/n%00l"s}) {
        const JSONPointer pointer = validate_selector(selector);
        EXPECT_EQ(follow(pointer, document), target) << selector;
        EXPECT_EQ(follow(JSONPointer(pointer), document), target) << selector;
    }
    EXPECT_EQ(follow(validate_selector(""), document), &document);
}

} // namespace
