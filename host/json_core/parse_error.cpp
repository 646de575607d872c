#include "parse_error.hpp"

#include "platform/text_conversion.hpp"
#include "utf8.hpp"

namespace ostra::io::json::core {

namespace {

struct LineAndColumn {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// Reads the text anew, so that reading without an error pays nothing for positions.
LineAndColumn locate(std::string_view text, std::size_t offset) {
    LineAndColumn position;
    for (std::size_t i = byteOrderMarkSize(text); i < offset; ++i) {
        const char c = text[i];
        const bool insideCrLf = c == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
        if (c == '\n' || (c == '\r' && !insideCrLf)) {
            ++position.line;
            position.column = 1;
        } else if ((static_cast<unsigned char>(c) & 0xC0U) != 0x80U) {
            ++position.column;
        }
    }
    return position;
}

} // namespace

JSONParseError::JSONParseError(const std::string& message) : std::runtime_error(message) {}
JSONParseError::~JSONParseError() = default;

void throwParseError(const std::u16string& sourceName, std::string_view text, std::size_t offset,
                     const std::string& reason) {
    std::string message;
    if (!sourceName.empty()) {
        message = printable(fl::i18n::ustring_to_utf8(sourceName)) + ':';
    }
    const LineAndColumn position = locate(text, offset);
    message += std::to_string(position.line) + ':' + std::to_string(position.column) + ": " +
               reason + " (byte " + std::to_string(offset) + ')';
    throw JSONParseError(message);
}

std::string printable(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            result += c;
        } else {
            result += "\\u" + hexadecimal(byte, 4);
        }
    }
    return result;
}

std::string hexadecimal(std::uint32_t value, std::size_t width) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (; value != 0 || result.size() < width; value >>= 4U) {
        result.insert(result.begin(), digits[value & 0xFU]);
    }
    return result;
}

} // namespace ostra::io::json::core
