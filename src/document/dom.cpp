#include <ostra/io/json/tree/dom.hpp>

namespace ostra::io::json::tree {

std::shared_ptr<DOM> make_dom_ptr() {
    return std::make_shared<DOM>();
}

} // namespace ostra::io::json::tree
