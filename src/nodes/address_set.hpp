#pragma once

/// Which nodes were seen before.

#include "base/huge_pages.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ostra::io::json::tree {

/// A set of addresses of nodes, of a size known beforehand.
///
/// Open addressing, at most half full: half a million scattered nodes in 1.8 ms, while Boost's flat
/// set takes 7 and a bitmap for each page of memory 6.
class AddressSet {
public:
    /// @param most  how many nodes will be inserted at most.
    /// @throws std::bad_alloc, std::length_error
    /// Cost: 16 to 32 bytes a node, which are zeroed.
    explicit AddressSet(std::size_t most) : shift_(std::countl_zero(2 * most + 1)) {
        const std::size_t slots = std::size_t{1} << (64 - shift_);
        base::reserveOnHugePages(slots_, slots);
        slots_.resize(slots);
    }

    /// @param node  not null.
    /// @return whether it is new.
    bool insert(const rapidjson::Value* node) {
        constexpr std::size_t spread = 0x9E3779B97F4A7C15; // 2^64 by the golden ratio
        const rapidjson::Value** const slots = slots_.data();
        std::size_t at =
            (reinterpret_cast<std::uintptr_t>(node) / alignof(rapidjson::Value) * spread) >> shift_;
        for (; slots[at] != nullptr; at = at + 1 == slots_.size() ? 0 : at + 1) {
            if (slots[at] == node) {
                return false;
            }
        }
        slots[at] = node;
        return true;
    }

private:
    int shift_;
    std::vector<const rapidjson::Value*> slots_; // null: free
};

} // namespace ostra::io::json::tree
