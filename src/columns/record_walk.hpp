#pragma once

/// Finding the values of all fields of a record in one walk over it.

#include "columns/field_plan.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace ostra::io::json::columns {

/// Walks records, and remembers their shapes.
///
/// Neighbouring records mostly have the same keys in the same order. So for each object on the way
/// the sequences of keys met so far are kept as a tree: at each place the keys that were met there,
/// and whether a key is one that is looked for and was not met before it. A record is walked along
/// that tree, one comparison a key, and no further than the last key looked for: exact by its
/// construction, first members included. What leaves the tree makes it grow, until it is as large
/// as it may become; then every key of such an object is looked up.
///
/// For one thread at a time.
class RecordWalk {
public:
    explicit RecordWalk(std::shared_ptr<const FieldPlan> plan);
    RecordWalk(const RecordWalk&) = delete;
    RecordWalk& operator=(const RecordWalk&) = delete;

    /// Finds what the pointers select from a record.
    /// @param found  of slot 0, that of slot k lies `stride` pointers behind it times k; nothing is
    ///               written if the record does not have the value.
    /// @throws std::bad_alloc
    void find(const rapidjson::Value& record, const rapidjson::Value** found, std::size_t stride);

private:
    using Value = rapidjson::Value;
    using Words = std::array<std::uint64_t, 3>; // the bytes of a value

    static constexpr std::uint32_t none = 0; // no link
    static constexpr std::uint32_t noFurther = UINT32_MAX;
    static constexpr std::size_t mostLinks = 16'384;
    static constexpr std::size_t mostAlternatives = 16;

    /// A key that was met at a place in an object; fills a cache line.
    struct Link {
        Words key{};  // its value's bytes; of a long one's the second word is where its text is
        Words mask{}; // those of them that tell the key from others
        std::uint32_t next = none;  // the first link of the place behind it, or `noFurther`
        std::uint32_t other = none; // another key at this place
        std::uint32_t slot = PathNode::noSlot;
        std::uint32_t node = 0; // where pointers go on from its value; 0: nowhere
    };
    static_assert(sizeof(Link) == 64);

    struct Origin {
        std::uint32_t before; // the link in front of its place
        std::uint32_t step;   // the path node that its key leads to; 0 if nothing looks for it
    };
    struct Open {
        std::uint32_t node;
        const Value* value;
    };
    struct Target {
        const Value** found;
        std::size_t stride;
    };

    static bool matches(const Link& link, const Value& key);
    void enter(std::uint32_t node, const Value& object, const Target& target);
    void enterArray(const PathNode& node, const Value& array, const Target& target);
    void enterUnknown(std::uint32_t node, const Value& object, const Target& target);
    std::uint32_t grow(std::uint32_t node, std::uint32_t before, const Value& key);
    Link describe(const Value& key);
    void emit(std::uint32_t slot, std::uint32_t node, const Value& value, const Target& target);

    std::shared_ptr<const FieldPlan> plan_;
    std::vector<std::uint32_t> shapes_; // of each path node, the first link
    std::vector<Link> links_;           // the first stands for none and matches nothing
    std::vector<Origin> origins_;       // one a link
    std::deque<std::string> longKeys_;
    std::vector<std::uint64_t> visits_;  // of each path node, how often keys were looked up in it
    std::vector<std::uint64_t> visited_; // of each path node, by which of its parent's visits
    std::vector<Open> open_;             // values still to be walked, one a path node at most
    Open* openEnd_;
};

} // namespace ostra::io::json::columns
