#include "document/array_growth.hpp"
#include "level_reader/level.hpp"
#include "node_content/number_class.hpp"
#include "node_content/type_codes.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <algorithm>
#include <limits>

namespace ostra::io::json::tree {

namespace {

const auto isNumber = [](const rapidjson::Value& value) { return value.IsNumber(); };

/// Makes a value a number of the given class. The most negative integer would be the obvious one
/// for `Int64`, but a double holds it exactly.
void setPlaceholder(rapidjson::Value& value, LevelReader::NumberType type) {
    switch (type) {
    case LevelReader::Uint64:
        value.SetUint64(std::numeric_limits<std::uint64_t>::max());
        return;
    case LevelReader::Int64:
        value.SetInt64(-std::numeric_limits<std::int64_t>::max());
        return;
    case LevelReader::Double:
        break;
    }
    value.SetDouble(0.0);
}

} // namespace

std::vector<rapidjson::Type> LevelReader::listValueTypes() const {
    const auto getType = [](const rapidjson::Value& value) { return value.GetType(); };
    return listValues<rapidjson::Type>(*current, getType, isAnyValue);
}

void LevelReader::setValueTypes(const std::vector<rapidjson::Type>& types) {
    const std::size_t used = current->IsArray()    ? types.size()
                             : current->IsObject() ? std::min(types.size(), current->MemberCount())
                                                   : std::min<std::size_t>(types.size(), 1);
    for (std::size_t i = 0; i < used; ++i) {
        requireTypeCode(typeCode(types[i]), i);
    }
    if (current->IsArray()) {
        growArray(*current, types.size(), dom.document.GetAllocator());
    }
    const auto setFresh = [](rapidjson::Value& value, rapidjson::Type type) {
        value = rapidjson::Value(type);
    };
    setValues(*current, types, setFresh, isAnyValue);
}

std::vector<LevelReader::NumberType> LevelReader::listNumberTypes() const {
    // By the definition, not by numberClass, which takes 1.4 times as long here.
    const auto getClass = [](const rapidjson::Value& value) {
        return value.IsLosslessDouble() ? Double : value.IsUint64() ? Uint64 : Int64;
    };
    return listValues<NumberType>(*current, getClass, isNumber);
}

void LevelReader::setNumberTypes(const std::vector<NumberType>& types) {
    setValues(*current, types, setPlaceholder, isNumber);
}

} // namespace ostra::io::json::tree
