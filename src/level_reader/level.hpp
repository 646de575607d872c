#pragma once

/// The two generic operations that every list and set operation of the cursor is made of.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <vector>

namespace ostra::io::json::tree {

/// Lists the matching entries of a level.
///
/// @param level    the value whose level it is.
/// @param get      `T(const rapidjson::Value&)`: what is listed of an entry.
/// @param matches  `bool(const rapidjson::Value&)`: which entries are listed.
/// @return what `get` makes of the matching entries, in level order; allocated once.
template <class T, class Getter, class Predicate>
std::vector<T> listValues(const rapidjson::Value& level, const Getter& get,
                          const Predicate& matches) {
    std::vector<T> values;
    const auto list = [&](const rapidjson::Value& entry) {
        if (matches(entry)) {
            values.push_back(get(entry));
        }
    };
    if (level.IsObject()) {
        values.reserve(level.MemberCount());
        for (const auto& member : level.GetObject()) {
            list(member.value);
        }
    } else if (level.IsArray()) {
        values.reserve(level.Size());
        for (const auto& element : level.GetArray()) {
            list(element);
        }
    } else {
        values.reserve(1);
        list(level);
    }
    return values;
}

/// Replaces the matching entries of a level, one value each, in level order, until values or
/// entries run out.
///
/// The level of a value that is neither object nor array is that value, and it is replaced by the
/// first value whatever it is: a host that stands on one value says outright what it is to become.
///
/// @param level    the value whose level it is; changed in place.
/// @param values   the new values.
/// @param assign   `(rapidjson::Value&, const T&)`: makes an entry what a value says. Not a maker
///                 of entries: moving a number into place took as long as finding its place.
/// @param matches  `bool(const rapidjson::Value&)`: which entries are replaced.
template <class T, class Assign, class Predicate>
void setValues(rapidjson::Value& level, const std::vector<T>& values, const Assign& assign,
               const Predicate& matches) {
    auto value = values.begin();
    const auto set = [&](rapidjson::Value& entry) {
        if (matches(entry)) {
            assign(entry, *value++);
        }
    };
    if (level.IsObject()) {
        for (auto m = level.MemberBegin(); m != level.MemberEnd() && value != values.end(); ++m) {
            set(m->value);
        }
    } else if (level.IsArray()) {
        for (auto e = level.Begin(); e != level.End() && value != values.end(); ++e) {
            set(*e);
        }
    } else if (!values.empty()) {
        assign(level, values.front());
    }
}

} // namespace ostra::io::json::tree
