#include "platform/json_core.hpp"
#include "support/failure.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

using namespace ostra::io::json::core;
using namespace std::string_literals;
using rapidjson::Value;
using test::repeat;

/// `features`: any of c (comments), t (trailing commas), n (NaN and Infinity).
rapidjson::Document parse(const std::string& text, const std::string& features = "",
                          const std::u16string& source = u"") {
    const auto has = [&](char c) { return features.find(c) != std::string::npos; };
    return parse_json_document(source, {text.begin(), text.end()}, {has('c'), has('t'), has('n')});
}

/// The message with which a text is refused; empty if it is not.
std::string refusal(const std::string& text, const std::string& features = "",
                    const std::u16string& source = u"") {
    try {
        parse(text, features, source);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
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

TEST(JsonCoreNumbers, IntegersHaveTheClassesThatRapidJsonGivesThem) {
    for (const std::string text :
         {"0", "-0", "2147483647", "2147483648", "4294967295", "4294967296", "-2147483648",
          "-2147483649", "9007199254740993", "9223372036854775807", "9223372036854775808",
          "18446744073709551615", "-9223372036854775808"}) {
        const auto value = parse(text);
        const auto expected = std::move(rapidjson::Document().Parse(text.c_str()));
        EXPECT_EQ(classesOf(value), classesOf(expected)) << text;
        EXPECT_EQ(value, expected) << text;
    }
}

TEST(JsonCoreNumbers, WhatIsNoIntegerOf64BitsIsADouble) {
    const std::vector<std::string> texts = {
        // beyond 64 bits
        "18446744073709551616", "99999999999999999999", "-9223372036854775809",
        "-18446744073709551617",
        // zeros, with their signs
        "-0.0", "-0e5", "0e400", "0e99999999999999999999", "-1e-400", "1e-99999999999999999999",
        "-0." + repeat("0", 2000), "1" + repeat("0", 2000) + "e-4000000000000000000000",
        "1" + repeat("0", 5000) + "e-5400", "128.74836467836484838364836483643636483648e-336",
        // halfway between two doubles, or just beside
        "9007199254740991.0", "9007199254740993.0",
        "9007199254740993.00000000000000000000000000001", "0.184467440737095516159",
        // around the smallest and the largest
        "4.9e-324", "2.4703282292062327e-324", "2.4703282292062328e-324", "2.2250738585072011e-308",
        "2.2250738585072014e-308", "1.7976931348623158e308",
        // far more digits than count
        "1E+2", repeat("1", 400) + "e-399", "1" + repeat("0", 5000) + "e-5000",
        "-0." + repeat("0", 5000) + "25e5001"};
    for (const std::string& text : texts) {
        expectAsStrtod(text);
    }
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

TEST(JsonCoreSelectors, RefusalsQuoteTheSelector) {
    const std::pair<std::string, std::string> cases[] = {
        {"a", "not a JSON Pointer: \"a\": expected '/', or nothing at all (byte 0)"},
        {"/a~2\n", "not a JSON Pointer: \"/a~2\\u000A\": expected 0 or 1 after '~' (byte 3)"},
        {"/~", "not a JSON Pointer: \"/~\": expected 0 or 1 after '~' (byte 2)"},
        {"#/%4", "not a JSON Pointer: \"#/%4\": malformed percent-encoding (byte 2)"},
        {"#/%C3", "not a JSON Pointer: \"#/%C3\": malformed percent-encoding (byte 2)"},
        {"#/a b", "not a JSON Pointer: \"#/a b\": this character must be percent-encoded after '#' "
                  "(byte 3)"},
    };
    for (const auto& [selector, message] : cases) {
        const auto validate = [&text = selector] { validate_selector(text); };
        EXPECT_EQ(test::messageOf<std::invalid_argument>(validate), message);
    }
}

} // namespace
