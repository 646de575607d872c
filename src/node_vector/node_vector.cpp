#include <ostra/io/json/tree/node_vector.hpp>

namespace ostra::io::json::tree {

const std::string NodeVector::class_name = "NodeVector";
const std::string NodeVector::packaged_class_name = "ostra.io.json.internal.NodeVector";

NodeVector::~NodeVector() = default;

} // namespace ostra::io::json::tree
