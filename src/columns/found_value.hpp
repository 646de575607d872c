#pragma once

/// What a message says of a value.

#include "base/raw_value.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <bit>
#include <cstdint>
#include <string>

namespace ostra::io::json::columns {

/// A value as far as a message names it: small, so that it can be remembered for what may yet turn
/// out to be a conflict.
struct FoundValue {
    enum class Type : std::uint8_t {
        Null,
        False,
        True,
        Object,
        Array,
        String,
        Int,
        Uint,
        Double,
        Huge
    };

    Type type = Type::Null;
    bool inArray = false;
    std::uint64_t bits =
        0; // of a number, rounded if it is a huge integer; the elements of an array

    static FoundValue of(const rapidjson::Value& value, bool inArray) {
        if (value.IsNumber()) {
            return isHuge(value)      ? FoundValue{Type::Huge, inArray, bitsOf(value.GetDouble())}
                   : value.IsDouble() ? ofDouble(value.GetDouble(), inArray)
                   : value.IsUint64() ? FoundValue{Type::Uint, inArray, value.GetUint64()}
                                      : FoundValue{Type::Int, inArray,
                                                   static_cast<std::uint64_t>(value.GetInt64())};
        }
        return {static_cast<Type>(value.GetType()), inArray, value.IsArray() ? value.Size() : 0};
    }
    static FoundValue ofDouble(double number, bool inArray) {
        return {Type::Double, inArray, std::bit_cast<std::uint64_t>(number)};
    }
    static std::uint64_t bitsOf(double number) { return std::bit_cast<std::uint64_t>(number); }
    static bool isHuge(const rapidjson::Value& value) {
        return base::RawValue::isBigInteger(value);
    }
    static_assert(static_cast<int>(Type::String) == rapidjson::kStringType);

    /// "a string", "2.5", "an array of 4", "null in an array"
    std::string text() const;
};

/// @return whether an integer beyond 64 bits, marked as such, stands anywhere in a value.
/// Cost: linear in the value; no native stack in proportion to its depth.
bool holdsHugeInteger(const rapidjson::Value& value);

} // namespace ostra::io::json::columns
