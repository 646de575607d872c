#include "node_vector/selector_walk.hpp"

#include "document/pointer_step.hpp"

#include <algorithm>

namespace ostra::io::json::tree {

namespace {

/// Takes one step from each of `count` values; null stays null.
void step(const core::JSONPointer::Token& token, rapidjson::Value** values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (values[i] != nullptr) {
            prefetchChildren(*values[i]);
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        if (values[i] != nullptr) {
            values[i] = childByToken(*values[i], token);
        }
    }
}

} // namespace

void walkSelector(const core::JSONPointer& selector, std::span<rapidjson::Value* const> nodes,
                  rapidjson::Value** found) {
    for (std::size_t begin = 0; begin < nodes.size(); begin += walkBatch) {
        const std::size_t count = std::min(walkBatch, nodes.size() - begin);
        const std::size_t after = std::min(begin + 2 * walkBatch, nodes.size());
        for (std::size_t next = begin + count; next < after; ++next) {
            __builtin_prefetch(nodes[next]);
        }
        std::copy_n(nodes.begin() + static_cast<std::ptrdiff_t>(begin), count, found + begin);
        for (std::size_t t = 0; t < selector.GetTokenCount(); ++t) {
            step(selector.GetTokens()[t], found + begin, count);
        }
    }
}

} // namespace ostra::io::json::tree
