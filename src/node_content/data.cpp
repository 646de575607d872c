#include "document/errors.hpp"
#include "node_content/columns.hpp"
#include "node_content/number_class.hpp"
#include "node_content/record_check.hpp"
#include "node_content/text.hpp"
#include "node_content/visit_nodes.hpp"
#include "platform/huge_pages.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <vector>

namespace ostra::io::json::tree {

const std::string NodeVectorData::class_name = "NodeVectorData";
const std::string NodeVectorData::packaged_class_name = "ostra.io.json.internal.NodeVectorData";

namespace {

using Column = matrix::typed_vector<std::uint8_t>;

std::size_t countOf(const Column& codes, std::uint8_t code) {
    return static_cast<std::size_t>(std::count(codes.data(), codes.data() + codes.size(), code));
}

/// What the column of a number's class holds of it, as bits.
std::uint64_t payload(const rapidjson::Value& number, LevelReader::NumberType type) {
    switch (type) {
    case LevelReader::Double:
        return std::bit_cast<std::uint64_t>(number.GetDouble());
    case LevelReader::Uint64:
        return number.GetUint64();
    case LevelReader::Int64:
        return static_cast<std::uint64_t>(number.GetInt64());
    }
    return 0;
}

/// Copies texts and number classes into their columns, which have the right size.
/// @return the numbers as bits, in order: their columns' sizes are known only when all have been
///         seen, and to look at every node once more took twice as long as this detour.
std::vector<std::uint64_t> fillStringsAndClasses(std::span<rapidjson::Value* const> nodes,
                                                 const NodeVectorData& data) {
    std::vector<std::uint64_t> numbers;
    platform::reserveOnHugePages(numbers, data.number_types->size());
    numbers.resize(data.number_types->size());
    std::size_t string = 0;
    std::size_t number = 0;
    std::uint8_t* const classes = data.number_types->data();
    visitNodes<Access::Read>(nodes, [&](const rapidjson::Value& node, std::size_t) {
        if (node.IsString()) {
            data.strings->set(string++, toUString(node));
        } else if (node.IsNumber()) {
            const LevelReader::NumberType type = numberClass(node);
            classes[number] = type;
            numbers[number++] = payload(node, type);
        }
    });
    return numbers;
}

/// @return the column of the numbers of one class.
template <class T>
NumericArray<T> columnOf(LevelReader::NumberType type, const Column& classes,
                         const std::vector<std::uint64_t>& numbers) {
    const std::size_t count = countOf(classes, type);
    NumericArray<T> column = makeColumn<T>(count);
    T* next = column->data();
    if (count == numbers.size()) { // as a rule a column has one class
        std::transform(numbers.begin(), numbers.end(), next, std::bit_cast<T, std::uint64_t>);
        return column;
    }
    for (std::size_t i = 0; count != 0 && i < numbers.size(); ++i) {
        if (classes.data()[i] == type) {
            *next++ = std::bit_cast<T>(numbers[i]);
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

    const std::u16string& nextText() {
        const std::u16string* text = strings_.get(string_++);
        if (text == nullptr) {
            throwError(OSTRA::string::MissingNotSupported());
        }
        return *text;
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
    const std::vector<std::uint64_t> numbers = fillStringsAndClasses(nodes, data);
    const Column& classes = *data.number_types;
    data.doubles = columnOf<double>(LevelReader::Double, classes, numbers);
    data.uint64s = columnOf<std::uint64_t>(LevelReader::Uint64, classes, numbers);
    data.int64s = columnOf<std::int64_t>(LevelReader::Int64, classes, numbers);
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
