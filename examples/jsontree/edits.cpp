#include "edits.hpp"

#include "console.hpp"
#include "options.hpp"
#include "records.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <utility>

namespace example {

namespace {

using ostra::io::json::tree::LevelReader;
using ostra::io::json::tree::NodeVector;
using ostra::io::json::tree::NodeVectorData;
using ostra::io::json::tree::NumericArray;

/// Splits at the last `=`, since a selector may contain others.
std::pair<std::string, std::string> splitAssignment(const std::string& text) {
    const std::size_t equals = text.rfind('=');
    if (equals == std::string::npos) {
        throw std::runtime_error("--set: no '=' in '" + text + "'");
    }
    return {text.substr(0, equals), text.substr(equals + 1)};
}

Rename parseRename(const std::string& text) {
    Rename rename;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(',', begin), text.size());
        rename.names.insert(splitAssignment(text.substr(begin, end - begin)));
        begin = end + 1;
    }
    return rename;
}

/// A host array of n x 1 elements, all zero.
template <class T>
NumericArray<T> makeColumn(std::size_t size, qxClassID classId) {
    const std::array<unsigned long, 2> dims{size, 1};
    return NumericArray<T>(static_cast<matrix::typed_vector<T>*>(
        matrix::detail::do_create_numeric(dims, classId, qxREAL)));
}

/// The nodes that are numbers. Writing a record into other nodes would empty objects and arrays.
NodeVector numbersOf(const NodeVector& nodes) {
    const auto types = nodes.get_types();
    const std::uint8_t* const begin = types->data();
    const std::uint8_t* const end = begin + types->size();
    const auto count = std::count(begin, end, std::uint8_t{rapidjson::kNumberType});
    auto positions = makeColumn<unsigned long>(static_cast<std::size_t>(count), qxUINT64_CLASS);
    unsigned long* next = positions->data();
    for (std::size_t i = 0; i < types->size(); ++i) {
        if (begin[i] == rapidjson::kNumberType) {
            *next++ = i;
        }
    }
    return nodes.subset(*positions);
}

/// All numbers of a record as doubles, in the order of the nodes.
NumericArray<double> asDoubles(const NodeVectorData& data) {
    auto result = makeColumn<double>(data.number_types->size(), qxDOUBLE_CLASS);
    const double* doubles = data.doubles->data();
    const std::uint64_t* uint64s = data.uint64s->data();
    const std::int64_t* int64s = data.int64s->data();
    for (std::size_t i = 0; i < result->size(); ++i) {
        switch (data.number_types->data()[i]) {
        case LevelReader::Uint64:
            result->data()[i] = static_cast<double>(*uint64s++);
            break;
        case LevelReader::Int64:
            result->data()[i] = static_cast<double>(*int64s++);
            break;
        default:
            result->data()[i] = *doubles++;
        }
    }
    return result;
}

void applyTo(NodeVector& records, const Scale& scale) {
    printColumn(records, scale.selector);
    NodeVector numbers = numbersOf(records.get_children(scale.selector).first);
    NodeVectorData data = numbers.get_data();
    data.doubles = asDoubles(data);
    for (std::size_t i = 0; i < data.doubles->size(); ++i) {
        double& number = data.doubles->data()[i];
        number *= scale.factor;
        if (!std::isfinite(number)) {
            throw std::runtime_error("--set: scaling '" + scale.selector +
                                     "' leaves the range of a double");
        }
    }
    std::fill_n(data.number_types->data(), data.number_types->size(),
                std::uint8_t{LevelReader::Double});
    numbers.set_data(data);
    print("scaled " + counted(numbers.nodes.size(), "number") + "\n");
    printColumn(records, scale.selector);
}

/// Renames keys of one record.
/// @return whether it has any of them.
bool renameIn(NodeVector record, const Rename& rename) {
    const auto keys = record.get_keys();
    bool renamed = false;
    for (std::size_t i = 0; i < keys->size(); ++i) {
        const auto found = rename.names.find(u8(*keys->get(i)));
        if (found != rename.names.end()) {
            keys->set(i, u16(found->second));
            renamed = true;
        }
    }
    if (renamed) {
        // New keys come with nulls: the values step aside and go back to their positions.
        std::vector<rapidjson::Value> values;
        for (rapidjson::Value* const value : record.get_children().nodes) {
            values.push_back(std::move(*value));
        }
        record.set_keys(*keys);
        const NodeVector members = record.get_children();
        for (std::size_t i = 0; i < values.size(); ++i) {
            *members.nodes[i] = std::move(values[i]);
        }
    }
    return renamed;
}

void printKeys(const NodeVector& records) {
    std::string line;
    for (const std::string& key : keysOf(records)) {
        line += (line.empty() ? "" : ", ") + printable(key);
    }
    print("keys: " + line + "\n");
}

void applyTo(NodeVector& records, const Rename& rename) {
    printKeys(records);
    std::size_t count = 0;
    for (rapidjson::Value* const record : records.nodes) {
        count += renameIn({records.dom, {record}}, rename) ? 1 : 0;
    }
    print("renamed keys of " + counted(count, "record") + "\n");
    printKeys(records);
}

void printSizes(const NodeVector& arrays) {
    const std::size_t children = arrays.get_children().nodes.size();
    print(counted(arrays.nodes.size(), "array") + " with " + counted(children, "element") +
          " in all\n");
}

void applyTo(NodeVector& records, const Resize& resize) {
    NodeVector arrays = records.get_children(resize.selector).first;
    std::erase_if(arrays.nodes, [](const rapidjson::Value* node) { return !node->IsArray(); });
    print(printable(resize.selector) + ": ");
    printSizes(arrays);
    arrays.set_number_of_children(resize.count);
    print("resized to " + counted(resize.count, "element") + " each: ");
    printSizes(arrays);
}

} // namespace

Edit parseEdit(const std::string& text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string kind = text.substr(0, colon);
    const std::string rest = text.substr(std::min(colon + 1, text.size()));
    if (kind == "rename") {
        return parseRename(rest);
    }
    if (kind == "scale") {
        auto [selector, factor] = splitAssignment(rest);
        return Scale{std::move(selector), finiteNumber("--set scale:", factor)};
    }
    if (kind == "resize") {
        auto [selector, count] = splitAssignment(rest);
        return Resize{std::move(selector),
                      wholeNumber("--set resize:", count, std::numeric_limits<std::size_t>::max())};
    }
    throw std::runtime_error("--set: '" + text + "' is not a scale:, rename: or resize: edit");
}

void apply(const Edit& edit, NodeVector& records) {
    std::visit([&records](const auto& change) { applyTo(records, change); }, edit);
}

} // namespace example
