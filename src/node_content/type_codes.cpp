#include "node_content/type_codes.hpp"

#include "nodes/visit_nodes.hpp"

#include <algorithm>
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

std::span<const std::uint8_t> usedTypeCodes(const NumericArray<std::uint8_t>& types,
                                            std::size_t nodeCount) {
    if (nodeCount == 0) {
        return {};
    }
    if (types == nullptr) {
        throw std::invalid_argument("types: no array");
    }
    const std::span<const std::uint8_t> codes(types->data(), std::min(types->size(), nodeCount));
    std::uint8_t highest = 0;
    for (const std::uint8_t code : codes) { // no early end: a loop that runs through is vectorised
        highest = std::max(highest, code);
    }
    if (highest > rapidjson::kNumberType) {
        for (std::size_t i = 0; i < codes.size(); ++i) {
            requireTypeCode(codes[i], i);
        }
    }
    return codes;
}

void resetNodes(std::span<rapidjson::Value* const> nodes, std::span<const std::uint8_t> codes) {
    const std::uint8_t* const code = codes.data();
    visitNodes<Access::Write>(nodes.first(codes.size()),
                              [=](rapidjson::Value& node, std::size_t i) {
                                  node = rapidjson::Value(static_cast<rapidjson::Type>(code[i]));
                              });
}

} // namespace ostra::io::json::tree
