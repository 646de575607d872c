#include "node_content/number_class.hpp"

namespace ostra::io::json::tree {

bool isLosslessDouble(const rapidjson::Value& value) {
    return value.IsLosslessDouble();
}

bool isLossyUint64(const rapidjson::Value& value) {
    return value.IsUint64() && !value.IsLosslessDouble();
}

// RapidJSON gives a non-negative integer below 2^63 both the signed and the unsigned flag.
bool isLossyInt64(const rapidjson::Value& value) {
    return value.IsInt64() && !value.IsUint64() && !value.IsLosslessDouble();
}

bool isAnyValue(const rapidjson::Value&) {
    return true;
}

} // namespace ostra::io::json::tree
