#pragma once

/// @file
/// Which value of a record makes a column, and what it may be.

#include <ostra/io/json/columns/column.hpp>
#include <ostra/io/json/columns/export.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace ostra::io::json::columns {

/// What the caller wants the values of a column to be.
enum class Want : std::uint8_t {
    Any,     ///< whatever one kind all rows are: numbers, texts, booleans, or lists of one of them
    Number,  ///< numbers of the class that holds all of them exactly
    Int64,   ///< refuses what is not an integer from -2^63 to 2^63-1
    Uint64,  ///< refuses what is not an integer from 0 to 2^64-1
    Double,  ///< any number, rounded to nearest if a double does not hold it
    Boolean, ///< true and false
    Text,    ///< strings
    Json,    ///< any value, as its own JSON text
};

/// What a value is that does not fit the type: one of another type than the wanted one, as a row or
/// as an element of an array, and an array of another length than `ColumnType::width`. If no
/// type is wanted, objects and arrays of arrays are such values; a mixture of kinds is an error in
/// any case.
enum class Mismatch : std::uint8_t {
    Refuse, ///< an error that names the row
    Missing ///< missing: its state is `State::Null`
};

/// The type of a column.
///
/// Numbers of which no class is wanted: integers give `Int64`; with one above 2^63-1 and none
/// negative, `Uint64`; a number with a fraction or an exponent anywhere, `Double`. When no class
/// holds every value exactly, the first row at which none holds all rows so far is a conflict. 2 is
/// an integer and 2.0 is not, as the document holds them. Missing rows never decide; all rows
/// missing give `Double`.
struct ColumnType {
    Want want = Want::Any;
    /// How rows lie.
    ///
    /// `Scalar`: one value a row; with `Any`, scalars or arrays of scalars, whichever the rows are.
    /// `List`: each row is flattened as `NodeVector::get_children_exhaustive` does it: nested
    /// arrays to their scalars in order, objects dropped, a scalar as a list of one. `Fixed`: the
    /// same, for rows that flatten to exactly `width` values. A row that is null is missing in all
    /// of them.
    Layout layout = Layout::Scalar;
    std::size_t width = 1; ///< of `Fixed`, above 0
    Mismatch mismatch = Mismatch::Refuse;
};

/// A column to be taken from records.
struct Field {
    std::string name;    ///< names the column in errors; any text
    std::string pointer; ///< JSON Pointer (RFC 6901) from the record; empty for the record itself
    ColumnType type;
};

/// A value that its column cannot hold. `what()` reads `field 'depth', row 7: a string where the
/// column holds numbers`. Copies share nothing with the document.
class TVIOJSONCOLUMNS_EXPORT ColumnConflict : public std::runtime_error {
public:
    /// @param field   the field's name; empty for a column of nodes.
    /// @param row     from 0; of columns in batches, counted over all of them.
    /// @param found   what stands there: "a string", "3.5", "an array of 4", "a string in an
    /// array".
    /// @param wanted  what the column holds: "int64", "strings", "arrays of 3".
    ColumnConflict(std::string field, std::size_t row, std::string found, std::string wanted);
    ~ColumnConflict() override;
    ColumnConflict(const ColumnConflict&) = default;
    ColumnConflict& operator=(const ColumnConflict&) = default;

    const std::string& field() const noexcept { return field_; }
    std::size_t row() const noexcept { return row_; }
    const std::string& found() const noexcept { return found_; }
    const std::string& wanted() const noexcept { return wanted_; }

private:
    std::string field_;
    std::size_t row_;
    std::string found_;
    std::string wanted_;
};

} // namespace ostra::io::json::columns
