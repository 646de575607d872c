#pragma once

/// Columns as Python objects, and what Python asks for.

#include "arrow_column.hpp"
#include "document.hpp"

#include <ostra/io/json/columns/field.hpp>

#include <nanobind/nanobind.h>

#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace ostrajson {

namespace columns = ostra::io::json::columns;

/// Python's `_Column`. Arrow's consumers may hold the column longer than Python.
struct HeldColumn {
    SharedColumn column;
};

inline HeldColumn hold(columns::Column column) {
    return {std::make_shared<columns::Column>(std::move(column))};
}

void bindArrowExport(nb::module_& module, nb::class_<HeldColumn>& column);

/// @return "any", "int64" and so on.
std::string_view nameOf(columns::Want want);

/// @param given  a sequence of (name, pointer, want, shape, mismatch); see `toColumnType`.
std::vector<columns::Field> toFields(nb::handle given);

/// Calls an operation of the columns library, whose complaints become Python's.
template <class Operation>
auto withColumns(const Operation& operation);

/// Raises the ColumnTypeError of a conflict.
[[noreturn]] void raiseConflict(const columns::ColumnConflict& conflict);

template <class Operation>
auto withColumns(const Operation& operation) {
    try {
        return operation();
    } catch (const columns::ColumnConflict& conflict) {
        raiseConflict(conflict);
    }
}

} // namespace ostrajson
