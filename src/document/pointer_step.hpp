#pragma once

/// One step along a JSON Pointer, shared by the cursor and the node vector lookups.

#include "document/container.hpp"
#include "platform/json_core.hpp"

#include <cstring>

namespace ostra::io::json::tree {

/// The value that one pointer token selects (RFC 6901, section 4).
///
/// On an object it is the first member, in stored order, whose key has the token's bytes; on an
/// array the element at the token's index, for which a token that is not an index carries
/// RapidJSON's invalid-index marker, which no array is long enough for.
///
/// @return the value, null if there is none. Cost: linear in the members looked at.
inline rapidjson::Value* childByToken(rapidjson::Value& value,
                                      const core::JSONPointer::Token& token) {
    switch (value.GetType()) {
    case rapidjson::kObjectType:
        for (rapidjson::SizeType i = 0, count = value.MemberCount(); i < count; ++i) {
            // Not FindMember: it measures the key again, up to a NUL.
            rapidjson::Value::Member& member = memberAt(value, i);
            if (member.name.GetStringLength() == token.length &&
                std::memcmp(member.name.GetString(), token.name, token.length) == 0) {
                return &member.value;
            }
        }
        break;
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
