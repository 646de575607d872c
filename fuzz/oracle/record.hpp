#pragma once

/// Host arrays as plain vectors and back, and what node vectors do with them, done the slow way.
/// Tests compare with it too.

#include "agreement.hpp"

#include "platform/exceptions.hpp"

#include <ostra/io/json/tree/node_vector_data.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace fuzz {

using Nodes = std::vector<Value*>;
using Codes = std::vector<std::uint8_t>;
using Texts = std::vector<std::optional<std::u16string>>; // empty: missing

template <class T>
constexpr qxClassID classId() {
    return std::is_same_v<T, bool>           ? qxLOGICAL_CLASS
           : std::is_same_v<T, std::uint8_t> ? qxUINT8_CLASS
           : std::is_same_v<T, std::int64_t> ? qxINT64_CLASS
           : std::is_same_v<T, double>       ? qxDOUBLE_CLASS
                                             : qxUINT64_CLASS;
}

/// A row, for the shape of what is handed in does not matter.
template <class T>
tree::NumericArray<T> columnOf(const std::vector<T>& values) {
    const std::array<unsigned long, 2> dims = {1, values.size()};
    tree::NumericArray<T> column(static_cast<matrix::typed_vector<T>*>(
        matrix::detail::do_create_numeric(dims, classId<T>(), qxREAL)));
    std::copy(values.begin(), values.end(), column->data());
    return column;
}

template <class T>
std::vector<T> vectorOf(const tree::NumericArray<T>& column) {
    check(column->dims() == std::vector<unsigned long>{column->size(), 1}, "shape of a column");
    check(column->class_id() == classId<T>() && column->complexity() == qxREAL,
          "class of a column");
    return std::vector<T>(column->data(), column->data() + column->size());
}

inline tree::StringArray stringsOf(const Texts& texts) {
    const std::array<std::size_t, 2> dims = {1, texts.size()};
    tree::StringArray strings = Tarvel::String::make_String(dims.size(), dims.data());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (texts[i]) {
            strings->set(i, *texts[i]);
        }
    }
    return strings;
}

inline Texts textsOf(const tree::StringArray& strings) {
    check(strings->dims() == std::vector<std::size_t>{strings->size(), 1}, "shape of the texts");
    Texts texts(strings->size());
    for (std::size_t i = 0; i < texts.size(); ++i) {
        if (const auto text = strings->get(i)) {
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
    std::size_t absent = 0; // the field, counted from 1, that is null

    tree::NodeVectorData toHost() const {
        return {absent == 1 ? nullptr : columnOf(types),
                absent == 2 ? nullptr : columnOf(numberTypes),
                absent == 3 ? nullptr : stringsOf(strings),
                absent == 4 ? nullptr : columnOf(doubles),
                absent == 5 ? nullptr : columnOf(uint64s),
                absent == 6 ? nullptr : columnOf(int64s)};
    }
};

inline Record fromHost(const tree::NodeVectorData& data) {
    return {vectorOf(data.types),
            vectorOf(data.number_types),
            textsOf(data.strings),
            vectorOf(data.doubles),
            vectorOf(data.uint64s),
            vectorOf(data.int64s),
            0};
}

inline bool sameBits(const std::vector<double>& a, const std::vector<double>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

inline bool sameRecord(const Record& a, const Record& b) {
    return a.types == b.types && a.numberTypes == b.numberTypes && a.strings == b.strings &&
           a.uint64s == b.uint64s && a.int64s == b.int64s && sameBits(a.doubles, b.doubles);
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

template <class Call>
Outcome outcomeOf(const Call& call) {
    try {
        call();
        return Outcome::Done;
    } catch (const std::invalid_argument&) {
        return Outcome::NoArray;
    } catch (const std::out_of_range&) {
        return Outcome::OutOfRange;
    } catch (const std::length_error&) {
        return Outcome::TooLong;
    } catch (const std::bad_alloc&) {
        return Outcome::NoMemory;
    } catch (const foundation::core::except::IMsgIDException& error) {
        check(error.GetID() == "OSTRA:string:MissingNotSupported", "identifier of an error");
        return Outcome::Missing;
    }
}

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

/// Whether a record with usable types has what the nodes take, up to a missing string.
inline Outcome fitting(const Record& record, const Nodes& nodes) {
    std::map<const Value*, int> types;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (i < record.types.size()) {
            types[nodes[i]] = record.types[i];
        } else {
            types.emplace(nodes[i], nodes[i]->GetType());
        }
    }
    struct Column {
        std::size_t field;
        std::size_t size;
        std::size_t taken = 0;
    };
    const auto column = [&](std::size_t field, const auto& values) {
        return Column{field, record.absent == field ? 0 : values.size()};
    };
    std::array columns{column(3, record.strings), column(2, record.numberTypes),
                       column(4, record.doubles), column(5, record.uint64s),
                       column(6, record.int64s)};
    auto& [strings, numbers, doubles, uint64s, int64s] = columns;
    for (const Value* node : nodes) {
        if (types[node] == rapidjson::kStringType) {
            const std::size_t string = strings.taken++;
            if (string < strings.size && !record.strings[string]) {
                break;
            }
        } else if (types[node] == rapidjson::kNumberType) {
            const std::size_t number = numbers.taken++;
            const int code = number < numbers.size ? record.numberTypes[number] : 3;
            doubles.taken += code == 0 ? 1 : 0;
            uint64s.taken += code == 1 ? 1 : 0;
            int64s.taken += code == 2 ? 1 : 0;
        }
    }
    for (const Column& one : columns) {
        if (one.taken > one.size) {
            return record.absent == one.field ? Outcome::NoArray : Outcome::OutOfRange;
        }
    }
    return Outcome::Done;
}

/// `set_data`, node after node.
inline Outcome plainSetData(const Nodes& nodes, const Record& record,
                            rapidjson::Document::AllocatorType& pool) {
    if (record.absent == 1 && !nodes.empty()) {
        return Outcome::NoArray;
    }
    const std::size_t used = std::min(nodes.size(), record.types.size());
    const bool validTypes =
        std::all_of(record.types.begin(), record.types.begin() + static_cast<std::ptrdiff_t>(used),
                    [](int code) { return code <= rapidjson::kNumberType; });
    const Outcome fits = validTypes ? fitting(record, nodes) : Outcome::OutOfRange;
    if (fits != Outcome::Done) {
        return fits;
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

/// `set_number_of_children`, node after node.
inline void plainResize(const Nodes& nodes, std::size_t count,
                        rapidjson::Document::AllocatorType& pool) {
    for (Value* node : nodes) {
        if (!node->IsArray()) {
            continue;
        }
        if (node->Capacity() < count) {
            // Keeps the pool from growing the array where it is: a node in it goes stale then, as
            // it does in the library.
            pool.Malloc(sizeof(Value));
            node->Reserve(count, pool);
        }
        while (node->Size() < count) {
            node->PushBack(Value(), pool);
        }
        while (node->Size() > count) {
            node->PopBack();
        }
    }
}

/// `get_keys`: a key as often as it is in the object that has it most often.
inline Texts plainKeys(const Nodes& nodes) {
    Texts keys;
    std::map<std::string, std::size_t> most;
    for (const Value* node : nodes) {
        if (!node->IsObject()) {
            continue;
        }
        std::map<std::string, std::size_t> inThis;
        for (const auto& member : node->GetObject()) {
            const std::string key = keyOf(member);
            if (++inThis[key] > most[key]) {
                ++most[key];
                keys.emplace_back(u16(key));
            }
        }
    }
    return keys;
}

/// `set_keys` without a missing one, node after node.
inline void plainSetKeys(const Nodes& nodes, const Texts& keys,
                         rapidjson::Document::AllocatorType& pool) {
    for (Value* node : nodes) {
        if (node->IsObject()) {
            *node = Value(rapidjson::kObjectType);
            for (const auto& key : keys) {
                const std::string bytes = u8(*key);
                node->AddMember(Value(bytes.data(), bytes.size(), pool), Value(), pool);
            }
        }
    }
}

} // namespace fuzz
