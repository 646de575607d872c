#include "node_content/text.hpp"

#include "base/pool_memory.hpp"
#include "base/raw_value.hpp"
#include "platform/text_conversion.hpp"

#include <cstring>

namespace ostra::io::json::tree {

std::u16string toUString(const rapidjson::Value& value) {
    return fl::i18n::utf8_to_ustring(value.GetString(), value.GetStringLength());
}

rapidjson::Value makeStringValue(const std::u16string& text, rapidjson::Document& document) {
    const std::string utf8 = fl::i18n::ustring_to_utf8(text);
    if (utf8.size() <= base::RawValue::longestInline) {
        return {utf8.data(), utf8.size(), document.GetAllocator()};
    }
    // Not RapidJSON's own copy: it writes through null if the pool has no memory.
    void* const bytes = base::takeFromPool(document.GetAllocator(), utf8.size() + 1);
    std::memcpy(bytes, utf8.c_str(), utf8.size() + 1);
    rapidjson::Value value;
    base::RawValue::setString(value, static_cast<const char*>(bytes), utf8.size());
    return value;
}

} // namespace ostra::io::json::tree
