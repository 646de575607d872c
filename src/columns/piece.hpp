#pragma once

/// What a piece is made of.

#include "columns/extractor.hpp"
#include "columns/piece_column.hpp"
#include "columns/record_walk.hpp"

#include <cstddef>
#include <memory>
#include <vector>

namespace ostra::io::json::columns {

struct Piece::Impl {
    explicit Impl(std::shared_ptr<const FieldPlan> thePlan);

    /// Appends records; `record(i)` is the i-th of them.
    template <class Record>
    void append(std::size_t count, const Record& record);

    /// Appends what one field selected already; null stands for an absent value. The other fields
    /// are left as they are: for plans of one field.
    void appendFound(const rapidjson::Value* const* found, std::size_t count);

    std::shared_ptr<const FieldPlan> plan;
    RecordWalk walk;
    std::vector<PieceColumn> columns;
    std::vector<const rapidjson::Value*> found; // of each slot, a batch of records
    std::size_t rows = 0;
};

} // namespace ostra::io::json::columns
