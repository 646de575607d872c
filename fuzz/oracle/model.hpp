#pragma once

/// A JSON tree and a cursor on it, done the slow way: what the cursor operations are compared with.

#include "agreement.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace fuzz {

/// A number as RapidJSON keeps it: an integer, or a double.
using Number = std::variant<double, std::uint64_t, std::int64_t>;

/// One value. An object has a key for each of its children, an array none.
struct Tree {
    rapidjson::Type type = rapidjson::kNullType;
    Number number = 0.0;
    std::string text;
    std::vector<std::string> keys;
    std::vector<Tree> children;

    bool isContainer() const {
        return type == rapidjson::kObjectType || type == rapidjson::kArrayType;
    }
};

inline Tree ofType(int code) {
    return {static_cast<rapidjson::Type>(code), 0.0, {}, {}, {}};
}

inline Tree ofNumber(Number number) {
    return {rapidjson::kNumberType, number, {}, {}, {}};
}

inline Tree ofText(std::string text) {
    return {rapidjson::kStringType, 0.0, std::move(text), {}, {}};
}

inline Tree toTree(const Value& value) {
    Tree tree = ofType(value.GetType());
    if (value.IsString()) {
        tree.text.assign(value.GetString(), value.GetStringLength());
    } else if (value.IsUint64()) {
        tree.number = value.GetUint64();
    } else if (value.IsInt64()) {
        tree.number = value.GetInt64();
    } else if (value.IsNumber()) {
        tree.number = value.GetDouble();
    } else if (value.IsObject()) {
        for (auto m = value.MemberBegin(); !(m == value.MemberEnd()); ++m) {
            tree.keys.push_back(keyOf(*m));
            tree.children.push_back(toTree(m->value));
        }
    } else if (value.IsArray()) {
        for (const Value& element : value.GetArray()) {
            tree.children.push_back(toTree(element));
        }
    }
    return tree;
}

inline Value fromTree(const Tree& tree, rapidjson::Document::AllocatorType& pool) {
    Value value(tree.type);
    if (tree.type == rapidjson::kStringType) {
        value.SetString(tree.text.data(), tree.text.size(), pool);
    } else if (tree.type == rapidjson::kNumberType) {
        std::visit([&](auto number) { value = Value(number); }, tree.number);
    }
    for (std::size_t i = 0; i < tree.children.size(); ++i) {
        Value child = fromTree(tree.children[i], pool);
        if (tree.type == rapidjson::kArrayType) {
            value.PushBack(child, pool);
        } else {
            const std::string& key = tree.keys[i];
            value.AddMember(Value(key.data(), key.size(), pool), child, pool);
        }
    }
    return value;
}

inline std::u16string textOf(const Tree& tree, const WriteOptions& options) {
    tree::DOM dom;
    static_cast<Value&>(dom.document) = fromTree(tree, dom.document.GetAllocator());
    return tree::write_string(dom, options);
}

/// The class of a number: 0 if a double holds it exactly, 1 or 2 for other integers without and
/// with a sign.
inline int classOf(const Number& number) {
    if (const auto* natural = std::get_if<std::uint64_t>(&number)) {
        const auto real = static_cast<double>(*natural);
        return real < 0x1p64 && static_cast<std::uint64_t>(real) == *natural ? 0 : 1;
    }
    if (const auto* whole = std::get_if<std::int64_t>(&number)) {
        const auto real = static_cast<double>(*whole);
        if (real < 0x1p63 && static_cast<std::int64_t>(real) == *whole) {
            return 0;
        }
        return *whole < 0 ? 2 : 1;
    }
    return 0;
}

/// A cursor that keeps the way it went and walks it again each time.
class ModelCursor {
public:
    explicit ModelCursor(Tree root) : root_(std::move(root)) {}

    Tree& current() {
        Tree* at = &root_;
        for (const std::optional<std::size_t>& step : way_) {
            at = step ? &at->children[*step] : at;
        }
        return *at;
    }

    bool atTop() const { return way_.empty(); }

    void cd(std::size_t index) {
        const Tree& at = current();
        if (at.isContainer()) {
            way_.push_back(index < at.children.size() ? std::optional(index) : std::nullopt);
        }
    }

    void cdup() {
        if (!way_.empty()) {
            way_.pop_back();
        }
    }

    bool cdNodeName(const std::string& name, bool recursive) {
        const Tree at = current();
        const bool isObject = at.type == rapidjson::kObjectType;
        for (std::size_t i = 0; (isObject || recursive) && i < at.children.size(); ++i) {
            way_.emplace_back(i);
            if ((isObject && at.keys[i] == name) || (recursive && cdNodeName(name, true))) {
                return true;
            }
            way_.pop_back();
        }
        return false;
    }

    bool cdTokens(const std::vector<std::string>& tokens) {
        const auto before = way_;
        for (const std::string& token : tokens) {
            const Tree at = current();
            std::size_t i = 0;
            while (i < at.children.size() &&
                   token != (at.type == rapidjson::kObjectType ? at.keys[i] : std::to_string(i))) {
                ++i;
            }
            if (i == at.children.size()) {
                way_ = before;
                return false;
            }
            way_.emplace_back(i);
        }
        return true;
    }

    /// The entries of the level.
    std::vector<Tree*> level() {
        Tree& at = current();
        if (!at.isContainer()) {
            return {&at};
        }
        std::vector<Tree*> entries;
        for (Tree& child : at.children) {
            entries.push_back(&child);
        }
        return entries;
    }

    /// Replaces the entries that `matches` one by one; a level of one whatever it is.
    template <class Matches>
    void replace(const std::vector<Tree>& values, const Matches& matches) {
        const bool single = !current().isContainer();
        std::size_t used = 0;
        for (Tree* entry : level()) {
            if (used < values.size() && (single || matches(*entry))) {
                *entry = values[used++];
            }
        }
    }

private:
    Tree root_;
    std::vector<std::optional<std::size_t>> way_; // empty: stayed where it was
};

} // namespace fuzz
