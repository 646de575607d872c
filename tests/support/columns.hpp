#pragma once

/// Columns as text, to be compared and shown.

#include <ostra/io/json/columns/read_columns.hpp>

#include <cstring>
#include <string>
#include <string_view>

namespace test {

namespace columns = ostra::io::json::columns;

/// Every byte of a column, in a form that can be read.
inline std::string textOf(const columns::Column& column) {
    const auto all = [](const auto& block) {
        std::string text;
        for (const auto& element : block) {
            text += std::to_string(static_cast<long>(element)) + ' ';
        }
        return text + '\n';
    };
    std::string text = "kind " + std::to_string(static_cast<int>(column.kind)) + " layout " +
                       std::to_string(static_cast<int>(column.layout)) + " rows " +
                       std::to_string(column.rows) + " width " + std::to_string(column.width) +
                       "\nvalues ";
    if (column.offsets.empty()) {
        text += all(column.values);
    } else {
        for (std::size_t i = 0; i < column.value_count(); ++i) {
            text += std::string(column.text(i)) + '|';
        }
        text += '\n';
    }
    return text + "lists " + all(column.lists) + "states " + all(column.states) +
           "element states " + all(column.element_states);
}

inline std::string textOf(const columns::RecordColumns& result) {
    std::string text = std::to_string(result.records) + " records\n";
    for (const columns::Column& column : result.columns) {
        text += textOf(column);
    }
    if (result.keys) {
        text += "keys\n" + textOf(*result.keys);
    }
    text += std::to_string(result.bad_lines) + " bad lines\n";
    for (const auto& fields : result.bad_line_list) {
        text += ostra::io::json::core::ParseError(fields).what() + std::string("\n");
    }
    return text;
}

/// What an action gives, or what it throws.
template <class Action>
std::string outcomeOf(const Action& action) {
    try {
        return textOf(action());
    } catch (const columns::ColumnConflict& error) {
        return std::string("conflict: ") + error.what();
    } catch (const ostra::io::json::core::ParseError& error) {
        return std::string("refused: ") + error.what();
    } catch (const std::exception& error) {
        return std::string("error: ") + error.what();
    }
}

} // namespace test
