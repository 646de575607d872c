#pragma once

/// Values that take over storage which is already laid out.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <cstdint>
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
/// through null if its pool is out of memory. Its own document class sets values up in one step, by
/// a friendship that extends to every specialisation; this one is not a document but uses the
/// friendship for the same purpose. Nothing else in this library, nor in its embedded host, depends
/// on how RapidJSON lays out its values.
template <>
class GenericDocument<UTF8<>, MemoryPoolAllocator<>, base::RawValueAccess> {
    static constexpr std::uint16_t bigIntegerFlag = 0x8000;

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

    /// Marks a double as the rounded one of an integer beyond 64 bits, in a flag that RapidJSON
    /// does not use: to everybody else it is an ordinary double. Only in documents that are not
    /// handed out.
    static void markBigInteger(Value& value) { value.data_.f.flags |= bigIntegerFlag; }

    static bool isBigInteger(const Value& value) {
        return (value.data_.f.flags & bigIntegerFlag) != 0;
    }

    /// The last word of what stands for a value that is not there: no value has all flags.
    static constexpr std::uint64_t absentWord = std::uint64_t{0xFFFF} << 48U;

    static bool isAbsent(const Value& value) { return value.data_.f.flags == absentWord >> 48U; }

    // For code that writes the three words of a value directly. The first two are: the bits of a
    // number and 0; the size of a container, twice; the length of a string and 0; the first 16
    // bytes of an inline string. The last one has the flags in its upper 16 bits, and below them a
    // pointer or the rest of an inline string.

    static constexpr std::uint64_t nullWord = std::uint64_t{Value::kNullFlag} << 48U;
    static constexpr std::uint64_t trueWord = std::uint64_t{Value::kTrueFlag} << 48U;
    static constexpr std::uint64_t falseWord = std::uint64_t{Value::kFalseFlag} << 48U;
    static constexpr std::uint64_t realWord = std::uint64_t{Value::kNumberDoubleFlag} << 48U;
    static constexpr std::uint64_t arrayWord = std::uint64_t{Value::kArrayFlag} << 48U;
    static constexpr std::uint64_t objectWord = std::uint64_t{Value::kObjectFlag} << 48U;
    static constexpr std::uint64_t stringWord = std::uint64_t{Value::kCopyStringFlag} << 48U;

    /// The last word of an integer, with the flags of all classes that can hold it.
    static constexpr std::uint64_t integerWord(std::uint64_t magnitude, bool negative) {
        constexpr std::uint64_t largestInt = 0x7FFFFFFF;
        constexpr std::uint64_t isInt = Value::kIntFlag;
        constexpr std::uint64_t isUint = Value::kUintFlag;
        constexpr std::uint64_t isInt64 = Value::kNumberInt64Flag;
        constexpr std::uint64_t isUint64 = Value::kNumberUint64Flag;
        if (negative) {
            return (isInt64 | (magnitude <= largestInt + 1 ? isInt : 0U)) << 48U;
        }
        if (magnitude <= largestInt) [[likely]] {
            return (isInt64 | isUint64 | isInt | isUint) << 48U;
        }
        return (isUint64 | (magnitude >> 63U == 0 ? isInt64 : 0U) |
                (magnitude >> 32U == 0 ? isUint : 0U))
               << 48U;
    }

    /// The last word of an inline string of `length` bytes, without its bytes after the first 16.
    static constexpr std::uint64_t inlineWord(std::uint64_t length) {
        return (std::uint64_t{Value::kShortStringFlag} << 48U | std::uint64_t{longestInline}
                                                                    << 40U) -
               (length << 40U);
    }
};

} // namespace rapidjson

namespace base {

/// Builds a member with a null value in memory that holds none yet. RapidJSON's releases
/// after 1.1.0 give members no default constructor.
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
