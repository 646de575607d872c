#pragma once

/// Objects and arrays alike: values that have children.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>

namespace ostra::io::json::tree {

inline bool isContainer(const rapidjson::Value& value) {
    return value.IsObject() || value.IsArray();
}

/// The number of member values or elements; 0 for any other value.
inline rapidjson::SizeType childCount(const rapidjson::Value& value) {
    return value.IsObject() ? value.MemberCount() : value.IsArray() ? value.Size() : 0;
}

/// Member `index` of an object; `index` must be below its member count.
inline rapidjson::Value::Member& memberAt(rapidjson::Value& object, rapidjson::SizeType index) {
    return object.MemberBegin()[static_cast<std::ptrdiff_t>(index)];
}
inline const rapidjson::Value::Member& memberAt(const rapidjson::Value& object,
                                                rapidjson::SizeType index) {
    return object.MemberBegin()[static_cast<std::ptrdiff_t>(index)];
}

/// Child `index` of a container; `index` must be below `childCount`.
inline rapidjson::Value& childAt(rapidjson::Value& container, rapidjson::SizeType index) {
    return container.IsObject() ? memberAt(container, index).value : container[index];
}

} // namespace ostra::io::json::tree
