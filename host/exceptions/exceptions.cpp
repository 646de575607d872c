#include "platform/exceptions.hpp"

#include "platform/text_conversion.hpp"

namespace foundation::core::except {
namespace {

struct ArgumentText {
    std::string operator()(long number) const { return std::to_string(number); }
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(const std::u16string& text) const {
        return fl::i18n::ustring_to_utf8(text);
    }
};

} // namespace

// Out of line, so that the type information hosts catch by has one home: this library.
IMsgIDException::~IMsgIDException() = default;

std::string IMsgIDException::get_error_id(const BaseMsgID& message) {
    return message.catalog + ":" + message.key;
}

std::string IMsgIDException::get_error_text(const BaseMsgID& message) {
    std::string text = get_error_id(message);
    const char* separator = ": ";
    for (const MessageArgument& argument : message.arguments) {
        text += separator;
        text += std::visit(ArgumentText(), argument);
        separator = ", ";
    }
    return text;
}

} // namespace foundation::core::except
