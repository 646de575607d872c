#include "parse_error.hpp"

#include "platform/text_conversion.hpp"

#include <ostra/io/json/core/text_position.hpp>

#include <utility>

namespace ostra::io::json::core {

namespace {

std::string messageOf(const ParseErrorFields& fields) {
    std::string message;
    if (!fields.source.empty()) {
        message = printable(fields.source) + ':';
    }
    message += std::to_string(fields.line) + ':' + std::to_string(fields.column) + ": " +
               fields.reason + " (byte " + std::to_string(fields.byte);
    if (fields.record) {
        message += ", record " + std::to_string(*fields.record);
    }
    return message + ')';
}

} // namespace

ParseError::ParseError(ParseErrorFields fields)
    : std::runtime_error(messageOf(fields)),
      fields_(std::make_shared<const ParseErrorFields>(std::move(fields))) {}
ParseError::~ParseError() = default;

void throwParseError(const std::u16string& sourceName, std::string_view text, std::size_t offset,
                     const std::string& reason, std::optional<std::size_t> record) {
    // Reads the text again, so that reading without an error pays nothing for positions.
    TextPosition position;
    position.advance(text.substr(0, offset));
    const auto [line, column] = position.place(text.substr(offset).starts_with('\n'));
    throw ParseError({.source = fl::i18n::ustring_to_utf8(sourceName),
                      .line = line,
                      .column = column,
                      .byte = offset,
                      .record = record,
                      .reason = reason});
}

void throwMalformed(const std::u16string& sourceName, std::string_view text, std::size_t offset) {
    throwParseError(sourceName, text, offset, malformedReason(text[offset]));
}

std::string malformedReason(char byte) {
    return "malformed UTF-8 at byte value 0x" + hexadecimal(static_cast<unsigned char>(byte), 2);
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
