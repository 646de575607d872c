#pragma once

/// Columns as text: for people, as CSV and as JSON Lines.

#include <ostra/io/json/columns/read_columns.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace example {

namespace columns_api = ostra::io::json::columns;

/// @return what stands in a row, as JSON text; nothing if it is missing.
std::string cellText(const columns_api::Column& column, std::size_t row);

/// @return the name of a column's kind: "int64", "lists of double".
std::string kindText(const columns_api::Column& column);

/// The columns as RFC 4180 has them: a line of names, then one line a record, each ended by CR LF;
/// a missing value is an empty cell, and a list stands as JSON text.
std::string csvOf(const std::vector<std::string>& names, const columns_api::RecordColumns& table);

/// The columns as one JSON object a line. What is absent from a record is absent, null is null.
std::string jsonLinesOf(const std::vector<std::string>& names,
                        const columns_api::RecordColumns& table);

} // namespace example
