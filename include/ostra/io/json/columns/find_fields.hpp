#pragma once

/// @file
/// Which fields the records of a text have, and what each of them can be read as.
///
/// Threads: calls are independent.

#include <ostra/io/json/columns/export.hpp>
#include <ostra/io/json/columns/field.hpp>
#include <ostra/io/json/columns/read_columns.hpp>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ostra::io::json::columns {

/// How far to look.
struct FieldSearch {
    /// Keys that a path may have, above 0. An object at a path of so many is a value, not opened.
    std::size_t max_depth = SIZE_MAX;
    std::size_t max_fields = SIZE_MAX; ///< more of them are an error
};

/// A path at which some record has a value that is not an object to be opened.
struct FoundField {
    std::vector<std::string> path; ///< keys, UTF-8; none for records that are not objects
    /// The same as JSON Pointer (RFC 6901) from the record. To be read with
    /// `ReadOptions::index_arrays` false: `/a/0` is the member `0` of an object, also if `/a` is an
    /// array in other records.
    std::string pointer;

    /// What reads all values at the path, whatever is null or absent beside them: the first of
    /// `Want::Int64`, `Uint64` and `Double` that holds all numbers exactly, `Boolean`, `Text`; with
    /// `Layout::List` if they are arrays of one of these; `Any` if there are none. Else
    /// `Want::Json`.
    ColumnType type;

    /// Whether objects that are opened stand at the path in other records. `type` then says that
    /// they count as missing (`Mismatch::Missing`), and is `Any` for arrays, since flattening would
    /// make arrays of them; only a column of `Want::Json` has their texts.
    bool has_objects = false;
};

/// Finds the fields of all records of a text: the union of the paths that lead to values.
///
/// Objects are opened, arrays are values. An object without members has no fields. Of members with
/// the same key the first one counts, as for every lookup.
///
/// @param source   the text; a stream is used up.
/// @param search   how far to look.
/// @param options  how to read, as of `read_columns`; `keys` is not heeded.
/// @return the fields in the order in which their first values stand in the text.
/// @throws std::length_error      if there are more than `search.max_fields`, naming the first one
///                                too many.
/// @throws std::invalid_argument  if `search.max_depth` is 0, or an option does not make sense.
/// @throws core::ParseError, std::runtime_error, Cancelled, std::bad_alloc  as `read_columns`.
/// Cost: linear in the text, in one pass on all threads; the memory of the fields and of a few
/// blocks. Any nesting depth on any stack.
TVIOJSONCOLUMNS_EXPORT std::vector<FoundField>
find_fields(const Source& source, const FieldSearch& search = {}, const ReadOptions& options = {});

} // namespace ostra::io::json::columns
