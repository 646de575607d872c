#pragma once

/// Escapes in strings (RFC 8259, section 7), for the fast readers.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace ostra::io::json::core {

/// Bytes that `readEscape` may write, of which some are none of the character.
inline constexpr std::size_t longestEscape = 4;

/// What a backslash and a character stand for; 0 if they are not an escape.
inline constexpr std::array<char, 256> simpleEscapes = [] {
    std::array<char, 256> result{};
    result['"'] = '"';
    result['\\'] = '\\';
    result['/'] = '/';
    result['b'] = '\b';
    result['f'] = '\f';
    result['n'] = '\n';
    result['r'] = '\r';
    result['t'] = '\t';
    return result;
}();

/// The values of hexadecimal digits; negative for all other bytes.
inline constexpr std::array<std::int8_t, 256> hexDigits = [] {
    std::array<std::int8_t, 256> result{};
    for (std::size_t c = 0; c < result.size(); ++c) {
        const auto from = [c](char first, char last) {
            return c >= static_cast<unsigned char>(first) && c <= static_cast<unsigned char>(last);
        };
        const std::size_t value = from('0', '9')   ? c - '0'
                                  : from('a', 'f') ? c - 'a' + 10
                                  : from('A', 'F') ? c - 'A' + 10
                                                   : 0xFF;
        result[c] = static_cast<std::int8_t>(value);
    }
    return result;
}();

/// @return the value of four hexadecimal digits; negative if one of them is not.
[[gnu::always_inline]] inline int hexUnit(const char* at) {
    const auto digit = [at](std::size_t i) {
        return int{hexDigits[static_cast<unsigned char>(at[i])]};
    };
    return digit(0) << 12 | digit(1) << 8 | digit(2) << 4 | digit(3);
}

/// Writes a code point above U+007F that is not a surrogate; may write up to four bytes.
/// @return the position after it.
[[gnu::always_inline]] inline char* writeUtf8(char* to, unsigned codePoint) {
    const auto tail = [codePoint](unsigned shift) {
        return 0x80U | ((codePoint >> shift) & 0x3FU);
    };
    const auto write = [to](unsigned bytes, std::size_t count) {
        std::memcpy(to, &bytes, sizeof bytes);
        return to + count;
    };
    if (codePoint < 0x800) {
        return write(0xC0U | codePoint >> 6U | tail(0) << 8U, 2);
    }
    if (codePoint < 0x10000) {
        return write(0xE0U | codePoint >> 12U | tail(6) << 8U | tail(0) << 16U, 3);
    }
    return write(0xF0U | codePoint >> 18U | tail(12) << 8U | tail(6) << 16U | tail(0) << 24U, 4);
}

/// Reads the escape at `at`, at most 12 bytes.
/// @return the position after it, null if it is malformed.
[[gnu::always_inline]] inline const char* readEscape(const char* at, char*& to) {
    if (at[1] != 'u') {
        const char character = simpleEscapes[static_cast<unsigned char>(at[1])];
        *to++ = character;
        return character != 0 ? at + 2 : nullptr;
    }
    const int unit = hexUnit(at + 2);
    at += 6;
    if (unit < 0x80) {
        *to++ = static_cast<char>(unit);
        return unit >= 0 ? at : nullptr;
    }
    auto codePoint = static_cast<unsigned>(unit);
    if ((codePoint & 0xF800U) == 0xD800U) {
        const int low = at[0] == '\\' && at[1] == 'u' ? hexUnit(at + 2) : -1;
        if (codePoint >= 0xDC00 || low < 0xDC00 || low > 0xDFFF) {
            return nullptr;
        }
        codePoint = 0x10000 + ((codePoint - 0xD800) << 10U) + (static_cast<unsigned>(low) - 0xDC00);
        at += 6;
    }
    to = writeUtf8(to, codePoint);
    return at;
}

} // namespace ostra::io::json::core
