#include "base/huge_pages.hpp"
#include "document/errors.hpp"
#include "node_content/number_class.hpp"
#include "node_content/record_check.hpp"
#include "node_content/text.hpp"
#include "node_content/type_codes.hpp"
#include "nodes/columns.hpp"
#include "nodes/distinct_nodes.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>
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

/// The bits of a number as the column of its class holds it.
std::uint64_t columnBits(const rapidjson::Value& number, LevelReader::NumberType type) {
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

/// The numbers of many nodes in order, until their columns can be made.
///
/// How long the columns are is known only when every number has been looked at, and a host array is
/// made once, at its final size. Gathering takes one pass over the nodes, which lie far apart;
/// counting the classes in a pass of its own took half as long again.
class GatheredNumbers {
public:
    /// @param count  how many will be added.
    explicit GatheredNumbers(std::size_t count)
        : count_(count), bits_(std::make_unique_for_overwrite<std::uint64_t[]>(count + 1)),
          classes_(std::make_unique_for_overwrite<std::uint8_t[]>(count + 1)),
          nextBits_(bits_.get()), nextClass_(classes_.get()) {
        base::adviseHugePages(bits_.get(), count * sizeof(std::uint64_t));
    }

    void add(const rapidjson::Value& number) {
        const LevelReader::NumberType type = numberClass(number);
        *nextBits_++ = columnBits(number, type);
        *nextClass_++ = type;
        ++counts_[type];
    }

    /// @return the column of the numbers of one class.
    template <class T>
    NumericArray<T> column(LevelReader::NumberType type) const {
        NumericArray<T> column = makeColumn<T>(counts_[type]);
        T* next = column->data();
        if (counts_[type] == count_) { // as a rule, of doubles
            std::memcpy(next, bits_.get(), count_ * sizeof(T));
            return column;
        }
        for (std::size_t i = 0; column->size() != 0 && i < count_; ++i) {
            if (classes_[i] == type) {
                *next++ = std::bit_cast<T>(bits_[i]);
            }
        }
        return column;
    }

    NumericArray<std::uint8_t> classColumn() const {
        NumericArray<std::uint8_t> column = makeColumn<std::uint8_t>(count_);
        std::memcpy(column->data(), classes_.get(), count_);
        return column;
    }

private:
    std::size_t count_;
    std::array<std::size_t, 3> counts_ = {}; // by class
    std::unique_ptr<std::uint64_t[]> bits_;
    std::unique_ptr<std::uint8_t[]> classes_;
    std::uint64_t* nextBits_;
    std::uint8_t* nextClass_;
};

/// Hands the elements of a record out in order.
class ValueSource {
public:
    explicit ValueSource(const NodeVectorData& data)
        : strings_(data.strings.get()), numberType_(start(data.number_types)),
          double_(start(data.doubles)), uint64_(start(data.uint64s)), int64_(start(data.int64s)) {}

    /// @return a text, valid until the next call.
    const std::u16string& nextText() {
        const auto text = strings_->get(string_++);
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
    /// Nothing is taken if there is no array.
    template <class T>
    static const T* start(const NumericArray<T>& array) {
        static constexpr T nothing = {};
        return array != nullptr ? array->data() : &nothing;
    }

    const Tarvel::String::String* strings_;
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
    GatheredNumbers numbers(countOf(*data.types, rapidjson::kNumberType));
    std::size_t string = 0;
    visitNodes<Access::Read>(nodes, [&](const rapidjson::Value& node, std::size_t) {
        if (node.IsString()) {
            data.strings->set(string++, toUString(node));
        } else if (node.IsNumber()) {
            numbers.add(node);
        }
    });
    data.doubles = numbers.column<double>(LevelReader::Double);
    data.uint64s = numbers.column<std::uint64_t>(LevelReader::Uint64);
    data.int64s = numbers.column<std::int64_t>(LevelReader::Int64);
    data.number_types = numbers.classColumn();
    return data;
}

void NodeVector::set_data(const NodeVectorData& data) {
    const std::span<const std::uint8_t> codes = usedTypeCodes(data.types, nodes.size());
    const bool distinct = areDistinct(nodes);
    requireFitting(data, codes, nodes, distinct);
    ValueSource source(data);
    const auto fill = [&](rapidjson::Value& node) {
        if (node.IsString()) {
            node = makeStringValue(source.nextText(), dom->document);
        } else if (node.IsNumber()) {
            source.setNumber(node);
        }
    };
    if (!distinct) {
        resetNodes(nodes, codes);
        visitNodes<Access::Write>(nodes, [&](rapidjson::Value& node, std::size_t) { fill(node); });
        return;
    }
    // Types and values in one visit. If that fails, all types are written nevertheless.
    std::size_t visited = 0;
    try {
        visitNodes<Access::Write>(nodes, [&](rapidjson::Value& node, std::size_t i) {
            visited = i + 1;
            if (i < codes.size()) {
                node = rapidjson::Value(static_cast<rapidjson::Type>(codes[i]));
            }
            fill(node);
        });
    } catch (...) {
        if (visited < codes.size()) {
            resetNodes(std::span(nodes).subspan(visited), codes.subspan(visited));
        }
        throw;
    }
}

} // namespace ostra::io::json::tree
