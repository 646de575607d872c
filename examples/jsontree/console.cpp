#include "console.hpp"

#include <ostra/io/json/tree/platform/text_conversion.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cwchar>
#include <stdexcept>
#include <system_error>

namespace example {

namespace {

bool isTrailingSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

/// The controls are U+0000 to U+001F and U+007F to U+009F.
bool isControl(char16_t unit) {
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F);
}

/// Columns that the text takes on a terminal.
std::size_t displayWidth(const std::u16string& text) {
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        wchar_t character = text[i];
        if (i + 1 < text.size() && isTrailingSurrogate(text[i + 1])) {
            character = 0x10000 + ((text[i] - 0xD800) << 10) + (text[i + 1] - 0xDC00);
            ++i;
        }
        width += static_cast<std::size_t>(std::max(::wcwidth(character), 0));
    }
    return width;
}

} // namespace

std::u16string u16(const std::string& utf8) {
    return fl::i18n::utf8_to_ustring(utf8);
}

std::string u8(std::u16string_view text) {
    return fl::i18n::ustring_to_utf8(std::u16string(text));
}

std::string printable(const std::string& utf8) {
    std::u16string result;
    for (const char16_t unit : u16(utf8)) {
        if (isControl(unit)) {
            result += u"\\u";
            for (int shift = 12; shift >= 0; shift -= 4) {
                result.push_back(u"0123456789ABCDEF"[(unit >> shift) & 0xF]);
            }
        } else {
            result.push_back(unit);
        }
    }
    return u8(result);
}

std::string shortened(std::u16string_view text, std::size_t characters) {
    std::size_t end = 0;
    for (std::size_t seen = 0; end < text.size(); ++end) {
        if (!isTrailingSurrogate(text[end]) && seen++ == characters) {
            break;
        }
    }
    return printable(u8(text.substr(0, end))) + (end < text.size() ? "…" : "");
}

std::size_t characterCount(const std::u16string& text) {
    std::size_t count = 0;
    for (const char16_t unit : text) {
        count += isTrailingSurrogate(unit) ? 0 : 1;
    }
    return count;
}

std::string grouped(std::size_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t i = digits.size(); i > 3; i -= 3) {
        digits.insert(i - 3, ",");
    }
    return digits;
}

std::string counted(std::size_t number, const std::string& noun) {
    return grouped(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string padded(const std::string& utf8, std::size_t width) {
    const std::size_t length = displayWidth(u16(utf8));
    return utf8 + std::string(length < width ? width - length : 0, ' ');
}

void print(const std::string& utf8) {
    if (std::fwrite(utf8.data(), 1, utf8.size(), stdout) != utf8.size() ||
        std::fflush(stdout) != 0) {
        throw std::runtime_error("cannot write to the standard output: " +
                                 std::generic_category().message(errno));
    }
}

} // namespace example
