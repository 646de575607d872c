#include "number_text.hpp"
#include "parse_error.hpp"
#include "text_reader.hpp"
#include "utf8.hpp"

#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <limits>

namespace ostra::io::json::core {

namespace {

bool isPlainInString(char c) {
    return c != '"' && c != '\\' && static_cast<unsigned char>(c) >= 0x20;
}

bool isWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$';
}

/// @return the character that `\` and `c` stand for, 0 where they are no such escape.
char simpleEscape(char c) {
    switch (c) {
    case '"':
    case '\\':
    case '/':
        return c;
    case 'b':
        return '\b';
    case 'f':
        return '\f';
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 't':
        return '\t';
    default:
        return 0;
    }
}

/// @return whether the decimal digits make an integer below 2^64; they have no leading zero.
bool fitsUint64(std::string_view digits) {
    constexpr std::string_view largest = "18446744073709551615";
    return digits.size() < largest.size() || (digits.size() == largest.size() && digits <= largest);
}

/// No power of ten that a double holds exactly reaches this far.
constexpr int unusualExponent = 10'000;

/// Characters of sign, digits and point that never wrap a 64-bit magnitude.
constexpr std::ptrdiff_t longestExact = 19;

/// @return the double nearest to `magnitude * 10^exponent` where one operation on two exact doubles
///         gives it, correctly rounded by IEEE 754; empty where that is not so.
std::optional<double> exactDouble(std::uint64_t magnitude, int exponent) {
    constexpr double powers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                 1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
    constexpr int largest = static_cast<int>(std::size(powers)) - 1;
    if (magnitude > std::uint64_t{1} << 53U || exponent < -largest || exponent > largest) {
        return std::nullopt;
    }
    const auto exact = static_cast<double>(magnitude);
    return exponent < 0 ? exact / powers[-exponent] : exact * powers[exponent];
}

constexpr std::size_t blockSize = sizeof(__m128i);

/// @return the first byte that may not stand in a string as it is, `end` where there is none.
inline __attribute__((always_inline)) const char* findSpecial(const char* from, const char* end) {
    const __m128i lastControl = _mm_set1_epi8(0x1F);
    for (; end - from >= static_cast<std::ptrdiff_t>(blockSize); from += blockSize) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        const __m128i control = _mm_cmpeq_epi8(_mm_max_epu8(block, lastControl), lastControl);
        const __m128i quote = _mm_cmpeq_epi8(block, _mm_set1_epi8('"'));
        const __m128i backslash = _mm_cmpeq_epi8(block, _mm_set1_epi8('\\'));
        const auto special = static_cast<unsigned>(
            _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(control, quote), backslash)));
        if (special != 0) {
            return from + std::countr_zero(special);
        }
    }
    return std::find_if_not(from, end, isPlainInString);
}

} // namespace

void TextReader::readString() {
    const char* const stringBegin = at_++;
    const char* run = at_;
    at_ = findSpecial(at_, end_);
    if (atCharacter('"')) { // most strings have no escape: no detour through the scratch text
        builder_.string({run, static_cast<std::size_t>(at_ - run)},
                        static_cast<std::size_t>(end_ - run));
        ++at_;
        return;
    }
    scratch_.clear();
    for (;;) {
        scratch_.append(run, at_);
        if (atEnd()) {
            failUnterminated(stringBegin);
        }
        if (*at_ == '"') {
            break;
        }
        if (*at_ != '\\') {
            fail(at_, "unescaped control character U+" +
                          hexadecimal(static_cast<unsigned char>(*at_), 4) + " in a string");
        }
        readEscape(stringBegin);
        run = at_;
        at_ = findSpecial(at_, end_);
    }
    builder_.string(scratch_, scratch_.size());
    ++at_;
}

void TextReader::readEscape(const char* stringBegin) {
    const char* const escape = at_++;
    if (atEnd()) {
        failUnterminated(stringBegin);
    }
    if (*at_ != 'u') {
        const char character = simpleEscape(*at_);
        if (character == 0) {
            fail(escape, "unknown escape in a string");
        }
        scratch_ += character;
        ++at_;
        return;
    }
    ++at_;
    char32_t codePoint = readHexUnit(stringBegin);
    if (codePoint >= 0xD800 && codePoint < 0xDC00 && atCharacter('\\')) {
        const char* const second = at_++;
        if (atEnd()) {
            failUnterminated(stringBegin);
        }
        char32_t low = 0;
        if (*at_ == 'u') {
            ++at_;
            low = readHexUnit(stringBegin);
        }
        if (low >= 0xDC00 && low < 0xE000) {
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10U) + (low - 0xDC00);
        } else {
            at_ = second;
        }
    }
    if (codePoint >= 0xD800 && codePoint < 0xE000) {
        fail(escape, std::string(escape, 6) + " is one half of a surrogate pair");
    }
    appendUtf8(scratch_, codePoint);
}

/// Reads the four hexadecimal digits after `\u`.
char32_t TextReader::readHexUnit(const char* stringBegin) {
    char32_t unit = 0;
    for (int i = 0; i < 4; ++i, ++at_) {
        if (atEnd()) {
            failUnterminated(stringBegin);
        }
        const char c = *at_;
        if (c >= '0' && c <= '9') {
            unit = unit * 16 + static_cast<char32_t>(c - '0');
        } else if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) {
            unit = unit * 16 + static_cast<char32_t>((c & ~0x20) - 'A' + 10);
        } else {
            fail(at_, "expected four hexadecimal digits after \\u");
        }
    }
    return unit;
}

/// Integers of up to 64 bits stay integers; `-0` is the integer 0, as RapidJSON has it.
void TextReader::readNumber() {
    const char* const number = at_;
    const bool negative = *at_ == '-';
    at_ += negative ? 1 : 0;
    const char* const digits = at_;
    std::uint64_t magnitude = 0;
    const std::string_view integer(digits, addDigits(magnitude));
    if (integer.empty()) {
        const char* const wordEnd = std::find_if_not(at_, end_, isWordCharacter);
        if (!readNonFiniteWord({number, static_cast<std::size_t>(wordEnd - number)})) {
            failExpected("a digit after '-'");
        }
        return;
    }
    if (integer.size() > 1 && integer.front() == '0') {
        fail(number, "number with a leading zero");
    }
    const bool fits = fitsUint64(integer) && (!negative || magnitude <= std::uint64_t{1} << 63U);
    if (!fits || atCharacter('.') || atCharacter('e') || atCharacter('E')) {
        readFraction(number, magnitude);
    } else if (negative) {
        builder_.integer(static_cast<std::int64_t>(0 - magnitude));
    } else {
        builder_.integer(magnitude);
    }
}

/// After the integer digits of a number that is no 64-bit integer: reads the rest of it.
void TextReader::readFraction(const char* number, std::uint64_t magnitude) {
    int exponent = 0;
    if (atCharacter('.')) {
        ++at_;
        const std::size_t digits = addDigits(magnitude);
        if (digits == 0) {
            failExpected("a digit after the decimal point");
        }
        exponent = -static_cast<int>(std::min<std::size_t>(digits, unusualExponent));
    }
    const char* const mantissaEnd = at_;
    if (atCharacter('e') || atCharacter('E')) {
        exponent += readExponent();
    }
    const bool negative = *number == '-';
    if (mantissaEnd - number <= longestExact) {
        if (const auto value = exactDouble(magnitude, exponent)) {
            builder_.real(negative ? -*value : *value);
            return;
        }
    }
    const auto value = nearestDouble({number, static_cast<std::size_t>(at_ - number)});
    if (!value) {
        fail(number, "number beyond the range of a double");
    }
    builder_.real(*value);
}

/// Appends the decimal digits that stand here to a number, which wraps when it becomes too long.
/// @return how many there are.
std::size_t TextReader::addDigits(std::uint64_t& magnitude) {
    const char* const begin = at_;
    for (; atDigit(); ++at_) {
        magnitude = magnitude * 10 + static_cast<std::uint64_t>(*at_ - '0');
    }
    return static_cast<std::size_t>(at_ - begin);
}

/// @return the exponent that stands here, cut off where it is unusually large.
int TextReader::readExponent() {
    ++at_;
    const bool negative = atCharacter('-');
    if (negative || atCharacter('+')) {
        ++at_;
    }
    if (!atDigit()) {
        failExpected("a digit in the exponent");
    }
    int exponent = 0;
    for (; atDigit(); ++at_) {
        exponent = std::min(exponent * 10 + (*at_ - '0'), unusualExponent);
    }
    return negative ? -exponent : exponent;
}

void TextReader::readWord() {
    const char* const wordEnd = std::find_if_not(at_, end_, isWordCharacter);
    const std::string_view word(at_, static_cast<std::size_t>(wordEnd - at_));
    if (word == "true" || word == "false") {
        builder_.boolean(word == "true");
        at_ = wordEnd;
    } else if (word == "null") {
        builder_.null();
        at_ = wordEnd;
    } else if (!readNonFiniteWord(word)) {
        if (word.empty()) {
            const bool first = !levels_.empty() && levels_.back().count == 0;
            failExpected(first && !levels_.back().isObject ? "a value or ']'" : "a value");
        }
        for (const std::string_view literal : {"true", "false", "null"}) {
            if (wordEnd == end_ && literal.starts_with(word)) {
                fail(end_, "unexpected end of text, expected " + std::string(literal));
            }
        }
        constexpr std::size_t longestQuoted = 40;
        fail(at_, "unknown word '" + std::string(word.substr(0, longestQuoted)) +
                      (word.size() > longestQuoted ? "...'" : "'"));
    }
}

/// @return whether `word`, which starts the rest of the text unread but for a sign, was one.
bool TextReader::readNonFiniteWord(std::string_view word) {
    const bool negative = word.starts_with('-');
    const std::string_view name = word.substr(negative ? 1 : 0);
    const bool isNaN = name == "NaN";
    if (!isNaN && name != "Infinity" && name != "Inf") {
        return false;
    }
    if (!options_.allowNaNInf) {
        fail(word.data(), std::string(word) + " is not allowed");
    }
    const double value =
        isNaN ? std::numeric_limits<double>::quiet_NaN() : std::numeric_limits<double>::infinity();
    builder_.real(negative ? -value : value);
    at_ = word.data() + word.size();
    return true;
}

void TextReader::failUnterminated(const char* stringBegin) const {
    fail(stringBegin, "unexpected end of text in the string that starts here");
}

} // namespace ostra::io::json::core
