#pragma once

/// Values that take over storage which is already laid out.

#include <ostra/io/json/tree/rapidjson.hpp>

namespace ostra::io::json::tree {

struct RawValueAccess;

} // namespace ostra::io::json::tree

namespace rapidjson {

/// The door to a value's insides.
///
/// RapidJSON 1.1.0 writes through null where its pool has no memory for a string, and copies an
/// object by playing it back as events through a document with a stack of its own. Its document
/// class sets values up in one step, by a friendship that extends to every specialisation; this one
/// is no document but uses the friendship for the same purpose. Nothing else in this library
/// depends on how RapidJSON lays out its values.
template <>
class GenericDocument<UTF8<>, MemoryPoolAllocator<>, ostra::io::json::tree::RawValueAccess> {
public:
    static constexpr SizeType longestInline = Value::ShortString::MaxSize;

    /// Makes a value an object of the `count` members at `members`, which are the pool's.
    static void setObject(Value& value, void* members, SizeType count) {
        value.data_.f.flags = Value::kObjectFlag;
        value.SetMembersPointer(static_cast<Value::Member*>(members));
        value.data_.o.size = value.data_.o.capacity = count;
    }

    /// Makes a value the string of `length` bytes at `text`, which are the pool's and followed by a
    /// zero byte.
    static void setString(Value& value, const char* text, SizeType length) {
        value.data_.f.flags = Value::kCopyStringFlag;
        value.SetStringPointer(text);
        value.data_.s.length = length;
    }
};

} // namespace rapidjson

namespace ostra::io::json::tree {

using RawValue =
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<>, RawValueAccess>;

} // namespace ostra::io::json::tree
