#include <ostra/io/json/tree/node_vector.hpp>

namespace ostra::io::json::tree {

NodeVector NodeVector::subset(const matrix::typed_vector<unsigned long>& indices) const {
    std::vector<rapidjson::Value*> picked(indices.size());
    for (std::size_t k = 0; k < picked.size(); ++k) {
        const unsigned long index = indices.data()[k];
        if (index >= nodes.size()) {
            return {dom, {}}; // all or nothing, without a word
        }
        picked[k] = nodes[index];
    }
    return {dom, std::move(picked)};
}

} // namespace ostra::io::json::tree
