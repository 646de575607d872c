#include "columns/field_survey.hpp"

#include "columns/found_value.hpp"
#include "node_content/number_class.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace ostra::io::json::columns {

namespace {

using rapidjson::Value;
using Kinds = std::uint32_t;

// Types of values; those of arrays' elements are the same, shifted.
constexpr Kinds booleans = 1U << 0U;
constexpr Kinds numbers = 1U << 1U;
constexpr Kinds texts = 1U << 2U;
constexpr Kinds arrays = 1U << 3U; // of scalars
constexpr Kinds others = 1U << 4U; // arrays of arrays or objects, and objects that stay closed
constexpr unsigned elements = 5;
constexpr Kinds scalars = booleans | numbers | texts;

// What rules out a class of numbers.
constexpr Kinds fraction = 1U << 10U;
constexpr Kinds negative = 1U << 11U;
constexpr Kinds above = 1U << 12U;   // an integer above 2^63 - 1
constexpr Kinds inexact = 1U << 13U; // an integer that a double does not hold exactly
constexpr Kinds huge = 1U << 14U;    // an integer beyond 64 bits

constexpr Kinds opened = 1U << 15U; // an object whose members have paths of their own

Kinds kindsOfNumber(const Value& value) {
    if (FoundValue::isHuge(value)) {
        return numbers | huge;
    }
    if (value.IsDouble()) {
        return numbers | fraction;
    }
    const bool isNegative = !value.IsUint64();
    const std::uint64_t size =
        isNegative ? 0 - static_cast<std::uint64_t>(value.GetInt64()) : value.GetUint64();
    return numbers | (tree::fitsMantissa(size) ? 0U : inexact) |
           (isNegative         ? negative
            : size > INT64_MAX ? above
                               : 0U);
}

Kinds kindsOfScalar(const Value& value) {
    return value.IsNumber()   ? kindsOfNumber(value)
           : value.IsString() ? texts
           : value.IsBool()   ? booleans
                              : 0U; // null
}

Kinds kindsOfArray(const Value& array) {
    Kinds kinds = arrays;
    for (const Value& element : array.GetArray()) {
        if (element.IsArray() || element.IsObject()) {
            return others;
        }
        const Kinds found = kindsOfScalar(element);
        kinds |= (found & scalars) << elements | (found & ~scalars);
    }
    return kinds;
}

/// The class of numbers that holds them all exactly; JSON texts if none does.
Want wantOfNumbers(Kinds kinds) {
    const auto holds = [kinds](Kinds excluded) { return (kinds & (excluded | huge)) == 0; };
    return holds(fraction | above)      ? Want::Int64
           : holds(fraction | negative) ? Want::Uint64
           : holds(inexact)             ? Want::Double
                                        : Want::Json;
}

Want wantOfScalars(Kinds kinds) {
    switch (kinds & scalars) {
    case 0:
        return Want::Any;
    case booleans:
        return Want::Boolean;
    case numbers:
        return wantOfNumbers(kinds);
    case texts:
        return Want::Text;
    default:
        return Want::Json;
    }
}

ColumnType typeOf(Kinds kinds) {
    const bool areArrays = (kinds & arrays) != 0;
    const bool hasObjects = (kinds & opened) != 0;
    ColumnType type;
    type.mismatch = hasObjects ? Mismatch::Missing : Mismatch::Refuse;
    if ((kinds & others) != 0 || (areArrays && (kinds & scalars) != 0)) {
        type.want = Want::Json;
        return type;
    }
    // Elements and scalars do not stand side by side here, and marks of numbers are the same.
    type.want = wantOfScalars((kinds & scalars) | (kinds >> elements & scalars) |
                              (kinds & (fraction | negative | above | inexact | huge)));
    if (areArrays && type.want != Want::Json) {
        type.layout = hasObjects ? Layout::Scalar : Layout::List;
        type.want = hasObjects ? Want::Any : type.want;
    }
    return type;
}

} // namespace

FieldSurvey::FieldSurvey(const FieldSearch& search) : search_(search) {
    reset();
}

void FieldSurvey::reset() {
    fields_.clear();
    seen_.clear();
    edges_.clear();
    nodes_.clear();
    keys_.clear();
    nodes_.push_back({.key = &keys_.emplace_back(), .parent = none, .depth = 0});
}

void FieldSurvey::clear() {
    if (nodes_.size() > mostKept) {
        reset();
        return;
    }
    for (const std::uint32_t node : seen_) {
        nodes_[node].kinds = 0;
        nodes_[node].isSeen = nodes_[node].isField = false;
    }
    seen_.clear();
    fields_.clear();
}

void FieldSurvey::add(const Value& record) {
    path_.clear();
    enter(0, record);
    while (!path_.empty()) {
        step();
    }
}

/// Opens an object, or notes another value.
void FieldSurvey::enter(std::uint32_t node, const Value& value) {
    if (!value.IsObject()) {
        found(node, value.IsArray() ? kindsOfArray(value) : kindsOfScalar(value));
    } else if (nodes_[node].depth == search_.max_depth) {
        found(node, others);
    } else {
        see(node, opened);
        if (value.MemberCount() != 0) {
            const auto members = value.GetObject();
            path_.push_back({node, nodes_[node].first, none, ++visits_, &*members.begin(),
                             &*members.begin() + members.MemberCount()});
        }
    }
}

/// Goes on by a member of the innermost object.
void FieldSurvey::step() {
    Open& open = path_.back();
    if (open.member == open.end) {
        path_.pop_back();
        return;
    }
    const Value& name = open.member->name;
    const Value& value = open.member->value;
    ++open.member;
    const std::string_view key(name.GetString(), name.GetStringLength());
    std::uint32_t node = open.expected;
    if (node == none || *nodes_[node].key != key) {
        node = child(open.node, key);
        (open.before == none ? nodes_[open.node].first : nodes_[open.before].follower) = node;
    }
    open.before = node;
    open.expected = nodes_[node].follower;
    if (std::exchange(nodes_[node].visit, open.visit) != open.visit) { // else a second such key
        enter(node, value);
    }
}

void FieldSurvey::see(std::uint32_t node, Kinds kinds) {
    nodes_[node].kinds |= kinds;
    if (!std::exchange(nodes_[node].isSeen, true)) {
        seen_.push_back(node);
    }
}

void FieldSurvey::found(std::uint32_t node, Kinds kinds) {
    see(node, kinds);
    if (!std::exchange(nodes_[node].isField, true)) {
        fields_.push_back(node);
    }
}

std::uint32_t FieldSurvey::child(std::uint32_t parent, std::string_view key) {
    const auto known = edges_.find(Edge{parent, key});
    if (known != edges_.end()) {
        return known->second;
    }
    const auto node = static_cast<std::uint32_t>(nodes_.size());
    const std::string& kept = keys_.emplace_back(key);
    nodes_.push_back({.key = &kept, .parent = parent, .depth = nodes_[parent].depth + 1});
    edges_.emplace(Edge{parent, kept}, node);
    return node;
}

/// The node with the same path in the survey of all records.
std::uint32_t FieldSurvey::twinIn(FieldSurvey& all, std::uint32_t node) const {
    climb_.clear();
    for (; node != 0 && nodes_[node].twin == none; node = nodes_[node].parent) {
        climb_.push_back(node);
    }
    std::uint32_t twin = nodes_[node].twin; // of the record itself: the first one, too
    for (; !climb_.empty(); climb_.pop_back()) {
        twin = all.child(twin, *nodes_[climb_.back()].key);
        nodes_[climb_.back()].twin = twin;
    }
    return twin;
}

void FieldSurvey::addTo(FieldSurvey& all) const {
    for (const std::uint32_t node : fields_) {
        const std::uint32_t twin = twinIn(all, node);
        all.found(twin, 0);
        if (all.fields_.size() > search_.max_fields) {
            throw std::length_error("more than " + std::to_string(search_.max_fields) +
                                    " fields: the next one is '" + all.describe(twin).pointer +
                                    "'");
        }
    }
    for (const std::uint32_t node : seen_) {
        all.see(twinIn(all, node), nodes_[node].kinds);
    }
}

FoundField FieldSurvey::describe(std::uint32_t node) const {
    FoundField field;
    const Kinds kinds = nodes_[node].kinds;
    field.has_objects = (kinds & opened) != 0;
    field.type = typeOf(kinds);
    for (; node != 0; node = nodes_[node].parent) {
        field.path.push_back(*nodes_[node].key);
    }
    std::reverse(field.path.begin(), field.path.end());
    for (const std::string& key : field.path) {
        field.pointer += '/';
        for (const char c : key) {
            field.pointer += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
        }
    }
    return field;
}

std::vector<FoundField> FieldSurvey::fields() const {
    std::vector<FoundField> found;
    for (const std::uint32_t node : fields_) {
        found.push_back(describe(node));
    }
    return found;
}

} // namespace ostra::io::json::columns
