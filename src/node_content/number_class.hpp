#pragma once

/// The three classes of numbers, as the cursor's lists and the node vectors' columns share them.
/// Every number passes exactly one of the three class predicates, any other value none.

#include <ostra/io/json/tree/rapidjson.hpp>

namespace ostra::io::json::tree {

/// Class `Double`: held as a double, or an integer that a double holds exactly.
bool isLosslessDouble(const rapidjson::Value& value);

/// Class `Uint64`: a non-negative integer that a double does not hold exactly.
bool isLossyUint64(const rapidjson::Value& value);

/// Class `Int64`: a negative integer that a double does not hold exactly.
bool isLossyInt64(const rapidjson::Value& value);

/// True for every value.
bool isAnyValue(const rapidjson::Value& value);

} // namespace ostra::io::json::tree
