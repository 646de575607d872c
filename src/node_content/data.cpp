#include "document/errors.hpp"
#include "node_content/columns.hpp"
#include "node_content/number_class.hpp"
#include "node_content/record_check.hpp"
#include "node_content/text.hpp"
#include "node_content/visit_nodes.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <array>

namespace ostra::io::json::tree {

const std::string NodeVectorData::class_name = "NodeVectorData";
const std::string NodeVectorData::packaged_class_name = "ostra.io.json.internal.NodeVectorData";

namespace {

/// How many nodes go into each column.
struct Counts {
    std::size_t strings = 0;
    std::array<std::size_t, 3> numbers{}; // by class
};

Counts countScalars(std::span<rapidjson::Value* const> nodes) {
    Counts counts;
    visitNodes<Access::Read>(nodes, [&](const rapidjson::Value& node, std::size_t) {
        if (node.IsNumber()) {
            ++counts.numbers[numberClass(node)];
        } else if (node.IsString()) {
            ++counts.strings;
        }
    });
    return counts;
}

/// Copies numbers and texts into columns of the right size.
void fillColumns(std::span<rapidjson::Value* const> nodes, const NodeVectorData& data) {
    std::uint8_t* numberType = data.number_types->data();
    double* nextDouble = data.doubles->data();
    std::uint64_t* nextUint64 = data.uint64s->data();
    std::int64_t* nextInt64 = data.int64s->data();
    std::size_t string = 0;
    visitNodes<Access::Read>(nodes, [&](const rapidjson::Value& node, std::size_t) {
        if (node.IsString()) {
            data.strings->set(string++, toUString(node));
        } else if (node.IsNumber()) {
            const LevelReader::NumberType type = numberClass(node);
            *numberType++ = type;
            switch (type) {
            case LevelReader::Double:
                *nextDouble++ = node.GetDouble();
                break;
            case LevelReader::Uint64:
                *nextUint64++ = node.GetUint64();
                break;
            case LevelReader::Int64:
                *nextInt64++ = node.GetInt64();
                break;
            }
        }
    });
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
    const Counts counts = countScalars(nodes);
    const auto [doubles, uint64s, int64s] = counts.numbers;
    const std::array<std::size_t, 2> stringDims = {counts.strings, 1};
    data.strings = Tarvel::String::make_String(stringDims.size(), stringDims.data());
    data.doubles = makeColumn<double>(doubles);
    data.uint64s = makeColumn<std::uint64_t>(uint64s);
    data.int64s = makeColumn<std::int64_t>(int64s);
    data.number_types = makeColumn<std::uint8_t>(doubles + uint64s + int64s);
    fillColumns(nodes, data);
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
