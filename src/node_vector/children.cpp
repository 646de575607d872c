#include "base/huge_pages.hpp"
#include "document/container.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

namespace ostra::io::json::tree {

NodeVector NodeVector::get_children() const {
    std::size_t total = 0;
    for (const rapidjson::Value* node : nodes) {
        total += childCount(*node);
    }
    std::vector<rapidjson::Value*> children;
    base::reserveOnHugePages(children, total); // half a million: 1.2 ms instead of 1.9
    for (rapidjson::Value* node : nodes) {
        const rapidjson::SizeType count = childCount(*node);
        for (rapidjson::SizeType i = 0; i < count; ++i) {
            children.push_back(&childAt(*node, i));
        }
    }
    return {dom, std::move(children)};
}

} // namespace ostra::io::json::tree
