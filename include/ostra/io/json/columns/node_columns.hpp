#pragma once

/// @file
/// Columns of the nodes of a node vector, and back.
///
/// Threads: reading operations only read the document and may run beside each other; `set_column`
/// needs the document for itself. All share their work among oneTBB's threads and return when it
/// is done.

#include <ostra/io/json/columns/field.hpp>

#include <ostra/io/json/tree/node_vector.hpp>

#include <cstdint>
#include <span>
#include <vector>

namespace ostra::io::json::columns {

/// Copies the values of nodes into a column.
///
/// @param nodes    one node a row, or, with `missing`, the nodes that a lookup found.
/// @param type     what the column is to hold.
/// @param missing  the lookup's miss mask, one element a record, or null. With it the column has
///                 one row a record, and `State::Absent` where the mask is set.
/// @return the column.
/// @throws ColumnConflict         if a node does not fit, naming the first such row.
/// @throws std::invalid_argument  if the mask's zeros are not as many as the nodes, or `type` does
///                                not make sense (`Fixed` with a width of 0).
/// @throws std::bad_alloc
/// Cost: linear in the nodes; one pass over them.
TVIOJSONCOLUMNS_EXPORT Column get_column(const tree::NodeVector& nodes, const ColumnType& type = {},
                                         const matrix::typed_vector<bool>* missing = nullptr);

/// Values to be written into nodes, borrowed from the caller.
struct ColumnView {
    Kind kind = Kind::Double; ///< not `Json`
    std::size_t rows = 0;
    const void* values = nullptr;          ///< as in `Column::values`
    const std::int64_t* offsets = nullptr; ///< of texts: rows + 1, ascending from 0 or above
    const State* states = nullptr;         ///< one a row, or null: all present
};

/// What `set_column` does with missing rows.
enum class MissingRows : std::uint8_t { Keep, SetNull };

/// Writes one value into each node.
///
/// A node that holds that value already is left untouched: the same boolean, the same text, or the
/// same number. For doubles that is a number with the same bits as a double, for integers the same
/// integer or the double that is exactly it: so 2 leaves 2.0 as it is, and 2.0 leaves 2. What
/// `get_column` gave, written back, leaves the document unchanged to the byte. Any other node,
/// containers included, is replaced.
///
/// @param nodes    the nodes; one that stands twice takes the last value.
/// @param view     one row a node; present texts must be valid UTF-8.
/// @param missing  whether missing rows leave their nodes alone or make them null.
/// @throws std::invalid_argument  if `view.rows` differs from the number of nodes, `view.kind` is
///                                `Json`, values or offsets are null if they are needed, offsets
///                                are negative or descend, or a present text is not UTF-8; nothing
///                                changes.
/// @throws std::bad_alloc         nothing changes.
/// Cost: linear in the nodes and the bytes of texts; the memory of replaced texts stays the
/// document's.
TVIOJSONCOLUMNS_EXPORT void set_column(const tree::NodeVector& nodes, const ColumnView& view,
                                       MissingRows missing = MissingRows::Keep);

/// Takes many fields of many records in one pass.
///
/// Each field of a record is what its pointer selects from it (RFC 6901; the first member with a
/// name wins); records without it have `State::Absent` there.
///
/// @param records  one a row; of any type.
/// @param fields   in any order; several may name the same value.
/// @return one column a field, in their order.
/// @throws ColumnConflict         naming the first row that does not fit, and of several fields
///                                that it does not fit the first one.
/// @throws std::invalid_argument  if a pointer or type does not make sense, naming the field.
/// @throws std::bad_alloc
/// Cost: linear in the records; neighbours of the same shape cost one comparison a key.
TVIOJSONCOLUMNS_EXPORT std::vector<Column> select(const tree::NodeVector& records,
                                                  std::span<const Field> fields);

} // namespace ostra::io::json::columns
