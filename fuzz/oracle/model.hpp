#pragma once

/// A cursor on a document of its own, done the slow way: what the cursor operations are compared
/// with.

#include "search.hpp"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace fuzz {

/// Lists the values on the way from one to another, the last one included.
/// @return whether it lies below.
inline bool findWay(Value& from, const Value* to, std::vector<Value*>& way) {
    for (const auto& child : childrenOf(from)) {
        way.push_back(child.second);
        if (child.second == to || findWay(*child.second, to, way)) {
            return true;
        }
        way.pop_back();
    }
    return false;
}

/// Only the current value and what lies in it change: the values above stay where they are.
class ModelCursor {
public:
    explicit ModelCursor(rapidjson::Document document)
        : document_(std::move(document)), way_{&document_} {}

    Value& current() { return *way_.back(); }
    rapidjson::Document::AllocatorType& pool() { return document_.GetAllocator(); }
    bool atTop() const { return way_.size() == 1; }

    void cd(std::size_t index) {
        if (current().IsObject() || current().IsArray()) {
            const auto children = childrenOf(current());
            way_.push_back(index < children.size() ? children[index].second : &current());
        }
    }

    void cdup() {
        if (!atTop()) {
            way_.pop_back();
        }
    }

    bool cdNodeName(const std::string& name, bool recursive) {
        std::vector<std::string> keys;
        Value* const found = recursive              ? findKey(current(), name, keys)
                             : current().IsObject() ? follow(&current(), {name})
                                                    : nullptr;
        return found != nullptr && findWay(current(), found, way_);
    }

    bool cdTokens(const std::vector<std::string>& tokens) {
        Value* const found = follow(&current(), tokens);
        return found != nullptr && (tokens.empty() || findWay(current(), found, way_));
    }

    /// The entries of the level.
    std::vector<Value*> level() {
        std::vector<Value*> entries;
        for (const auto& child : childrenOf(current())) {
            entries.push_back(child.second);
        }
        const bool isOne = !current().IsObject() && !current().IsArray();
        return isOne ? std::vector<Value*>{&current()} : entries;
    }

    /// Replaces the entries that `matches` one by one; a level of one whatever it is.
    template <class Matches>
    void replace(std::vector<Value>& values, const Matches& matches) {
        std::size_t used = 0;
        for (Value* entry : level()) {
            if (used < values.size() && (entry == &current() || matches(*entry))) {
                *entry = values[used++];
            }
        }
    }

private:
    rapidjson::Document document_;
    std::vector<Value*> way_; // from the root to the current value
};

} // namespace fuzz
