#pragma once

/// Columns as Arrow arrays.

#include "arrow_array.hpp"

#include <ostra/io/json/columns/column.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ostrajson {

using SharedColumn = std::shared_ptr<ostra::io::json::columns::Column>;

/// Another form of a column's values than the column's own.
struct ArrowValues {
    std::string format;            ///< Arrow's name of their type; empty for the column's own
    std::vector<std::byte> values; ///< of that type
};

/// Distinct texts, and which of them each value of a column is.
struct Encoded {
    std::vector<std::int32_t> codes; ///< one a value; -1 if it is missing
    SharedColumn texts;              ///< in order of first appearance
};

/// @throws std::length_error  if there are more distinct texts than 32-bit codes.
Encoded encode(const ostra::io::json::columns::Column& column);

/// @return a copy of a column of texts in which no value is missing, but `text` stands instead.
SharedColumn filled(const ostra::io::json::columns::Column& column, std::string_view text);

/// @return a copy of a column of JSON texts, one a row, in which objects are missing.
SharedColumn withoutObjects(const ostra::io::json::columns::Column& column);

/// The column as an Arrow array, over the same memory but for booleans and what is missing, which
/// are packed into bits: int64, uint64, double, bool, large_string (64-bit offsets), and
/// large_list or fixed_size_list of these. JSON texts have the extension type arrow.json.
/// @param isFilled  whether no value counts as missing, for all hold one.
/// @param other     what the values are to be instead; of numbers.
/// Cost: linear in the rows if rows are missing or booleans; else constant.
ArrowParts toArrow(const SharedColumn& column, std::string name, bool isFilled,
                   ArrowValues other = {});

/// The same for texts, dictionary-encoded: int32 codes of large_strings.
/// @throws std::length_error  as `encode`.
/// Cost: linear in the bytes of the texts.
ArrowParts toArrowDictionary(const SharedColumn& column, std::string name, bool isFilled);

/// Columns of as many rows as the children of a struct, as Arrow has record batches.
ArrowParts toArrowTable(std::vector<ArrowParts> columns, std::size_t rows);

} // namespace ostrajson
