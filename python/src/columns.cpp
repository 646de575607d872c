#include "columns.hpp"

#include "arguments.hpp"
#include "arrays.hpp"
#include "errors.hpp"
#include "python_values.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace ostrajson {

namespace {

using columns::Column;
using columns::Kind;
using columns::Layout;
using columns::State;

template <class Enum, std::size_t size>
Enum choice(nb::handle given, const char* name, const std::array<std::string_view, size>& words) {
    const std::string_view word = textArgument(given, name);
    const auto found = std::find(words.begin(), words.end(), word);
    if (found == words.end()) {
        raiseValue(name, "unknown: " + std::string(word));
    }
    return static_cast<Enum>(found - words.begin());
}

constexpr std::array<std::string_view, 8> wantWords = {"any",     "number", "int64", "uint64",
                                                       "float64", "bool",   "str",   "json"};
constexpr std::array<std::string_view, 6> kindWords = {"int64", "uint64", "float64",
                                                       "bool",  "str",    "json"};
constexpr std::array<std::string_view, 3> layoutWords = {"scalar", "list", "fixed"};
constexpr std::array<std::string_view, 2> mismatchWords = {"raise", "missing"};

/// @param shape  None, "flatten", or the values a row.
columns::ColumnType toColumnType(nb::handle want, nb::handle shape, nb::handle mismatch) {
    columns::ColumnType type;
    type.want = choice<columns::Want>(want, "dtype", wantWords);
    type.mismatch = choice<columns::Mismatch>(mismatch, "mismatch", mismatchWords);
    if (PyUnicode_Check(shape.ptr())) {
        if (textArgument(shape, "shape") != "flatten") {
            raiseValue("shape", "expected None, \"flatten\" or a number of values");
        }
        type.layout = Layout::List;
    } else if (!shape.is_none()) {
        type.layout = Layout::Fixed;
        type.width = countArgument(shape, "shape");
        if (type.width == 0) {
            raiseValue("shape", "expected 1 or more values a row");
        }
    }
    return type;
}

/// An array over a column's memory, which the column object keeps alive.
template <class T, class Block>
nb::object view(nb::handle column, Block& block) {
    return wrapArray(reinterpret_cast<T*>(block.data()),
                     block.size() * sizeof(*block.data()) / sizeof(T), nb::borrow(column));
}

Column& columnOf(nb::handle self) {
    return *nb::cast<HeldColumn&>(self).column;
}

nb::object values(nb::handle self) {
    Column& column = columnOf(self);
    switch (column.kind) {
    case Kind::Int64:
        return view<std::int64_t>(self, column.values);
    case Kind::Uint64:
        return view<std::uint64_t>(self, column.values);
    case Kind::Double:
        return view<double>(self, column.values);
    case Kind::Boolean:
        return view<bool>(self, column.values);
    case Kind::Text:
    case Kind::Json:
        break;
    }
    return view<std::uint8_t>(self, column.values);
}

/// The states of the values: of the elements if there are any, else of the rows.
auto& valueStates(Column& column) {
    return column.layout == Layout::Scalar ? column.states : column.element_states;
}

std::size_t countMissing(const HeldColumn& self) {
    const auto& states = valueStates(*self.column);
    return static_cast<std::size_t>(
        std::count_if(states.begin(), states.end(), [](State s) { return s != State::Present; }));
}

/// The first row without a value, or None.
nb::object firstMissing(const HeldColumn& self) {
    const Column& column = *self.column;
    const auto isMissing = [](State s) { return s != State::Present; };
    const auto row = std::find_if(column.states.begin(), column.states.end(), isMissing);
    if (row != column.states.end()) {
        return nb::int_(row - column.states.begin());
    }
    const auto* const element =
        std::find_if(column.element_states.begin(), column.element_states.end(), isMissing);
    if (element == column.element_states.end()) {
        return nb::none();
    }
    const std::ptrdiff_t index = element - column.element_states.begin();
    if (column.layout == Layout::Fixed) {
        return nb::int_(index / static_cast<std::ptrdiff_t>(column.width));
    }
    const auto* const after = std::upper_bound(column.lists.begin(), column.lists.end(), index);
    return nb::int_(after - column.lists.begin() - 1);
}

/// Gives missing numbers or booleans a value, which is of the class of the column.
void fill(const HeldColumn& self, nb::handle given) {
    Column& column = *self.column;
    const auto with = [&column]<class T>(T value) {
        T* const data = reinterpret_cast<T*>(column.values.data());
        const auto& states = valueStates(column);
        for (std::size_t i = 0; i < states.size(); ++i) {
            if (states[i] != State::Present) {
                data[i] = value;
            }
        }
    };
    switch (column.kind) {
    case Kind::Int64:
        with(ArrayInput(given, Element::Int64, "fill").as<std::int64_t>().front());
        break;
    case Kind::Uint64:
        with(ArrayInput(given, Element::UInt64, "fill").as<std::uint64_t>().front());
        break;
    case Kind::Double:
        with(ArrayInput(given, Element::Double, "fill").as<double>().front());
        break;
    case Kind::Boolean:
        with(flagArgument(given, "fill"));
        break;
    case Kind::Text:
    case Kind::Json:
        raiseValue("fill", "texts are filled as they are made");
    }
}

/// The texts as an object array of str, missing ones as `missing`.
nb::object texts(const HeldColumn& self, nb::handle missing) {
    Column& column = *self.column;
    return textArray(
        column.value_count(),
        [&](std::size_t i) -> std::optional<std::string_view> {
            if (valueStates(column)[i] != State::Present) {
                return std::nullopt;
            }
            return column.text(i);
        },
        missing);
}

nb::object optionalView(nb::handle self, auto& block) {
    return block.empty() ? nb::none() : view<std::int64_t>(self, block);
}

// Nodes.

std::optional<tree::NumericArray<bool>> toMask(nb::handle absent) {
    if (absent.is_none()) {
        return std::nullopt;
    }
    return toColumn<bool>(absent, "absent");
}

HeldColumn nodeColumn(const Nodes& self, nb::handle want, nb::handle shape, nb::handle mismatch,
                      nb::handle absent) {
    const columns::ColumnType type = toColumnType(want, shape, mismatch);
    const auto mask = toMask(absent);
    return withColumns([&] {
        const Reading reading(self, self.size());
        return hold(columns::get_column(self.vector, type, mask ? mask->get() : nullptr));
    });
}

nb::list selectColumns(const Nodes& self, nb::handle given) {
    const std::vector<columns::Field> fields = toFields(given);
    std::vector<Column> selected = withColumns([&] {
        const Reading reading(self, self.size());
        return columns::select(self.vector, fields);
    });
    nb::list list;
    for (Column& column : selected) {
        list.append(nb::cast(hold(std::move(column))));
    }
    return list;
}

/// @param kind     of the values: "int64", "uint64", "float64", "bool" or "str".
/// @param values   an array of that type; the UTF-8 bytes of all texts.
/// @param offsets  of texts; else None.
/// @param missing  an array of bool, or None.
void setColumn(const Nodes& self, nb::handle kind, nb::handle values, nb::handle offsets,
               nb::handle missing, nb::handle setNull) {
    constexpr std::array elements = {Element::Int64, Element::UInt64, Element::Double,
                                     Element::Bool, Element::UInt8};
    columns::ColumnView view;
    view.kind = choice<Kind>(kind, "kind", kindWords);
    const ArrayInput input(values, elements.at(static_cast<std::size_t>(view.kind)), "values");
    view.values = input.as<std::byte>().data();
    view.rows = input.size();
    std::optional<ArrayInput> begins;
    if (view.kind == Kind::Text) {
        begins.emplace(offsets, Element::Int64, "offsets");
        view.offsets = begins->as<std::int64_t>().data();
        view.rows = begins->size() - 1;
    }
    std::vector<State> states;
    if (!missing.is_none()) {
        for (const bool isMissing : ArrayInput(missing, Element::Bool, "mask").as<bool>()) {
            states.push_back(isMissing ? State::Null : State::Present);
        }
        view.states = states.data();
    }
    const auto missingRows =
        flagArgument(setNull, "null") ? columns::MissingRows::SetNull : columns::MissingRows::Keep;
    if (view.rows != self.size() || (view.states != nullptr && states.size() != view.rows)) {
        raiseValue("values", std::to_string(view.rows) + " values for " +
                                 std::to_string(self.size()) + " nodes");
    }
    const Writing writing(self, hasEntries);
    columns::set_column(self.vector, view, missingRows);
}

} // namespace

std::string_view nameOf(columns::Want want) {
    return wantWords.at(static_cast<std::size_t>(want));
}

std::vector<columns::Field> toFields(nb::handle given) {
    std::vector<columns::Field> fields;
    for (const nb::handle one : given) {
        const nb::tuple parts = nb::cast<nb::tuple>(one);
        const nb::str name = parts[0];
        const nb::str pointer = parts[1];
        fields.push_back({std::string(textArgument(name, "fields")),
                          std::string(textArgument(pointer, "fields")),
                          toColumnType(parts[2], parts[3], parts[4])});
        try {
            core::validate_selector(fields.back().pointer);
        } catch (const std::invalid_argument& error) {
            raise(Error::Pointer, "field '" + fields.back().name + "': " + error.what());
        }
    }
    return fields;
}

void raiseConflict(const columns::ColumnConflict& conflict) {
    raiseColumnType(conflict.what(), conflict.field(), conflict.row(), conflict.found(),
                    conflict.wanted());
}

void bindColumns(nb::module_& module, nb::class_<Nodes>& nodes) {
    nb::class_<HeldColumn> column(module, "_Column");
    column
        .def_prop_ro("kind",
                     [](const HeldColumn& self) {
                         return toStr(kindWords.at(static_cast<std::size_t>(self.column->kind)));
                     })
        .def_prop_ro("layout",
                     [](const HeldColumn& self) {
                         return toStr(
                             layoutWords.at(static_cast<std::size_t>(self.column->layout)));
                     })
        .def_prop_ro("rows", [](const HeldColumn& self) { return self.column->rows; })
        .def_prop_ro("width", [](const HeldColumn& self) { return self.column->width; })
        .def_prop_ro("values", values)
        .def_prop_ro("offsets",
                     [](nb::handle self) { return optionalView(self, columnOf(self).offsets); })
        .def_prop_ro("lists",
                     [](nb::handle self) { return optionalView(self, columnOf(self).lists); })
        .def_prop_ro(
            "states",
            [](nb::handle self) { return view<std::uint8_t>(self, columnOf(self).states); })
        .def_prop_ro(
            "value_states",
            [](nb::handle self) { return view<std::uint8_t>(self, valueStates(columnOf(self))); })
        .def_prop_ro("missing", countMissing)
        .def_prop_ro("first_missing", firstMissing)
        .def("fill", fill, arg("value"))
        .def("texts", texts, arg("missing"));
    bindArrowExport(module, column);
    nodes.def("_column", nodeColumn, arg("want"), arg("shape"), arg("mismatch"), arg("absent"))
        .def("_select", selectColumns, arg("fields"))
        .def("_set_column", setColumn, arg("kind"), arg("values"), arg("offsets"), arg("mask"),
             arg("null"));
    addPython(nodes, "ostrajson._nodes");
}

} // namespace ostrajson
