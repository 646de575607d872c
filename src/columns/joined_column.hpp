#pragma once

/// One field of all records: pieces joined in order.

#include "columns/piece_column.hpp"

#include <optional>

namespace ostra::io::json::columns {

/// A row that does not fit, as `ColumnConflict` names it.
struct Misfit {
    std::size_t row; // counted over all pieces
    std::string found;
    std::string wanted;
};

class JoinedColumn {
public:
    JoinedColumn(const ColumnType& type, std::size_t likelyRows);

    /// The first row of a piece that does not fit what is joined already. Changes nothing.
    std::optional<Misfit> misfit(const Gathered& piece) const;

    /// Appends a piece without a misfit.
    /// @throws std::bad_alloc  this may then only be destroyed.
    void append(const Gathered& piece);

    /// Prepares for `times` as much as there is now. Only a guess, which never fails.
    void expect(double times);

    /// Settles the type and hands the column out; the rows go on counting.
    /// @param keepType  whether the type, if values decided it, is that of all that follow.
    /// @throws std::bad_alloc
    Column take(bool keepType);

private:
    void begin();
    void beginRows();
    void beginValues();
    void appendNumbers(const Gathered& piece);
    void appendZeros(std::size_t count);
    void forgetType();
    bool holdsValues() const;
    Kind kind() const;

    ColumnType type_;
    std::size_t likelyRows_;
    std::size_t rowsBefore_ = 0; // in columns handed out
    Shape shape_ = Shape::Undecided;
    Want rule_ = Want::Any;
    std::optional<Kind> class_; // of numbers, once it is kept
    NumberMarks marks_;
    Held held_ = Held::Signed;
    std::size_t elements_ = 0;
    bool begun_ = false;
    Column column_;
};

} // namespace ostra::io::json::columns
