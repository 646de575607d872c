#pragma once

/// What `get_data` gives and `set_data` takes, as plain vectors, and both done the slow way.

#include "support.hpp"

#include <ostra/io/json/tree/node_vector_data.hpp>

#include <bit>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fuzz {

using Nodes = std::vector<Value*>;
using Codes = std::vector<std::uint8_t>;
using Texts = std::vector<std::optional<std::u16string>>; // empty: missing

template <class T>
tree::NumericArray<T> columnOf(const std::vector<T>& values, qxClassID classId) {
    const std::array<unsigned long, 2> dims = {values.size(), 1};
    tree::NumericArray<T> column(static_cast<matrix::typed_vector<T>*>(
        matrix::detail::do_create_numeric(dims, classId, qxREAL)));
    std::copy(values.begin(), values.end(), column->data());
    return column;
}

template <class T>
std::vector<T> vectorOf(const tree::NumericArray<T>& column) {
    check(column->dims() == std::vector<unsigned long>{column->size(), 1}, "shape of a column");
    return {column->data(), column->data() + column->size()};
}

inline tree::StringArray stringsOf(const Texts& texts) {
    const std::array<std::size_t, 2> dims = {texts.size(), 1};
    tree::StringArray strings = Tarvel::String::make_String(dims.size(), dims.data());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (texts[i]) {
            strings->set(i, *texts[i]);
        }
    }
    return strings;
}

inline Texts textsOf(const tree::StringArray& strings) {
    Texts texts(strings->size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (const std::u16string* text = strings->get(i)) {
            texts[i] = *text;
        }
    }
    return texts;
}

struct Record {
    Codes types;
    Codes numberTypes;
    Texts strings;
    std::vector<double> doubles;
    std::vector<std::uint64_t> uint64s;
    std::vector<std::int64_t> int64s;

    tree::NodeVectorData toHost() const {
        return {columnOf(types, qxUINT8_CLASS),
                columnOf(numberTypes, qxUINT8_CLASS),
                stringsOf(strings),
                columnOf(doubles, qxDOUBLE_CLASS),
                columnOf(uint64s, qxUINT64_CLASS),
                columnOf(int64s, qxINT64_CLASS)};
    }
};

inline Record fromHost(const tree::NodeVectorData& data) {
    return {vectorOf(data.types),   vectorOf(data.number_types), textsOf(data.strings),
            vectorOf(data.doubles), vectorOf(data.uint64s),      vectorOf(data.int64s)};
}

inline bool sameRecord(const Record& a, const Record& b) {
    return a.types == b.types && a.numberTypes == b.numberTypes && a.strings == b.strings &&
           a.uint64s == b.uint64s && a.int64s == b.int64s && a.doubles.size() == b.doubles.size() &&
           (a.doubles.empty() || std::memcmp(a.doubles.data(), b.doubles.data(),
                                             a.doubles.size() * sizeof(double)) == 0);
}

/// `get_data`, node after node, by RapidJSON's own tests.
inline Record plainGetData(const Nodes& nodes) {
    Record record;
    for (const Value* node : nodes) {
        record.types.push_back(static_cast<std::uint8_t>(node->GetType()));
        if (node->IsString()) {
            record.strings.emplace_back(u16({node->GetString(), node->GetStringLength()}));
        } else if (node->IsLosslessDouble()) {
            record.numberTypes.push_back(0);
            record.doubles.push_back(node->GetDouble());
        } else if (node->IsUint64()) {
            record.numberTypes.push_back(1);
            record.uint64s.push_back(node->GetUint64());
        } else if (node->IsInt64()) {
            record.numberTypes.push_back(2);
            record.int64s.push_back(node->GetInt64());
        }
    }
    return record;
}

/// How an operation ends.
enum class Outcome { Done, NoArray, OutOfRange, TooLong, NoMemory, Missing };

inline Outcome plainSetTypes(const Nodes& nodes, const Codes& types) {
    const std::size_t used = std::min(nodes.size(), types.size());
    for (std::size_t i = 0; i < used; ++i) {
        if (types[i] > rapidjson::kNumberType) {
            return Outcome::OutOfRange;
        }
    }
    for (std::size_t i = 0; i < used; ++i) {
        *nodes[i] = Value(static_cast<rapidjson::Type>(types[i]));
    }
    return Outcome::Done;
}

/// Whether a record with usable types has an element for everything the nodes take.
inline bool suffices(const Record& record, const Nodes& nodes) {
    std::map<const Value*, int> types;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (i < record.types.size()) {
            types[nodes[i]] = record.types[i];
        } else {
            types.emplace(nodes[i], nodes[i]->GetType());
        }
    }
    std::size_t strings = 0;
    std::size_t numbers = 0;
    std::array<std::size_t, 3> needed{};
    for (const Value* node : nodes) {
        strings += types[node] == rapidjson::kStringType ? 1 : 0;
        if (types[node] != rapidjson::kNumberType) {
            continue;
        }
        if (numbers == record.numberTypes.size()) {
            return false;
        }
        const std::uint8_t code = record.numberTypes[numbers++];
        if (code < needed.size()) {
            ++needed[code];
        }
    }
    return strings <= record.strings.size() && needed[0] <= record.doubles.size() &&
           needed[1] <= record.uint64s.size() && needed[2] <= record.int64s.size();
}

/// `set_data`, node after node.
inline Outcome plainSetData(const Nodes& nodes, const Record& record,
                            rapidjson::Document::AllocatorType& pool) {
    const std::size_t used = std::min(nodes.size(), record.types.size());
    const bool validTypes =
        std::all_of(record.types.begin(), record.types.begin() + static_cast<std::ptrdiff_t>(used),
                    [](int code) { return code <= rapidjson::kNumberType; });
    if (!validTypes || !suffices(record, nodes)) {
        return Outcome::OutOfRange;
    }
    plainSetTypes(nodes, record.types);
    std::array<std::size_t, 3> taken{};
    std::size_t strings = 0;
    std::size_t numbers = 0;
    for (Value* node : nodes) {
        if (node->IsString()) {
            const auto& text = record.strings[strings++];
            if (!text) {
                return Outcome::Missing;
            }
            const std::string bytes = u8(*text);
            node->SetString(bytes.data(), bytes.size(), pool);
        } else if (node->IsNumber()) {
            const std::uint8_t code = record.numberTypes[numbers++];
            if (code == 0) {
                node->SetDouble(record.doubles[taken[0]++]);
            } else if (code == 1) {
                node->SetUint64(record.uint64s[taken[1]++]);
            } else if (code == 2) {
                node->SetInt64(record.int64s[taken[2]++]);
            }
        }
    }
    return Outcome::Done;
}

} // namespace fuzz
