#include "document/container.hpp"
#include "document/errors.hpp"
#include "document/pointer_step.hpp"
#include "document/serialise.hpp"
#include "node_content/type_codes.hpp"
#include "platform/text_conversion.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <algorithm>
#include <new>
#include <string_view>

namespace ostra::io::json::tree {

namespace {

/// A container that is being searched, and the child to look at next.
struct Visit {
    rapidjson::Value* container;
    rapidjson::SizeType next;
};

bool hasKey(const rapidjson::Value::Member& member, std::string_view name) {
    return member.name.GetStringLength() == name.size() &&
           sameBytes(member.name.GetString(), name.data(), name.size());
}

/// @return the value of the first member of `object` with this key, null if there is none.
rapidjson::Value* findMember(rapidjson::Value& object, std::string_view name) {
    const rapidjson::SizeType count = object.IsObject() ? object.MemberCount() : 0;
    for (rapidjson::SizeType i = 0; i < count; ++i) {
        rapidjson::Value::Member& member = memberAt(object, i);
        if (hasKey(member, name)) {
            return &member.value;
        }
    }
    return nullptr;
}

/// Searches `root` and all below it for the first member with this key: an object's member is
/// tested before its value is entered, and a value is searched through before its next sibling.
///
/// @return the containers from `root` down to the one that holds the member, each with the position
///         behind the child that the path takes; empty if there is no such member.
std::vector<Visit> findKeyBelow(rapidjson::Value& root, std::string_view name) {
    std::vector<Visit> path;
    if (isContainer(root)) {
        path.push_back({&root, 0});
    }
    while (!path.empty()) {
        auto& [container, next] = path.back();
        if (next == childCount(*container)) {
            path.pop_back();
            continue;
        }
        const rapidjson::SizeType index = next++;
        if (container->IsObject() && hasKey(memberAt(*container, index), name)) {
            return path;
        }
        rapidjson::Value& child = childAt(*container, index);
        if (isContainer(child)) {
            path.push_back({&child, 0});
        }
    }
    return path;
}

/// RapidJSON writes through null if it cannot allocate memory for a pointer, so that much is
/// allocated and freed just before. Only a thread that takes the very last memory in between could
/// do harm.
void requireMemoryForPointer(const std::string& selector) {
    const auto tokens = static_cast<std::size_t>(std::ranges::count(selector, '/'));
    ::operator delete(
        ::operator new(tokens * sizeof(core::JSONPointer::Token) + selector.size() + 64));
}

} // namespace

void LevelReader::cd(std::size_t index) {
    if (!isContainer(*current)) {
        return;
    }
    parents.push_back(current);
    if (index < childCount(*current)) {
        current = &childAt(*current, index);
    }
}

void LevelReader::cdup() {
    if (!parents.empty()) {
        current = parents.back();
        parents.pop_back();
    }
}

bool LevelReader::cdNodeName(const std::string& name, bool recursive) {
    if (!recursive) {
        rapidjson::Value* const value = findMember(*current, name);
        if (value == nullptr) {
            return false;
        }
        parents.push_back(current);
        current = value;
        return true;
    }
    const std::vector<Visit> path = findKeyBelow(*current, name);
    if (path.empty()) {
        return false;
    }
    const std::size_t depth = parents.size();
    parents.resize(depth + path.size()); // the last step that can fail; nothing has moved
    std::ranges::transform(path, parents.begin() + static_cast<std::ptrdiff_t>(depth),
                           &Visit::container);
    const auto& [container, next] = path.back();
    current = &childAt(*container, next - 1);
    return true;
}

bool LevelReader::cdNodeName(const std::u16string& name, bool recursive) {
    return cdNodeName(fl::i18n::ustring_to_utf8(name), recursive);
}

bool LevelReader::cdSelector(const core::JSONPointer& selector) {
    const std::size_t depth = parents.size();
    const std::size_t count = selector.GetTokenCount();
    parents.resize(depth + count); // the only step that can fail; nothing has moved
    rapidjson::Value* value = current;
    for (std::size_t t = 0; t < count; ++t) {
        parents[depth + t] = value;
        value = childByToken(*value, selector.GetTokens()[t]);
        if (value == nullptr) {
            parents.resize(depth);
            return false;
        }
    }
    current = value;
    return true;
}

bool LevelReader::cdSelector(const std::string& selector) {
    requireMemoryForPointer(selector);
    const core::JSONPointer pointer(selector.data(), selector.size());
    if (!pointer.IsValid()) {
        throwError(OSTRA::io::json::common::InvalidJSONPointer(selector));
    }
    return cdSelector(pointer);
}

bool LevelReader::cdSelector(const std::u16string& selector) {
    return cdSelector(fl::i18n::ustring_to_utf8(selector));
}

rapidjson::Type LevelReader::getCurrentType() const {
    return current->GetType();
}

void LevelReader::setCurrentType(const rapidjson::Type& type) {
    requireTypeCode(typeCode(type), 0);
    *current = rapidjson::Value(type);
}

std::u16string LevelReader::writeString(const write::struct_::WriteStructOptions& options) const {
    return serialiseToString(*current, options);
}

void LevelReader::writeFile(const std::u16string& path,
                            const write::struct_::WriteStructOptions& options) const {
    serialiseToFile(*current, path, options);
}

} // namespace ostra::io::json::tree
