#pragma once

/// The fields of a call, their pointers merged into one tree.

#include "columns/extractor.hpp"

#include "platform/json_core.hpp"

#include <ostra/io/json/core/record_reader.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ostra::io::json::columns {

/// Where the pointers stand after some common tokens: `/pos/x` and `/pos/y` walk `/pos` once.
struct PathNode {
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept {
            return std::hash<std::string_view>()(text);
        }
    };
    struct Step {
        std::size_t index; // of an array's element; no array is long enough if it is not an index
        std::uint32_t node;
    };
    static constexpr std::uint32_t noSlot = UINT32_MAX;

    std::uint32_t slot = noSlot; // where a value found here goes
    std::unordered_map<std::string, Step, Hash, std::equal_to<>> steps;
};

class FieldPlan {
public:
    /// @throws std::invalid_argument  as `makePlan`.
    explicit FieldPlan(std::span<const Field> fields, bool indexArrays = true);
    explicit FieldPlan(const FieldSearch& search) : nodes_(1), search_(search) {}

    const std::vector<Field>& fields() const { return fields_; }
    const std::vector<PathNode>& nodes() const { return nodes_; } // the first is the record

    /// Values that the pointers select from a record: as many as there are different pointers.
    std::size_t slots() const { return slots_; }
    std::size_t slotOf(std::size_t field) const { return slotOf_[field]; }

    /// How to look for fields, if that is what the plan is for.
    const std::optional<FieldSearch>& search() const { return search_; }

    /// @return what is to be read of a record, with a slot for each of ours; empty where that could
    ///         be more than values of members.
    std::vector<core::WantedPlace> wanted() const;

private:
    std::uint32_t nodeAt(const core::JSONPointer& pointer, bool indexArrays);

    std::vector<Field> fields_;
    std::vector<PathNode> nodes_;
    std::vector<std::uint32_t> slotOf_;
    std::uint32_t slots_ = 0;
    std::optional<FieldSearch> search_;
};

} // namespace ostra::io::json::columns
