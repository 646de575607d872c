#include "node_content/type_code.hpp"

#include <cstring>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace ostra::io::json::tree {

long typeCode(const rapidjson::Type& type) {
    std::underlying_type_t<rapidjson::Type> code{};
    std::memcpy(&code, &type, sizeof code);
    return static_cast<long>(code);
}

void requireTypeCode(long code, std::size_t position) {
    if (code < rapidjson::kNullType || code > rapidjson::kNumberType) {
        throw std::out_of_range("type code " + std::to_string(code) + " at position " +
                                std::to_string(position) + " is outside 0 to 6");
    }
}

} // namespace ostra::io::json::tree
