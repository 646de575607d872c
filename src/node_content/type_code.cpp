#include "node_content/type_code.hpp"

#include <cstring>
#include <stdexcept>
#include <string>

namespace ostra::io::json::tree {

long typeCode(const rapidjson::Type& type) {
    int code = 0;
    static_assert(sizeof code == sizeof type);
    std::memcpy(&code, &type, sizeof code);
    return code;
}

void requireTypeCode(long code, std::size_t position) {
    if (code < rapidjson::kNullType || code > rapidjson::kNumberType) {
        throw std::out_of_range("type code " + std::to_string(code) + " at position " +
                                std::to_string(position) + " is outside 0 to 6");
    }
}

} // namespace ostra::io::json::tree
