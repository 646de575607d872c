#pragma once

/// One step along a JSON Pointer, shared by the cursor and the node vector lookups.

#include "document/container.hpp"
#include "platform/json_core.hpp"

#include <cstdint>
#include <cstring>

namespace ostra::io::json::tree {

/// Whether two strings of `length` bytes are equal: `memcmp` without the call, for keys are short.
inline bool sameBytes(const char* a, const char* b, std::size_t length) {
    const auto same = [&]<class Word>(Word left, std::size_t at) {
        Word right = left;
        std::memcpy(&left, a + at, sizeof left);
        std::memcpy(&right, b + at, sizeof right);
        return left == right;
    };
    if (length > 2 * sizeof(std::uint64_t)) {
        return std::memcmp(a, b, length) == 0;
    }
    if (length >= sizeof(std::uint64_t)) { // two words, which may overlap
        return same(std::uint64_t{}, 0) && same(std::uint64_t{}, length - sizeof(std::uint64_t));
    }
    if (length >= sizeof(std::uint32_t)) {
        return same(std::uint32_t{}, 0) && same(std::uint32_t{}, length - sizeof(std::uint32_t));
    }
    return length == 0 ||
           (a[0] == b[0] && a[length / 2] == b[length / 2] && a[length - 1] == b[length - 1]);
}

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
                sameBytes(member.name.GetString(), token.name, token.length)) {
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
