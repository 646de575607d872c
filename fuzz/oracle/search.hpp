#pragma once

/// Selectors and node names, resolved the slow way: what the lookups are compared with.

#include "agreement.hpp"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace fuzz {

/// The member values or elements of a value, each with its key or index.
inline std::vector<std::pair<std::string, Value*>> childrenOf(Value& value) {
    std::vector<std::pair<std::string, Value*>> children;
    if (value.IsObject()) {
        for (auto m = value.MemberBegin(); !(m == value.MemberEnd()); ++m) {
            children.emplace_back(keyOf(*m), &m->value);
        }
    } else if (value.IsArray()) {
        for (Value& element : value.GetArray()) {
            children.emplace_back(std::to_string(children.size()), &element);
        }
    }
    return children;
}

inline Value* follow(Value* value, const std::vector<std::string>& tokens) {
    for (const std::string& token : tokens) {
        const auto children = childrenOf(*value);
        const auto child = std::find_if(children.begin(), children.end(),
                                        [&](const auto& one) { return one.first == token; });
        if (child == children.end()) {
            return nullptr;
        }
        value = child->second;
    }
    return value;
}

/// The first value with this key, depth first: by recursion.
/// @param way  the keys and indices that lead there, if there is one.
inline Value* findKey(Value& value, const std::string& name, std::vector<std::string>& way) {
    for (const auto& [key, child] : childrenOf(value)) {
        way.push_back(key);
        if (value.IsObject() && key == name) {
            return child;
        }
        if (Value* found = findKey(*child, name, way)) {
            return found;
        }
        way.pop_back();
    }
    return nullptr;
}

/// The scalars in a value and in its arrays; nothing of objects.
inline void flatten(Value& value, std::vector<Value*>& leaves) {
    if (value.IsArray()) {
        for (Value& element : value.GetArray()) {
            flatten(element, leaves);
        }
    } else if (!value.IsObject()) {
        leaves.push_back(&value);
    }
}

/// Splits a selector that is not a URI fragment into its tokens.
/// @return whether it is a selector.
inline bool splitSelector(const std::string& selector, std::vector<std::string>& tokens) {
    for (std::size_t i = 0; i < selector.size();) {
        if (selector[i++] != '/') {
            return false;
        }
        std::string token;
        for (; i < selector.size() && selector[i] != '/'; ++i) {
            if (selector[i] != '~') {
                token += selector[i];
            } else if (++i < selector.size() && (selector[i] == '0' || selector[i] == '1')) {
                token += selector[i] == '0' ? '~' : '/';
            } else {
                return false;
            }
        }
        tokens.push_back(token);
    }
    return true;
}

} // namespace fuzz
