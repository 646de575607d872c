#include "node_content/key_union.hpp"

namespace ostra::io::json::tree {

KeyUnion::KeyUnion(std::size_t expected) : entries_(1) {
    entries_.reserve(expected + 1);
    index_.reserve(expected);
    names_.reserve(expected);
}

/// The entry of `name`, which follows that of entry `previous` in an object.
std::size_t KeyUnion::entryAfter(std::size_t previous, std::string_view name) {
    for (const std::size_t follower : entries_[previous].followers) {
        if (follower != 0 && entries_[follower].name == name) {
            return follower;
        }
    }
    const std::size_t found = entryOf(name);
    auto& followers = entries_[previous].followers;
    followers = {found, followers[0]};
    return found;
}

std::size_t KeyUnion::entryOf(std::string_view name) {
    const auto [at, isNew] = index_.try_emplace(name, entries_.size());
    if (isNew) {
        entries_.push_back({.name = name});
    }
    return at->second;
}

void KeyUnion::add(const rapidjson::Value& object) {
    ++object_;
    std::size_t at = 0;
    for (const auto& member : object.GetObject()) {
        const std::string_view name(member.name.GetString(), member.name.GetStringLength());
        at = entryAfter(at, name);
        Entry& entry = entries_[at];
        entry.inObject = entry.object == object_ ? entry.inObject + 1 : 1;
        entry.object = object_;
        if (entry.inObject > entry.inUnion) {
            ++entry.inUnion;
            names_.push_back(name);
        }
    }
}

} // namespace ostra::io::json::tree
