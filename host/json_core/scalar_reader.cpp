#include "nearest_double.hpp"
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

/// @return the character that `\` and `c` stand for, 0 if they are not an escape.
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

/// @return the double nearest to `magnitude * 10^exponent` if one operation on two exact doubles
///         gives it, correctly rounded by IEEE 754; empty otherwise.
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

/// @return the first byte that may not stand in a string as it is, `end` if there is none.
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

const char* TextReader::readString(const char* at) {
    const char* const begin = at++;
    const char* const special = findSpecial(at, end_);
    if (!isAt(special, '"')) { // most strings have no escape: no detour through the scratch text
        return readEscapedString(begin, special);
    }
    builder_.string({at, static_cast<std::size_t>(special - at)});
    return special + 1;
}

/// Reads a string whose first special character, which does not end it, is at `at`.
const char* TextReader::readEscapedString(const char* begin, const char* at) {
    scratch_.assign(begin + 1, at);
    while (!isAt(at, '"')) {
        if (at == end_) {
            failUnterminated(begin);
        }
        if (*at != '\\') {
            fail(at, "unescaped control character U+" +
                         hexadecimal(static_cast<unsigned char>(*at), 4) + " in a string");
        }
        const char* const run = readEscape(at, begin);
        at = findSpecial(run, end_);
        scratch_.append(run, at);
    }
    builder_.string(scratch_);
    return at + 1;
}

const char* TextReader::readEscape(const char* at, const char* stringBegin) {
    const char* const escape = at++;
    if (at == end_) {
        failUnterminated(stringBegin);
    }
    if (*at != 'u') {
        const char character = simpleEscape(*at);
        if (character == 0) {
            fail(escape, "unknown escape in a string");
        }
        scratch_ += character;
        return at + 1;
    }
    char32_t codePoint = 0;
    at = readHexUnit(at + 1, stringBegin, codePoint);
    if (codePoint >= 0xD800 && codePoint < 0xDC00 && isAt(at, '\\')) {
        if (at + 1 == end_) {
            failUnterminated(stringBegin);
        }
        char32_t low = 0;
        const char* const second = at[1] == 'u' ? readHexUnit(at + 2, stringBegin, low) : at;
        if (low >= 0xDC00 && low < 0xE000) {
            codePoint = 0x10000 + ((codePoint - 0xD800) << 10U) + (low - 0xDC00);
            at = second;
        }
    }
    if (codePoint >= 0xD800 && codePoint < 0xE000) {
        fail(escape, std::string(escape, 6) + " is one half of a surrogate pair");
    }
    appendUtf8(scratch_, codePoint);
    return at;
}

/// Reads the four hexadecimal digits after `\u`.
const char* TextReader::readHexUnit(const char* at, const char* stringBegin, char32_t& unit) const {
    unit = 0;
    for (int i = 0; i < 4; ++i, ++at) {
        if (at == end_) {
            failUnterminated(stringBegin);
        }
        const char c = *at;
        if (c >= '0' && c <= '9') {
            unit = unit * 16 + static_cast<char32_t>(c - '0');
        } else if ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F')) {
            unit = unit * 16 + static_cast<char32_t>((c & ~0x20) - 'A' + 10);
        } else {
            fail(at, "expected four hexadecimal digits after \\u");
        }
    }
    return at;
}

/// Integers of up to 64 bits stay integers; `-0` is the integer 0, as RapidJSON has it.
const char* TextReader::readNumber(const char* at) {
    const char* const number = at;
    const bool negative = *at == '-';
    at += negative ? 1 : 0;
    const char* const digits = at;
    std::uint64_t magnitude = 0;
    at = addDigits(at, magnitude);
    const std::string_view integer(digits, static_cast<std::size_t>(at - digits));
    if (integer.empty()) {
        at = endOfWord(at);
        if (!readNonFiniteWord({number, static_cast<std::size_t>(at - number)})) {
            failExpected(digits, "a digit after '-'");
        }
        return at;
    }
    if (integer.size() > 1 && integer.front() == '0') {
        fail(number, "number with a leading zero");
    }
    const bool fits = fitsUint64(integer) && (!negative || magnitude <= std::uint64_t{1} << 63U);
    if (isAt(at, '.') || isAt(at, 'e') || isAt(at, 'E')) {
        return readFraction(at, number, magnitude);
    }
    if (!fits) {
        return readBigInteger(at, number);
    }
    if (negative) {
        builder_.integer(static_cast<std::int64_t>(0 - magnitude));
    } else {
        builder_.integer(magnitude);
    }
    return at;
}

/// After the digits of an integer beyond 64 bits.
const char* TextReader::readBigInteger(const char* at, const char* number) {
    if (bigIntegers_ == BigIntegerRule::Refuse) {
        fail(number, "integer beyond 64 bits");
    }
    const auto value = nearestDouble({number, static_cast<std::size_t>(at - number)});
    if (!value) {
        fail(number, "number beyond the range of a double");
    }
    if (bigIntegers_ == BigIntegerRule::RoundAndMark) {
        builder_.bigInteger(*value);
    } else {
        builder_.real(*value);
    }
    return at;
}

/// After the integer digits of a number with a fraction or an exponent: reads the rest of it.
const char* TextReader::readFraction(const char* at, const char* number, std::uint64_t magnitude) {
    int exponent = 0;
    if (isAt(at, '.')) {
        const char* const digits = ++at;
        at = addDigits(at, magnitude);
        if (at == digits) {
            failExpected(at, "a digit after the decimal point");
        }
        exponent = -static_cast<int>(std::min<std::ptrdiff_t>(at - digits, unusualExponent));
    }
    const char* const mantissaEnd = at;
    if (isAt(at, 'e') || isAt(at, 'E')) {
        at = addExponent(at, exponent);
    }
    const bool negative = *number == '-';
    if (mantissaEnd - number <= longestExact) {
        if (const auto value = exactDouble(magnitude, exponent)) {
            builder_.real(negative ? -*value : *value);
            return at;
        }
    }
    const auto value = nearestDouble({number, static_cast<std::size_t>(at - number)});
    if (!value) {
        fail(number, "number beyond the range of a double");
    }
    builder_.real(*value);
    return at;
}

/// Appends the decimal digits that stand here to a number, which wraps when it becomes too long.
const char* TextReader::addDigits(const char* at, std::uint64_t& magnitude) const {
    for (; isDigitAt(at); ++at) {
        magnitude = magnitude * 10 + static_cast<std::uint64_t>(*at - '0');
    }
    return at;
}

/// Adds the exponent that stands here, cut off if it is unusually large.
const char* TextReader::addExponent(const char* at, int& exponent) const {
    ++at;
    const bool negative = isAt(at, '-');
    if (negative || isAt(at, '+')) {
        ++at;
    }
    if (!isDigitAt(at)) {
        failExpected(at, "a digit in the exponent");
    }
    int written = 0;
    for (; isDigitAt(at); ++at) {
        written = std::min(written * 10 + (*at - '0'), unusualExponent);
    }
    exponent += negative ? -written : written;
    return at;
}

const char* TextReader::endOfWord(const char* at) const {
    return std::find_if_not(at, end_, isWordCharacter);
}

const char* TextReader::readWord(const char* at) {
    const char* const wordEnd = endOfWord(at);
    const std::string_view word(at, static_cast<std::size_t>(wordEnd - at));
    if (word == "true" || word == "false") {
        builder_.boolean(word == "true");
    } else if (word == "null") {
        builder_.null();
    } else if (!readNonFiniteWord(word)) {
        if (word.empty()) {
            const bool first = !levels_.empty() && levels_.back().count == 0;
            failExpected(at, first && !levels_.back().isObject ? "a value or ']'" : "a value");
        }
        for (const std::string_view literal : {"true", "false", "null"}) {
            if (wordEnd == end_ && literal.starts_with(word)) {
                fail(end_, "unexpected end of text, expected " + std::string(literal));
            }
        }
        constexpr std::size_t longestQuoted = 40;
        fail(at, "unknown word '" + std::string(word.substr(0, longestQuoted)) +
                     (word.size() > longestQuoted ? "...'" : "'"));
    }
    return wordEnd;
}

/// @return whether `word`, with its sign, was one.
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
    return true;
}

void TextReader::failUnterminated(const char* stringBegin) const {
    fail(stringBegin, "unexpected end of text in the string that starts here");
}

} // namespace ostra::io::json::core
