#pragma once

/// One step along a JSON Pointer, shared by the cursor and the node vector lookups.

#include "platform/json_core.hpp"

namespace ostra::io::json::tree {

/// The value that one pointer token selects (RFC 6901, section 4).
///
/// On an object it is the first member, in stored order, whose key has the token's bytes; on an
/// array the element at the token's index, where a token that is no index carries RapidJSON's
/// invalid-index marker, which no array is long enough for.
///
/// @return the value, null where there is none. Cost: linear in the members looked at.
inline rapidjson::Value* childByToken(rapidjson::Value& value,
                                      const core::JSONPointer::Token& token) {
    switch (value.GetType()) {
    case rapidjson::kObjectType: {
        // The constant string only refers to the token's text.
        const rapidjson::Value key(rapidjson::StringRef(token.name, token.length));
        const auto member = value.FindMember(key);
        return member == value.MemberEnd() ? nullptr : &member->value;
    }
    case rapidjson::kArrayType:
        return token.index < value.Size() ? &value[token.index] : nullptr;
    case rapidjson::kNullType:
    case rapidjson::kFalseType:
    case rapidjson::kTrueType:
    case rapidjson::kStringType:
    case rapidjson::kNumberType:
        break;
    }
    return nullptr;
}

} // namespace ostra::io::json::tree
