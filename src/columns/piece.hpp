#pragma once

/// What a piece is made of.

#include "columns/extractor.hpp"
#include "columns/field_survey.hpp"
#include "columns/piece_column.hpp"
#include "columns/record_walk.hpp"
#include "node_vector/reached_memory.hpp"

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace ostra::io::json::columns {

struct Piece::Impl {
    explicit Impl(std::shared_ptr<const FieldPlan> thePlan);

    static constexpr std::size_t batchSize = 32;

    /// Appends at most `batchSize` records.
    /// @param record  `(i)`: the i-th of them; called once for each, in order.
    template <class Record>
    void appendBatch(std::size_t count, const Record& record);

    /// Appends a batch whose values are in `found`.
    void appendBatchFound(std::size_t count);

    /// Appends records that lie anywhere in memory.
    void appendScattered(std::span<rapidjson::Value* const> records);

    /// Learns where the values of a batch were found.
    void learnFrom(std::span<rapidjson::Value* const> batch);

    /// Appends what one field selected already; null stands for an absent value. The other fields
    /// are left as they are: for plans of one field.
    void appendFound(const rapidjson::Value* const* found, std::size_t count);

    std::shared_ptr<const FieldPlan> plan;
    RecordWalk walk;
    std::vector<PieceColumn> columns;
    std::vector<const rapidjson::Value*> found; // of each slot, a batch of records
    tree::ReachedMemory reached;
    std::optional<FieldSurvey> survey; // where fields are looked for
    std::size_t rows = 0;
};

} // namespace ostra::io::json::columns
