#include "node_content/text.hpp"

#include "platform/text_conversion.hpp"

namespace ostra::io::json::tree {

std::u16string toUString(const rapidjson::Value& value) {
    return fl::i18n::utf8_to_ustring(value.GetString(), value.GetStringLength());
}

rapidjson::Value makeStringValue(const std::u16string& text, rapidjson::Document& document) {
    const std::string utf8 = fl::i18n::ustring_to_utf8(text);
    return {utf8.data(), utf8.size(), document.GetAllocator()};
}

} // namespace ostra::io::json::tree
