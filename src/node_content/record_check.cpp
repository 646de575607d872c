#include "node_content/record_check.hpp"

#include "node_content/type_codes.hpp"
#include "nodes/distinct_nodes.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <stdexcept>
#include <string>

namespace ostra::io::json::tree {

namespace {

template <class Handle>
void requireArray(const Handle& array, const char* field) {
    if (array == nullptr) {
        throw std::invalid_argument(std::string(field) + ": no array");
    }
}

void requireElements(std::size_t size, std::size_t needed, const char* field) {
    if (size < needed) {
        throw std::out_of_range(std::string(field) + ": " + std::to_string(size) +
                                " elements where the nodes need " + std::to_string(needed));
    }
}

/// How many nodes take part in the value pass.
struct Takers {
    std::size_t strings = 0;
    std::size_t numbers = 0;

    void add(std::uint8_t type) {
        strings += type == rapidjson::kStringType ? 1 : 0;
        numbers += type == rapidjson::kNumberType ? 1 : 0;
    }
};

/// Counts the nodes by the type they will have once `codes` are written.
Takers countTakers(std::span<const std::uint8_t> codes, std::span<rapidjson::Value* const> nodes) {
    Takers takers;
    const auto uncovered = nodes.subspan(codes.size());
    const auto typeOf = [](const rapidjson::Value& node) {
        return static_cast<std::uint8_t>(node.GetType());
    };
    if (provablyDistinct(nodes)) {
        for (const std::uint8_t code : codes) {
            takers.add(code);
        }
        visitNodes<Access::ReadType>(uncovered, [&](const rapidjson::Value& node, std::size_t) {
            takers.add(typeOf(node));
        });
        return takers;
    }
    // A node inside another keeps its memory when the outer one is reset, and with it its type.
    boost::unordered_flat_map<const rapidjson::Value*, std::uint8_t> lastCodes;
    lastCodes.reserve(codes.size());
    for (std::size_t i = 0; i < codes.size(); ++i) {
        lastCodes.insert_or_assign(nodes[i], codes[i]);
    }
    for (const rapidjson::Value* node : nodes.first(codes.size())) {
        takers.add(lastCodes.find(node)->second);
    }
    for (const rapidjson::Value* node : uncovered) {
        const auto covered = lastCodes.find(node);
        takers.add(covered != lastCodes.end() ? covered->second : typeOf(*node));
    }
    return takers;
}

} // namespace

void requireFitting(const NodeVectorData& data, std::span<rapidjson::Value* const> nodes) {
    requireArray(data.types, "types");
    requireArray(data.number_types, "number_types");
    requireArray(data.strings, "strings");
    requireArray(data.doubles, "doubles");
    requireArray(data.uint64s, "uint64s");
    requireArray(data.int64s, "int64s");
    const Takers takers = countTakers(usedTypeCodes(data.types, nodes.size()), nodes);
    requireElements(data.strings->size(), takers.strings, "strings");
    requireElements(data.number_types->size(), takers.numbers, "number_types");
    const std::span<const std::uint8_t> classes(data.number_types->data(), takers.numbers);
    const auto count = [&](LevelReader::NumberType type) {
        return static_cast<std::size_t>(std::ranges::count(classes, type));
    };
    requireElements(data.doubles->size(), count(LevelReader::Double), "doubles");
    requireElements(data.uint64s->size(), count(LevelReader::Uint64), "uint64s");
    requireElements(data.int64s->size(), count(LevelReader::Int64), "int64s");
}

} // namespace ostra::io::json::tree
