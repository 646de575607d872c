#include "document/serialise.hpp"

#include <ostra/io/json/tree/dom.hpp>

namespace ostra::io::json::tree {

std::u16string write_string(const DOM& dom, const write::struct_::WriteStructOptions& options) {
    return serialiseToString(dom.document, options);
}

void write_file(const DOM& dom, const std::u16string& path,
                const write::struct_::WriteStructOptions& options) {
    serialiseToFile(dom.document, path, options);
}

} // namespace ostra::io::json::tree
