#include "base/parallel_loop.hpp"
#include "node_content/type_codes.hpp"
#include "nodes/columns.hpp"
#include "nodes/distinct_nodes.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <stdexcept>

namespace ostra::io::json::tree {

NumericArray<std::uint8_t> NodeVector::get_types() const {
    NumericArray<std::uint8_t> types = makeColumn<std::uint8_t>(nodes.size());
    base::parallelLoop(nodes.size(), [&](std::size_t begin, std::size_t end) {
        const auto some = std::span(nodes).subspan(begin, end - begin);
        std::uint8_t* const codes = types->data() + begin;
        visitNodes<Access::ReadType>(some, [&](const rapidjson::Value& node, std::size_t i) {
            codes[i] = static_cast<std::uint8_t>(node.GetType());
        });
    });
    return types;
}

void NodeVector::set_types(const NumericArray<std::uint8_t>& types) {
    const std::span<const std::uint8_t> codes = usedTypeCodes(types, nodes.size());
    // If it takes a set to prove them distinct, that takes as long as writing them in turn.
    if (provablyDistinct(std::span(nodes).first(codes.size()))) {
        base::parallelLoop(codes.size(), [&](std::size_t begin, std::size_t end) {
            resetNodes(std::span(nodes).subspan(begin), codes.subspan(begin, end - begin));
        });
    } else {
        resetNodes(nodes, codes); // the last code of a node that stands here twice wins
    }
}

} // namespace ostra::io::json::tree
