#pragma once

/// What stands at which paths of records.

#include <ostra/io/json/columns/find_fields.hpp>

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ostra::io::json::columns {

/// The paths of some consecutive records, and of what types the values there are.
///
/// The paths are a tree, which outlives `clear`: neighbouring records mostly have the same keys in
/// the same order, so that a key is compared with the one that followed before, and looked up only
/// if it is another one.
///
/// For one thread at a time.
class FieldSurvey {
public:
    explicit FieldSurvey(const FieldSearch& search);

    /// @throws std::bad_alloc  it may then only be cleared or destroyed.
    void add(const rapidjson::Value& record);

    /// Adds all that was found to what was found in the records in front.
    /// @param all  the same one in all calls.
    /// @throws std::length_error  if these are too many fields. @throws std::bad_alloc
    void addTo(FieldSurvey& all) const;

    /// Forgets what was found.
    void clear();

    std::vector<FoundField> fields() const;

private:
    using Value = rapidjson::Value;
    using Kinds = std::uint32_t; // what was found, one bit each

    static constexpr std::uint32_t none = 0; // no node: the first one is the record itself
    static constexpr std::size_t mostKept = 100'000;

    struct Node {
        const std::string* key;
        std::uint32_t parent;
        std::size_t depth;
        std::uint32_t follower = none;     // the node whose key followed here before
        std::uint32_t first = none;        // the node of the first key
        mutable std::uint32_t twin = none; // its node in the survey of all records, once known
        std::uint64_t visit = 0;           // the visit of its parent that came by last
        Kinds kinds = 0;
        bool isSeen = false;
        bool isField = false;
    };
    struct Edge {
        std::uint32_t parent;
        std::string_view key;
        bool operator==(const Edge&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Edge& edge) const noexcept {
            return std::hash<std::string_view>()(edge.key) ^ (edge.parent * 0x9E37'79B9'7F4A'7C15U);
        }
    };
    struct Open {
        std::uint32_t node;
        std::uint32_t expected; // the node of the next key, perhaps
        std::uint32_t before;   // the node of the last key
        std::uint64_t visit;
        const rapidjson::Value::Member* member;
        const rapidjson::Value::Member* end;
    };

    void reset();
    void enter(std::uint32_t node, const Value& value);
    void step();
    void see(std::uint32_t node, Kinds kinds);
    void found(std::uint32_t node, Kinds kinds);
    std::uint32_t child(std::uint32_t parent, std::string_view key);
    std::uint32_t twinIn(FieldSurvey& all, std::uint32_t node) const;
    FoundField describe(std::uint32_t node) const;

    FieldSearch search_;
    std::vector<Node> nodes_;
    std::deque<std::string> keys_;
    std::unordered_map<Edge, std::uint32_t, Hash> edges_;
    std::vector<std::uint32_t> fields_; // nodes, in order of appearance
    std::vector<std::uint32_t> seen_;   // nodes, in any order: those with kinds
    mutable std::vector<std::uint32_t> climb_;
    std::vector<Open> path_;
    std::uint64_t visits_ = 0;
};

} // namespace ostra::io::json::columns
