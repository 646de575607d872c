#pragma once

/// The three classes of numbers, as the cursor's lists and the node vectors' columns share them.
/// Every number passes exactly one of the three class predicates, any other value none.

#include <ostra/io/json/tree/level_reader.hpp>

#include <bit>
#include <cstdint>

namespace ostra::io::json::tree {

/// Whether a double holds a whole number exactly: from its highest to its lowest bit set, it has no
/// more than the 53 bits of a mantissa.
/// @param magnitude  the number without its sign.
constexpr bool fitsMantissa(std::uint64_t magnitude) {
    constexpr int mantissaBits = 53;
    return magnitude >> mantissaBits == 0 ||
           magnitude >> std::countr_zero(magnitude) >> mantissaBits == 0;
}

/// The class of a number.
///
/// The same answer as RapidJSON's `IsLosslessDouble` gives, which converts there and back through
/// memory each time.
///
/// @param number  must be a number.
inline LevelReader::NumberType numberClass(const rapidjson::Value& number) {
    // A value fresh from its type has every flag and is 0.
    if (number.IsDouble()) {
        return LevelReader::Double;
    }
    // RapidJSON gives a non-negative integer below 2^63 both the signed and the unsigned flag.
    if (number.IsUint64()) {
        return fitsMantissa(number.GetUint64()) ? LevelReader::Double : LevelReader::Uint64;
    }
    const auto bits = static_cast<std::uint64_t>(number.GetInt64());
    return fitsMantissa(0 - bits) ? LevelReader::Double : LevelReader::Int64;
}

/// Class `Double`: held as a double, or an integer that a double holds exactly.
inline bool isLosslessDouble(const rapidjson::Value& value) {
    return value.IsNumber() && numberClass(value) == LevelReader::Double;
}

// The next two answer as numberClass does, and say no at the first flag that is missing: setting
// one number in eight takes two thirds of the time.

/// Class `Uint64`: a non-negative integer that a double does not hold exactly.
inline bool isLossyUint64(const rapidjson::Value& value) {
    return value.IsUint64() && !fitsMantissa(value.GetUint64());
}

/// Class `Int64`: a negative integer that a double does not hold exactly.
inline bool isLossyInt64(const rapidjson::Value& value) {
    return value.IsInt64() && !value.IsUint64() &&
           !fitsMantissa(0 - static_cast<std::uint64_t>(value.GetInt64()));
}

/// True for every value.
inline bool isAnyValue(const rapidjson::Value& /*value*/) {
    return true;
}

} // namespace ostra::io::json::tree
