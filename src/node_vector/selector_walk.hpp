#pragma once

/// Following one selector from many nodes at once.

#include "platform/json_core.hpp"

#include <cstddef>
#include <span>

namespace ostra::io::json::tree {

constexpr std::size_t cacheLine = 64;

/// The memory of a value's members or elements; both null where it has none.
struct ChildStorage {
    const char* begin = nullptr;
    const char* end = nullptr;
};

inline ChildStorage childStorage(const rapidjson::Value& value) {
    ChildStorage storage;
    if (value.IsObject() && !value.ObjectEmpty()) {
        storage.begin = reinterpret_cast<const char*>(&*value.MemberBegin());
        storage.end = storage.begin + value.MemberCount() * sizeof(rapidjson::Value::Member);
    } else if (value.IsArray() && !value.Empty()) {
        storage.begin = reinterpret_cast<const char*>(value.Begin());
        storage.end = storage.begin + value.Size() * sizeof(rapidjson::Value);
    }
    return storage;
}

/// Resolves a selector against every node.
///
/// The result is that of `childByToken` token by token.
///
/// @param selector  valid; shared by all nodes.
/// @param nodes     where to start, none null.
/// @param found     room for one pointer per node: its value, null where it has none.
/// Cost: linear in the nodes and in the members looked at; no allocation.
void walkSelector(const core::JSONPointer& selector, std::span<rapidjson::Value* const> nodes,
                  rapidjson::Value** found);

} // namespace ostra::io::json::tree
