#include "document/errors.hpp"
#include "node_content/number_class.hpp"
#include "node_content/record_check.hpp"
#include "node_content/text.hpp"
#include "nodes/columns.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <string>
#include <utility>

namespace ostra::io::json::tree {

const std::string NodeVectorData::class_name = "NodeVectorData";
const std::string NodeVectorData::packaged_class_name = "ostra.io.json.internal.NodeVectorData";

namespace {

using Column = matrix::typed_vector<std::uint8_t>;

std::size_t countOf(const Column& codes, std::uint8_t code) {
    return static_cast<std::size_t>(std::count(codes.data(), codes.data() + codes.size(), code));
}

/// What the column of a number's class holds of it, as bits.
double bits(const rapidjson::Value& number, LevelReader::NumberType type) {
    switch (type) {
    case LevelReader::Double:
        return number.GetDouble();
    case LevelReader::Uint64:
        return std::bit_cast<double>(number.GetUint64());
    case LevelReader::Int64:
        return std::bit_cast<double>(number.GetInt64());
    }
    return 0;
}

/// Copies texts and number classes into their columns, which have the right size.
/// @return the numbers in order, as bits, one for each of the classes.
NumericArray<double> fillStringsAndClasses(std::span<rapidjson::Value* const> nodes,
                                           const NodeVectorData& data) {
    NumericArray<double> numbers = makeColumn<double>(data.number_types->size());
    double* nextNumber = numbers->data();
    std::uint8_t* nextClass = data.number_types->data();
    std::size_t string = 0;
    visitNodes<Access::Read>(nodes, [&](const rapidjson::Value& node, std::size_t) {
        if (node.IsString()) {
            data.strings->set(string++, toUString(node));
        } else if (node.IsNumber()) {
            const LevelReader::NumberType type = numberClass(node);
            *nextClass++ = type;
            *nextNumber++ = bits(node, type);
        }
    });
    return numbers;
}

/// @return the column of the numbers of one class.
template <class T>
NumericArray<T> columnOf(LevelReader::NumberType type, const Column& classes,
                         const matrix::typed_vector<double>& numbers) {
    NumericArray<T> column = makeColumn<T>(countOf(classes, type));
    T* next = column->data();
    for (std::size_t i = 0; column->size() != 0 && i < classes.size(); ++i) {
        if (classes.data()[i] == type) {
            *next++ = std::bit_cast<T>(numbers.data()[i]);
        }
    }
    return column;
}

/// Hands the elements of a record out in order.
class ValueSource {
public:
    explicit ValueSource(const NodeVectorData& data)
        : strings_(*data.strings), numberType_(data.number_types->data()),
          double_(data.doubles->data()), uint64_(data.uint64s->data()),
          int64_(data.int64s->data()) {}

    /// @return a text, valid until the next call.
    const std::u16string& nextText() {
        const auto text = strings_.get(string_++);
        if (!text) {
            throwError(OSTRA::string::MissingNotSupported());
        }
        return text_.assign(*text);
    }

    void setNumber(rapidjson::Value& node) {
        switch (*numberType_++) {
        case LevelReader::Double:
            node.SetDouble(*double_++);
            break;
        case LevelReader::Uint64:
            node.SetUint64(*uint64_++);
            break;
        case LevelReader::Int64:
            node.SetInt64(*int64_++);
            break;
        default: // no class: the node stays what it is
            break;
        }
    }

private:
    const Tarvel::String::String& strings_;
    std::size_t string_ = 0;
    std::u16string text_;
    const std::uint8_t* numberType_;
    const double* double_;
    const std::uint64_t* uint64_;
    const std::int64_t* int64_;
};

} // namespace

NodeVectorData NodeVector::get_data() const {
    NodeVectorData data;
    data.types = get_types();
    const std::array<std::size_t, 2> stringDims = {countOf(*data.types, rapidjson::kStringType), 1};
    data.strings = Tarvel::String::make_String(stringDims.size(), stringDims.data());
    data.number_types = makeColumn<std::uint8_t>(countOf(*data.types, rapidjson::kNumberType));
    // Every node is looked at once: the columns' sizes are known only then, but as a rule all
    // numbers are of class Double, and what was gathered is their column already. Counting the
    // classes in a pass of its own took half as long again.
    NumericArray<double> numbers = fillStringsAndClasses(nodes, data);
    const Column& classes = *data.number_types;
    data.uint64s = columnOf<std::uint64_t>(LevelReader::Uint64, classes, *numbers);
    data.int64s = columnOf<std::int64_t>(LevelReader::Int64, classes, *numbers);
    const bool allDouble = data.uint64s->size() == 0 && data.int64s->size() == 0;
    data.doubles =
        allDouble ? std::move(numbers) : columnOf<double>(LevelReader::Double, classes, *numbers);
    return data;
}

void NodeVector::set_data(const NodeVectorData& data) {
    requireFitting(data, nodes);
    set_types(data.types);
    ValueSource source(data);
    visitNodes<Access::Write>(nodes, [&](rapidjson::Value& node, std::size_t) {
        if (node.IsString()) {
            node = makeStringValue(source.nextText(), dom->document);
        } else if (node.IsNumber()) {
            source.setNumber(node);
        }
    });
}

} // namespace ostra::io::json::tree
