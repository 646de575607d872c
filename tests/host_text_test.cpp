// Text conversion against slow, obvious converters that look at one character at a time.

#include "platform/text_conversion.hpp"
#include "text_conversion/pieces.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;

void appendUtf16(std::u16string& to, std::uint32_t character) {
    if (character >= 0x10000) {
        to += static_cast<char16_t>(0xD7C0 + (character >> 10));
        character = 0xDC00 + (character & 0x3FF);
    }
    to += static_cast<char16_t>(character);
}

/// By the Unicode standard's table of well-formed sequences; the longest start of one that goes
/// wrong is one U+FFFD, and so is any other byte.
std::u16string slowlyToUtf16(const std::string& text) {
    struct Form {
        std::uint32_t firstLow, firstHigh, secondLow, secondHigh;
        std::size_t length;
    };
    constexpr std::array<Form, 9> forms{{{0x00, 0x7F, 0, 0, 1},
                                         {0xC2, 0xDF, 0x80, 0xBF, 2},
                                         {0xE0, 0xE0, 0xA0, 0xBF, 3},
                                         {0xE1, 0xEC, 0x80, 0xBF, 3},
                                         {0xED, 0xED, 0x80, 0x9F, 3},
                                         {0xEE, 0xEF, 0x80, 0xBF, 3},
                                         {0xF0, 0xF0, 0x90, 0xBF, 4},
                                         {0xF1, 0xF3, 0x80, 0xBF, 4},
                                         {0xF4, 0xF4, 0x80, 0x8F, 4}}};
    const auto byteAt = [&](std::size_t i) -> std::uint32_t {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
    };
    std::u16string result;
    for (std::size_t i = 0; i < text.size();) {
        std::size_t taken = 1;
        std::uint32_t character = 0xFFFD;
        for (const Form& form : forms) {
            if (byteAt(i) < form.firstLow || byteAt(i) > form.firstHigh) {
                continue;
            }
            std::uint32_t bits = form.length == 1 ? byteAt(i) : byteAt(i) & (0x7FU >> form.length);
            for (; taken < form.length; ++taken) {
                const std::uint32_t low = taken == 1 ? form.secondLow : 0x80;
                const std::uint32_t high = taken == 1 ? form.secondHigh : 0xBF;
                if (byteAt(i + taken) < low || byteAt(i + taken) > high) {
                    break;
                }
                bits = bits << 6 | (byteAt(i + taken) & 0x3F);
            }
            character = taken == form.length ? bits : 0xFFFD;
        }
        appendUtf16(result, character);
        i += taken;
    }
    return result;
}

std::string slowlyToUtf8(const std::u16string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t character = text[i];
        if (character >= 0xD800 && character < 0xE000) {
            const std::uint32_t next = i + 1 < text.size() ? text[i + 1] : 0U;
            const bool pair = character < 0xDC00 && next >= 0xDC00 && next < 0xE000;
            character = pair ? 0x10000 + ((character - 0xD800) << 10) + (next - 0xDC00) : 0xFFFD;
            i += pair ? 1 : 0;
        }
        if (character < 0x80) {
            result += static_cast<char>(character);
            continue;
        }
        const unsigned more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
        result += static_cast<char>((0xFF00U >> (more + 1) & 0xFFU) | character >> (6 * more));
        for (unsigned left = more; left-- > 0;) {
            result += static_cast<char>(0x80 | (character >> (6 * left) & 0x3F));
        }
    }
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
    const std::u16string right = slowlyToUtf16(text);
    EXPECT_EQ(fl::i18n::detail::toUtf16(text.data(), text.size(), piece), right);
    EXPECT_EQ(utf8_to_ustring(text), right);
    EXPECT_EQ(utf8_to_ustring(text.data(), text.size()), right);
}

void expectRight(const std::u16string& text, std::size_t piece) {
    const std::string right = slowlyToUtf8(text);
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

TEST(HostText, RandomTextsAgreeWithSlowConversion) {
    expectRightOnRandomTexts(utf8Fragments);
    expectRightOnRandomTexts(utf16Fragments);
}

TEST(HostText, LongWellFormedTextIsAllocatedOnce) {
    std::string text;
    for (int i = 0; i < 50000; ++i) {
        text += "plain é 漢 😀";
    }
    const std::u16string utf16 = utf8_to_ustring(text);
    EXPECT_EQ(utf16, slowlyToUtf16(text));
    EXPECT_EQ(utf16.capacity(), utf16.size());
    const std::string back = ustring_to_utf8(utf16);
    EXPECT_EQ(back, text);
    EXPECT_EQ(back.capacity(), back.size());
}

} // namespace
