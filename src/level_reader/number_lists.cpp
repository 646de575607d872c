#include "level_reader/level.hpp"
#include "node_content/number_class.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <cstdint>

namespace ostra::io::json::tree {

namespace {

const auto getDouble = [](const rapidjson::Value& value) { return value.GetDouble(); };
const auto getUint64 = [](const rapidjson::Value& value) { return value.GetUint64(); };
const auto getInt64 = [](const rapidjson::Value& value) { return value.GetInt64(); };
const auto setDouble = [](rapidjson::Value& value, double number) { value.SetDouble(number); };
const auto setUint64 = [](rapidjson::Value& value, std::uint64_t number) {
    value.SetUint64(number);
};
const auto setInt64 = [](rapidjson::Value& value, std::int64_t number) { value.SetInt64(number); };

} // namespace

std::vector<double> LevelReader::listDoubles() const {
    return listValues<double>(*current, getDouble, isLosslessDouble);
}

std::vector<unsigned long> LevelReader::listUint64s() const {
    return listValues<unsigned long>(*current, getUint64, isLossyUint64);
}

std::vector<long> LevelReader::listInt64s() const {
    return listValues<long>(*current, getInt64, isLossyInt64);
}

void LevelReader::setDoubles(const std::vector<double>& values) {
    setValues(*current, values, setDouble, isLosslessDouble);
}

void LevelReader::setUint64s(const std::vector<unsigned long>& values) {
    setValues(*current, values, setUint64, isLossyUint64);
}

void LevelReader::setInt64s(const std::vector<long>& values) {
    setValues(*current, values, setInt64, isLossyInt64);
}

} // namespace ostra::io::json::tree
