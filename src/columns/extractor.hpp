#pragma once

/// Fields of records to pieces of columns, block after block, and pieces to columns.

#include <ostra/io/json/columns/field.hpp>
#include <ostra/io/json/columns/find_fields.hpp>

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace ostra::io::json::columns {

class FieldPlan; // the parsed fields, shared by all threads, immutable

/// @throws std::invalid_argument  naming the field whose pointer or type does not make sense.
/// @param indexArrays  whether tokens that are numbers select elements of arrays.
std::shared_ptr<const FieldPlan> makePlan(std::span<const Field> fields, bool indexArrays = true);

/// A plan for finding out which fields there are, instead of reading any.
/// @throws std::invalid_argument  if `search` does not make sense.
std::shared_ptr<const FieldPlan> makeSearchPlan(const FieldSearch& search);

/// Columns of some consecutive records, not yet settled. Owned by one thread at a time; its memory
/// is kept when it is cleared, so that a thread serves many blocks without asking for any.
class Piece {
public:
    explicit Piece(std::shared_ptr<const FieldPlan> plan);
    ~Piece();
    Piece(Piece&&) noexcept;
    Piece& operator=(Piece&&) noexcept;

    /// Appends records that lie side by side (`stride` bytes from one to the next: values in an
    /// array, members of an object).
    /// Never fails for what a record holds: conflicts are remembered and reported by `Joined`.
    /// @throws std::bad_alloc  the piece may then only be cleared or destroyed.
    /// @param hasHugeIntegers  whether integers beyond 64 bits may be among the values, marked as
    ///                         such: no column holds them exactly.
    void append(const rapidjson::Value* first, std::size_t count, std::size_t stride,
                bool hasHugeIntegers = false);
    /// Appends records of which only the values at the plan's slots have been read, absent ones
    /// marked as `base::RawValue::isAbsent` tells.
    /// @param stride  as above; failures as above.
    void appendRows(const rapidjson::Value* first, std::size_t count, std::size_t stride,
                    bool hasHugeIntegers);
    /// The same for records that lie anywhere.
    void append(std::span<rapidjson::Value* const> records);

    std::size_t rows() const;
    void clear() noexcept;

    struct Impl;
    Impl& impl() { return *impl_; }
    const Impl& impl() const { return *impl_; }

private:
    std::unique_ptr<Impl> impl_;
};

/// Joins pieces in the order of their records into columns.
class Joined {
public:
    /// @param likelyRows  a guess, for reserving.
    Joined(std::shared_ptr<const FieldPlan> plan, std::size_t likelyRows);
    ~Joined();

    /// Appends a piece.
    /// @throws ColumnConflict  with the row counted over all pieces. @throws std::length_error  if
    ///                         too many fields were found. @throws std::bad_alloc
    void append(const Piece& piece);

    /// Prepares for `times` as much as there is now. Only a guess, which never fails.
    void expect(double times);

    /// Rows since the last `take`.
    std::size_t rows() const;

    /// Settles types and returns the columns; this is then empty, but for what `keepTypes`
    /// keeps.
    /// @param keepTypes  for batches: a field whose type was settled by a batch that holds a value
    ///                   keeps it, and a later value that does not fit is a conflict.
    std::vector<Column> take(bool keepTypes);

    /// The fields found so far, by a plan for that.
    std::vector<FoundField> foundFields() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace ostra::io::json::columns
