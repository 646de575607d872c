#include "node_content/record_check.hpp"

#include "nodes/address_set.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>

namespace ostra::io::json::tree {

namespace {

/// What is wrong with one array of a record.
struct Shortage {
    const char* field;
    bool noArray;
    std::size_t size;
    std::size_t needed;
};

[[noreturn]] void refuse(const Shortage& shortage) {
    const std::string field = shortage.field;
    if (shortage.noArray) {
        throw std::invalid_argument(field + ": no array");
    }
    throw std::out_of_range(field + ": " + std::to_string(shortage.size) +
                            " elements where the nodes need " + std::to_string(shortage.needed));
}

/// How many strings and numbers the nodes take from a record.
struct Needs {
    std::size_t strings = 0;
    std::size_t numbers = 0;

    void add(std::uint8_t type) {
        strings += type == rapidjson::kStringType ? 1 : 0;
        numbers += type == rapidjson::kNumberType ? 1 : 0;
    }
};

/// The types that nodes will have once the codes of the first of them are written.
class FinalTypes {
public:
    FinalTypes(Nodes nodes, std::span<const std::uint8_t> codes, bool distinct)
        : nodes_(nodes), codes_(codes) {
        if (distinct) {
            return;
        }
        // A node inside another keeps its memory when the outer one is reset, and with it its type.
        AddressSet seen(nodes.size());
        for (const rapidjson::Value* node : nodes) {
            if (!seen.insert(node)) {
                repeated_.try_emplace(node, typeOf(*node));
            }
        }
        for (std::size_t i = 0; i < codes.size(); ++i) {
            if (const auto at = repeated_.find(nodes[i]); at != repeated_.end()) {
                at->second = codes[i];
            }
        }
    }

    std::uint8_t operator[](std::size_t i) const {
        if (!repeated_.empty()) {
            if (const auto at = repeated_.find(nodes_[i]); at != repeated_.end()) {
                return at->second;
            }
        }
        return i < codes_.size() ? codes_[i] : typeOf(*nodes_[i]);
    }

    Needs needs() const {
        Needs all;
        if (!repeated_.empty()) {
            return needsUpToString(SIZE_MAX);
        }
        for (const std::uint8_t code : codes_) {
            all.add(code);
        }
        visitNodes<Access::ReadType>(
            nodes_.subspan(codes_.size()),
            [&](const rapidjson::Value& node, std::size_t) { all.add(typeOf(node)); });
        return all;
    }

    /// Of the nodes up to the one that takes string `last`, 0-based.
    Needs needsUpToString(std::size_t last) const {
        Needs some;
        for (std::size_t i = 0; i < nodes_.size() && some.strings <= last; ++i) {
            some.add((*this)[i]);
        }
        return some;
    }

private:
    static std::uint8_t typeOf(const rapidjson::Value& node) {
        return static_cast<std::uint8_t>(node.GetType());
    }

    Nodes nodes_;
    std::span<const std::uint8_t> codes_;
    boost::unordered_flat_map<const rapidjson::Value*, std::uint8_t> repeated_;
};

/// @return the first array that has not what is taken from it, if any.
std::optional<Shortage> findShortage(const NodeVectorData& data, const Needs& needs) {
    std::optional<Shortage> shortage;
    const auto need = [&shortage](const auto& array, std::size_t needed, const char* field) {
        const std::size_t size = array != nullptr ? array->size() : 0;
        if (!shortage && size < needed) {
            shortage = {field, array == nullptr, size, needed};
        }
    };
    need(data.strings, needs.strings, "strings");
    need(data.number_types, needs.numbers, "number_types");
    if (shortage || needs.numbers == 0) {
        return shortage;
    }
    const std::span<const std::uint8_t> classes(data.number_types->data(), needs.numbers);
    const auto count = [&](LevelReader::NumberType type) {
        return static_cast<std::size_t>(std::ranges::count(classes, type));
    };
    need(data.doubles, count(LevelReader::Double), "doubles");
    need(data.uint64s, count(LevelReader::Uint64), "uint64s");
    need(data.int64s, count(LevelReader::Int64), "int64s");
    return shortage;
}

} // namespace

void requireFitting(const NodeVectorData& data, std::span<const std::uint8_t> codes, Nodes nodes,
                    bool distinct) {
    const FinalTypes types(nodes, codes, distinct);
    std::optional<Shortage> shortage = findShortage(data, types.needs());
    if (shortage && data.strings != nullptr) {
        // Only the nodes up to the first missing string need anything: the others are not reached.
        std::size_t first = 0;
        while (first < data.strings->size() && data.strings->get(first)) {
            ++first;
        }
        if (first < data.strings->size()) {
            shortage = findShortage(data, types.needsUpToString(first));
        }
    }
    if (shortage) {
        refuse(*shortage);
    }
}

} // namespace ostra::io::json::tree
