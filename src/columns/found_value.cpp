#include "columns/found_value.hpp"

#include "document/write_number.hpp"

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

} // namespace ostra::io::json::columns
