#include "columns/found_value.hpp"

#include "document/write_number.hpp"

#include <vector>

namespace ostra::io::json::columns {

namespace {

std::string plainText(const FoundValue& value) {
    using Type = FoundValue::Type;
    switch (value.type) {
    case Type::Null:
        return "null";
    case Type::False:
        return "false";
    case Type::True:
        return "true";
    case Type::Object:
        return "an object";
    case Type::Array:
        return "an array of " + std::to_string(value.bits);
    case Type::String:
        return "a string";
    case Type::Int:
        return std::to_string(static_cast<std::int64_t>(value.bits));
    case Type::Uint:
        return std::to_string(value.bits);
    case Type::Huge:
        return "an integer beyond 64 bits";
    case Type::Double:
        break;
    }
    char digits[tree::smallPiece];
    return {digits, tree::putDouble(digits, std::bit_cast<double>(value.bits), true)};
}

} // namespace

std::string FoundValue::text() const {
    return plainText(*this) + (inArray ? " in an array" : "");
}

bool holdsHugeInteger(const rapidjson::Value& value) {
    std::vector<const rapidjson::Value*> open = {&value};
    while (!open.empty()) {
        const rapidjson::Value& next = *open.back();
        open.pop_back();
        if (next.IsArray()) {
            for (const rapidjson::Value& element : next.GetArray()) {
                open.push_back(&element);
            }
        } else if (next.IsObject()) {
            for (const rapidjson::Value::Member& member : next.GetObject()) {
                open.push_back(&member.value);
            }
        } else if (base::RawValue::isBigInteger(next)) {
            return true;
        }
    }
    return false;
}

} // namespace ostra::io::json::columns
