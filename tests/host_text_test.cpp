/// Text conversion in pieces, against ICU's of whole texts.

#include "platform/text_conversion.hpp"
#include "text_conversion/pieces.hpp"

#include <gtest/gtest.h>
#include <unicode/ustring.h>

#include <random>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;

constexpr UChar32 replacement = 0xFFFD;

std::u16string byIcu(const std::string& text) {
    std::u16string result(text.size(), u'\0');
    std::int32_t size = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strFromUTF8WithSub(result.data(), static_cast<std::int32_t>(result.size()), &size,
                         text.data(), static_cast<std::int32_t>(text.size()), replacement, nullptr,
                         &error);
    EXPECT_TRUE(U_SUCCESS(error));
    result.resize(static_cast<std::size_t>(size));
    return result;
}

std::string byIcu(const std::u16string& text) {
    std::string result(3 * text.size(), '\0');
    std::int32_t size = 0;
    UErrorCode error = U_ZERO_ERROR;
    u_strToUTF8WithSub(result.data(), static_cast<std::int32_t>(result.size()), &size, text.data(),
                       static_cast<std::int32_t>(text.size()), replacement, nullptr, &error);
    EXPECT_TRUE(U_SUCCESS(error));
    result.resize(static_cast<std::size_t>(size));
    return result;
}

const std::vector<std::string> utf8Fragments{
    "a", "\0"s, "A run of plain text", "é", "\xDF\xBF", "漢", "\xEF\xBF\xBF", "😀",
    "\xF4\x8F\xBF\xBF",
    // malformed: strays, cut short, overlong, surrogates, beyond the last character
    "\x80", "\xBF\xBF\xBF\xBF\xBF\xBF", "\xC3", "\xE2\x82", "\xF0\x9F", "\xF0\x9F\x98", "\xC0\xAF",
    "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5", "\xFF"};

const std::vector<std::u16string> utf16Fragments{
    u"a", u"\0"s, u"A run of plain text", u"\x7F\x80", u"\u07FF\u0800", u"漢", u"\xFFFF", u"😀",
    // malformed: unpaired and reversed surrogates
    u"\xD800", u"\xDBFF", u"\xDC00", u"\xDFFF", u"\xDC00\xD800"};

void expectRight(const std::string& text, std::size_t piece) {
    const std::u16string right = byIcu(text);
    EXPECT_EQ(fl::i18n::detail::toUtf16(text.data(), text.size(), piece), right);
    EXPECT_EQ(utf8_to_ustring(text), right);
    EXPECT_EQ(utf8_to_ustring(text.data(), text.size()), right);
}

void expectRight(const std::u16string& text, std::size_t piece) {
    const std::string right = byIcu(text);
    EXPECT_EQ(fl::i18n::detail::toUtf8(text.data(), text.size(), piece), right);
    EXPECT_EQ(ustring_to_utf8(text), right);
}

/// Every fragment after every other one, at every distance from a seam.
template <class Text>
void expectRightAtSeams(const std::vector<Text>& fragments) {
    for (std::size_t piece = fl::i18n::detail::smallestPiece; piece <= 9; ++piece) {
        for (std::size_t before = 0; before <= piece; ++before) {
            for (const Text& first : fragments) {
                for (const Text& second : fragments) {
                    expectRight(Text(before, 'x').append(first).append(second).append(first),
                                piece);
                    ASSERT_FALSE(testing::Test::HasFailure());
                }
            }
        }
    }
}

template <class Text>
void expectRightOnRandomTexts(const std::vector<Text>& fragments) {
    std::mt19937 random(20240607);
    for (int round = 0; round < 300; ++round) {
        Text text;
        for (auto left = random() % 600; left > 0; --left) {
            // half of them plain, so that runs of plain text of every length meet the rest
            text += fragments[random() % 2 == 0 ? 0 : random() % fragments.size()];
        }
        expectRight(text, 4 + random() % (fl::i18n::detail::largestPiece - 3));
        ASSERT_FALSE(testing::Test::HasFailure());
    }
}

TEST(HostText, PiecesMeetWithoutSeams) {
    EXPECT_EQ(utf8_to_ustring(nullptr, 0), u"");
    expectRightAtSeams(utf8Fragments);
    expectRightAtSeams(utf16Fragments);
}

TEST(HostText, RandomTextsAgreeWithIcu) {
    expectRightOnRandomTexts(utf8Fragments);
    expectRightOnRandomTexts(utf16Fragments);
}

TEST(HostText, LongWellFormedTextIsAllocatedOnce) {
    std::string text;
    for (int i = 0; i < 50000; ++i) {
        text += "plain é 漢 😀";
    }
    const std::u16string utf16 = utf8_to_ustring(text);
    EXPECT_EQ(utf16, byIcu(text));
    EXPECT_EQ(utf16.capacity(), utf16.size());
    const std::string back = ustring_to_utf8(utf16);
    EXPECT_EQ(back, text);
    EXPECT_EQ(back.capacity(), back.size());
}

} // namespace
