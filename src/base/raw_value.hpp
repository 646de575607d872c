#pragma once

/// Values that take over storage which is already laid out.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <new>
#include <utility>

namespace base {

struct RawValueAccess;

} // namespace base

namespace rapidjson {

/// The door to a value's insides.
///
/// Through its public operations a value grows element by element, and an object cannot even be
/// told its size: RapidJSON 1.1.0 reserves 16 members and then half as many again. It copies an
/// object by playing it back as events through a document with a stack of its own, and writes
/// through null where its pool has no memory. Its own document class sets values up in one step, by
/// a friendship that extends to every specialisation; this one is no document but uses the
/// friendship for the same purpose. Nothing else in this library, nor in its embedded host, depends
/// on how RapidJSON lays out its values.
template <>
class GenericDocument<UTF8<>, MemoryPoolAllocator<>, base::RawValueAccess> {
public:
    /// Makes a fresh value an array of `count` elements at `elements`.
    static void setArray(Value& value, void* elements, SizeType count) {
        value.data_.f.flags = Value::kArrayFlag;
        value.SetElementsPointer(static_cast<Value*>(elements));
        value.data_.a.size = value.data_.a.capacity = count;
    }

    /// Makes a fresh value an object of `count` members at `members`.
    static void setObject(Value& value, void* members, SizeType count) {
        value.data_.f.flags = Value::kObjectFlag;
        value.SetMembersPointer(static_cast<Value::Member*>(members));
        value.data_.o.size = value.data_.o.capacity = count;
    }

    static constexpr SizeType longestInline = Value::ShortString::MaxSize;

    /// Where the bytes of an inline string stand; all `sizeof(Value)` bytes from there may be
    /// written before `setInlineString`.
    static char* inlineBytes(Value& value) { return value.data_.ss.str; }

    /// Makes a value the string of the `length` bytes (at most `longestInline`) that were written
    /// to `inlineBytes` and are followed by a zero byte.
    static void setInlineString(Value& value, SizeType length) {
        value.data_.f.flags = Value::kShortStringFlag;
        value.data_.ss.SetLength(length);
    }

    /// Makes a fresh value a string of `length` bytes at `text`, which a zero byte follows.
    static void setString(Value& value, const char* text, SizeType length) {
        value.data_.f.flags = Value::kCopyStringFlag;
        value.SetStringPointer(text);
        value.data_.s.length = length;
    }
};

} // namespace rapidjson

namespace base {

/// Builds a member with a null value where there is none yet. RapidJSON's releases after 1.1.0 give
/// members no default constructor.
/// @param place  room for a member, aligned for it.
/// @param name   a string; moved from.
inline void makeMember(void* place, rapidjson::Value& name) {
    using Member = rapidjson::Value::Member;
    char* const bytes = static_cast<char*>(place);
    new (bytes + offsetof(Member, name)) rapidjson::Value(std::move(name));
    new (bytes + offsetof(Member, value)) rapidjson::Value();
}

using RawValue =
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::MemoryPoolAllocator<>, RawValueAccess>;

} // namespace base
