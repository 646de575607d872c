#pragma once

/// Columns of values taken one after another, as their contract says it: what the columns library
/// is compared with.

#include "search.hpp"

#include <ostra/io/json/columns/field.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace fuzz {

namespace columns = ostra::io::json::columns;
using columns::Column;
using columns::ColumnType;
using columns::Kind;
using columns::Layout;
using columns::Mismatch;
using columns::State;
using columns::Want;

/// What a conflict says.
struct PlainConflict {
    std::size_t row = 0;
    std::string found;
    std::string wanted;
    bool operator==(const PlainConflict&) const = default;
};

/// The values of one field, row by row.
class PlainColumn {
public:
    explicit PlainColumn(ColumnType type) : type_(type), rule_(type.want) {}

    /// @param value  null: absent.
    void add(Value* value) {
        if (conflict) {
            return;
        }
        rows_.push_back({State::Present, {}});
        if (value == nullptr || value->IsNull()) {
            rows_.back().state = value == nullptr ? State::Absent : State::Null;
        } else if (type_.layout == Layout::Scalar) {
            addTyped(*value);
        } else {
            Nodes leaves;
            flatten(*value, leaves);
            if (type_.layout == Layout::Fixed && leaves.size() != type_.width) {
                mismatch(*value, "arrays of " + std::to_string(type_.width));
            } else {
                addElements(leaves, value->IsArray());
            }
        }
    }

    std::optional<PlainConflict> conflict;

    /// Compares what was added since the last time with a column.
    /// @param keep  whether the type stays for what is added from now on.
    void compare(const Column& column, bool keep) {
        const bool anyValue = std::any_of(rows_.begin(), rows_.end(), [](const Row& row) {
            return std::any_of(row.values.begin(), row.values.end(),
                               [](const Value* value) { return value != nullptr; });
        });
        const bool list =
            type_.layout == Layout::List || (type_.layout == Layout::Scalar && list_ == 1);
        const Kind kind = rule_ == Want::Number && (anyValue || kept_) ? classNow()
                          : rule_ == Want::Int64                       ? Kind::Int64
                          : rule_ == Want::Uint64                      ? Kind::Uint64
                          : rule_ == Want::Boolean                     ? Kind::Boolean
                          : rule_ == Want::Text                        ? Kind::Text
                          : rule_ == Want::Json                        ? Kind::Json
                                                                       : Kind::Double;
        check(column.kind == kind, "kind of a column");
        check(column.layout == (list ? Layout::List : type_.layout), "layout of a column");
        check(column.rows == rows_.size() && column.states.size() == rows_.size(), "rows");
        check(column.width == (type_.layout == Layout::Fixed ? type_.width : 1), "width");
        std::size_t at = 0;
        std::size_t text = 0;
        check(!list || (column.lists.size() == rows_.size() + 1 && column.lists[0] == 0), "lists");
        for (std::size_t r = 0; r < rows_.size(); ++r) {
            const Row& row = rows_[r];
            check(column.states[r] == row.state, "state of a row");
            std::vector<Value*> values = row.values;
            if (!list && values.empty()) {
                values.resize(column.width);
            }
            for (Value* value : values) {
                if (column.layout != Layout::Scalar) {
                    check(column.element_states[at] == (value != nullptr ? State::Present
                                                        : row.state == State::Present ? State::Null
                                                                                      : row.state),
                          "state of an element");
                }
                compareValue(column, at++, text, value);
            }
            check(!list || column.lists[r + 1] == static_cast<std::int64_t>(at), "end of a list");
        }
        check(column.value_count() == at, "number of values");
        check(column.element_states.size() == (column.layout == Layout::Scalar ? 0 : at),
              "number of element states");
        const bool texts = kind == Kind::Text || kind == Kind::Json;
        check(column.offsets.size() == (texts ? at + 1 : 0), "number of offsets");
        check(column.values.size() == (texts ? text : at * (kind == Kind::Boolean ? 1 : 8)),
              "bytes of values");
        before_ += rows_.size();
        rows_.clear();
        if (keep && rule_ == Want::Number && (anyValue || kept_)) {
            kept_ = kind;
        }
        if (!keep) {
            const std::size_t before = before_;
            *this = PlainColumn(type_);
            before_ = before;
        } else if (!kept_) {
            fits_ = {true, true, true};
        }
    }

private:
    using Nodes = std::vector<Value*>;
    struct Row {
        State state;
        Nodes values; // null: missing
    };

    static bool accepts(Want rule, const Value& value) {
        switch (rule) {
        case Want::Number:
        case Want::Double:
            return value.IsNumber();
        case Want::Int64:
            return value.IsInt64() && !value.IsDouble();
        case Want::Uint64:
            return value.IsUint64() && !value.IsDouble();
        case Want::Boolean:
            return value.IsBool();
        case Want::Text:
            return value.IsString();
        case Want::Any:
        case Want::Json:
            return true;
        }
        return false;
    }

    static std::string named(Value& value, bool inArray) {
        const std::string text = value.IsObject()   ? "an object"
                                 : value.IsArray()  ? "an array of " + std::to_string(value.Size())
                                 : value.IsString() ? "a string"
                                                    : textOf(value);
        return text + (inArray ? " in an array" : "");
    }

    /// What the column holds, in words.
    std::string holds() const {
        const bool scalar =
            list_ == 0 || (type_.want != Want::Any && type_.layout == Layout::Scalar);
        const bool undecided = list_ == -1 && type_.layout == Layout::Scalar;
        static const char* const names[] = {"scalars", "numbers",  "int64",   "uint64",
                                            "double",  "booleans", "strings", "JSON"};
        const std::string name = names[static_cast<int>(rule_)];
        return rule_ == Want::Any && undecided ? "scalars or arrays of scalars"
               : scalar || rule_ == Want::Json ? name
                                               : "arrays of " + name;
    }

    void refuse(Value& value, bool inArray, const std::string& wanted) {
        conflict = {before_ + rows_.size() - 1, named(value, inArray), wanted};
    }

    void mismatch(Value& value, const std::string& wanted) {
        if (type_.mismatch == Mismatch::Missing) {
            rows_.back() = {State::Null, {}};
        } else {
            refuse(value, false, wanted);
        }
    }

    void addTyped(Value& value) {
        if (type_.want != Want::Any) {
            if (accepts(rule_, value)) {
                addElements({&value}, false);
            } else {
                mismatch(value, holds());
            }
            return;
        }
        const auto isContainer = [](const Value& one) { return one.IsArray() || one.IsObject(); };
        if (value.IsObject() ||
            (value.IsArray() && std::any_of(value.Begin(), value.End(), isContainer))) {
            mismatch(value, holds());
        } else if (list_ != -1 && list_ != (value.IsArray() ? 1 : 0)) {
            refuse(value, false, holds());
        } else {
            list_ = value.IsArray() ? 1 : 0;
            Nodes leaves;
            flatten(value, leaves);
            addElements(leaves, value.IsArray());
        }
    }

    void addElements(const Nodes& elements, bool inArray) {
        for (Value* element : elements) {
            if (element->IsNull()) {
                rows_.back().values.push_back(nullptr);
                continue;
            }
            if (rule_ == Want::Any) {
                rule_ = element->IsNumber() ? Want::Number
                        : element->IsBool() ? Want::Boolean
                                            : Want::Text;
            }
            if (!accepts(rule_, *element)) {
                if (type_.want == Want::Any || type_.mismatch == Mismatch::Refuse) {
                    refuse(*element, inArray, holds());
                    return;
                }
                rows_.back().values.push_back(nullptr);
                continue;
            }
            rows_.back().values.push_back(element);
            if (rule_ == Want::Number && !stillFits(*element, inArray)) {
                return;
            }
        }
    }

    /// Whether there is a class that holds all numbers so far, this one included.
    bool stillFits(Value& number, bool inArray) {
        const Kind before = classNow();
        const bool integer = !number.IsDouble();
        fits_[0] = fits_[0] && integer && number.IsInt64();
        fits_[1] = fits_[1] && integer && number.IsUint64();
        fits_[2] = fits_[2] && number.IsLosslessDouble();
        const bool good =
            kept_ ? fits_[static_cast<std::size_t>(*kept_)] : fits_[0] || fits_[1] || fits_[2];
        if (!good) {
            static const char* const names[] = {"int64", "uint64", "double"};
            refuse(number, inArray, names[static_cast<int>(before)]);
        }
        return good;
    }

    Kind classNow() const {
        return kept_ ? *kept_ : fits_[0] ? Kind::Int64 : fits_[1] ? Kind::Uint64 : Kind::Double;
    }

    static void compareValue(const Column& column, std::size_t at, std::size_t& text,
                             Value* value) {
        if (column.kind == Kind::Text || column.kind == Kind::Json) {
            const std::string expected =
                value == nullptr ? ""
                : column.kind == Kind::Text
                    ? std::string(value->GetString(), value->GetStringLength())
                    : textOf(*value);
            check(column.offsets[at] == static_cast<std::int64_t>(text), "offset of a text");
            text += expected.size();
            check(column.offsets[at + 1] == static_cast<std::int64_t>(text), "end of a text");
            check(column.text(at) == expected, "text");
        } else if (column.kind == Kind::Boolean) {
            check(column.as<std::uint8_t>()[at] == (value != nullptr && value->IsTrue() ? 1 : 0),
                  "boolean");
        } else {
            const std::uint64_t bits =
                value == nullptr              ? 0
                : column.kind == Kind::Int64  ? static_cast<std::uint64_t>(value->GetInt64())
                : column.kind == Kind::Uint64 ? value->GetUint64()
                                              : std::bit_cast<std::uint64_t>(value->GetDouble());
            check(column.as<std::uint64_t>()[at] == bits, "number");
        }
    }

    ColumnType type_;
    int list_ = -1; // of a column without a type: rows are arrays (1), scalars (0), not known yet
    Want rule_;
    std::array<bool, 3> fits_ = {true, true, true}; // int64, uint64, double
    std::optional<Kind> kept_;                      // class of numbers
    std::size_t before_ = 0;                        // rows compared already
    std::vector<Row> rows_;
};

/// `set_column` of one present number, text or boolean, by its contract.
template <class T>
void plainSet(Value& node, const T& value, rapidjson::Document::AllocatorType& pool) {
    if constexpr (std::is_same_v<T, std::string>) {
        if (!node.IsString() || std::string(node.GetString(), node.GetStringLength()) != value) {
            node = Value(value.data(), value.size(), pool);
        }
    } else if constexpr (std::is_same_v<T, bool>) {
        node = Value(value);
    } else if constexpr (std::is_same_v<T, double>) {
        if (!node.IsNumber() ||
            std::bit_cast<std::uint64_t>(node.GetDouble()) != std::bit_cast<std::uint64_t>(value)) {
            node = Value(value);
        }
    } else { // a long double holds all three classes exactly
        const bool negativeZero =
            node.IsDouble() && node.GetDouble() == 0 && std::signbit(node.GetDouble());
        const long double held = node.IsDouble()   ? node.GetDouble()
                                 : node.IsUint64() ? static_cast<long double>(node.GetUint64())
                                 : node.IsNumber() ? static_cast<long double>(node.GetInt64())
                                                   : 0.5L;
        if (held != static_cast<long double>(value) || negativeZero) {
            node = Value(value);
        }
    }
}

} // namespace fuzz
