#include "same_document.hpp"

#include <bit>
#include <cmath>
#include <string_view>
#include <vector>

namespace example {

namespace {

std::string_view textOf(const rapidjson::Value& value) {
    return {value.GetString(), value.GetStringLength()};
}

bool sameDouble(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b) ||
           (std::isnan(a) && std::isnan(b));
}

/// @return what differs, null if nothing does.
const char* numberGap(const rapidjson::Value& original, const rapidjson::Value& copy,
                      Comparison& result) {
    if (original.IsDouble() || original.IsLosslessDouble()) {
        result.widened += original.IsDouble() ? 0 : 1;
        return copy.IsDouble() && sameDouble(original.GetDouble(), copy.GetDouble())
                   ? nullptr
                   : "another double";
    }
    const bool same = original.IsUint64()
                          ? copy.IsUint64() && original.GetUint64() == copy.GetUint64()
                          : copy.IsInt64() && original.GetInt64() == copy.GetInt64();
    return same ? nullptr : "another integer";
}

/// Compares all of two values but their children.
const char* ownGap(const rapidjson::Value& original, const rapidjson::Value& copy,
                   Comparison& result) {
    if (original.GetType() != copy.GetType()) {
        return "another type";
    }
    switch (original.GetType()) {
    case rapidjson::kStringType:
        return textOf(original) == textOf(copy) ? nullptr : "another string";
    case rapidjson::kNumberType:
        return numberGap(original, copy, result);
    case rapidjson::kArrayType:
        return original.Size() == copy.Size() ? nullptr : "another number of elements";
    case rapidjson::kObjectType:
        return original.MemberCount() == copy.MemberCount() ? nullptr : "another number of members";
    case rapidjson::kNullType:
    case rapidjson::kFalseType:
    case rapidjson::kTrueType:
        break;
    }
    return nullptr;
}

struct Pair {
    const rapidjson::Value* original;
    const rapidjson::Value* copy;
    std::size_t next = 0; // the child to compare next
};

std::size_t childCount(const rapidjson::Value& value) {
    return value.IsObject() ? value.MemberCount() : value.IsArray() ? value.Size() : 0;
}

std::string location(const std::vector<Pair>& path) {
    std::string pointer;
    for (const Pair& level : path) {
        if (level.next == 0) {
            break;
        }
        const std::size_t child = level.next - 1;
        pointer += '/';
        if (level.original->IsArray()) {
            pointer += std::to_string(child);
            continue;
        }
        const auto member = level.original->MemberBegin() + static_cast<std::ptrdiff_t>(child);
        for (const char c : textOf(member->name)) {
            pointer += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
        }
    }
    return pointer.empty() ? "the root" : pointer;
}

} // namespace

Comparison compareWithCopy(const rapidjson::Value& original, const rapidjson::Value& copy) {
    Comparison result;
    std::vector<Pair> path{{&original, &copy}};
    const char* gap = ownGap(original, copy, result);
    result.values = 1;
    while (gap == nullptr && !path.empty()) {
        Pair& level = path.back();
        if (level.next == childCount(*level.original)) {
            path.pop_back();
            continue;
        }
        const std::size_t child = level.next++;
        Pair below{};
        if (level.original->IsArray()) {
            below = {&(*level.original)[child], &(*level.copy)[child]};
        } else {
            const auto position = static_cast<std::ptrdiff_t>(child);
            const auto member = level.original->MemberBegin() + position;
            const auto twin = level.copy->MemberBegin() + position;
            if (textOf(member->name) != textOf(twin->name)) {
                gap = "another key";
                break;
            }
            below = {&member->value, &twin->value};
        }
        ++result.values;
        gap = ownGap(*below.original, *below.copy, result);
        if (gap == nullptr && childCount(*below.original) > 0) {
            path.push_back(below);
        }
    }
    if (gap != nullptr) {
        result.gap = location(path) + ": " + gap;
    }
    return result;
}

} // namespace example
