#pragma once

/// Where records go in order: into the columns of the batch at hand.

#include "columns/extractor.hpp"

#include <ostra/io/json/columns/read_columns.hpp>

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

namespace ostra::io::json::columns {

/// Records that lie side by side in a small document.
struct RecordRun {
    const rapidjson::Value* first = nullptr; // values, or members' keys each followed by its value
    std::size_t count = 0;
    bool areMembers = false;
    bool hasHugeIntegers = false;
};

/// Serves one thread at a time.
class RowSink {
public:
    /// @param mostRows  of a batch; 0 for no limit.
    RowSink(std::shared_ptr<const FieldPlan> plan, std::size_t mostRows, bool wantsKeys);

    /// @return how many rows the batch still takes.
    std::size_t room() const { return mostRows_ - rows_; }

    /// Appends a piece of `room()` rows at most.
    /// @throws ColumnConflict, std::bad_alloc
    void append(const Piece& piece);

    /// Appends the first records of a run, as many as there is room for.
    /// @return how many.
    /// @throws ColumnConflict, std::bad_alloc
    std::size_t append(const RecordRun& run);

    const std::shared_ptr<const FieldPlan>& plan() const { return plan_; }
    std::size_t rows() const { return rows_; }       // of the batch
    std::size_t allRows() const { return allRows_; } // of this one and those before

    /// @param areMembers  whether the records of the text have keys.
    RecordColumns take(bool keepTypes, bool areMembers);

    /// The fields found, by a plan for that.
    std::vector<FoundField> foundFields() const { return joined_.foundFields(); }

private:
    void appendKeys(const RecordRun& run);

    std::shared_ptr<const FieldPlan> plan_;
    Joined joined_;
    Piece piece_; // for runs
    std::size_t mostRows_;
    std::size_t rows_ = 0;
    std::size_t allRows_ = 0;
    bool wantsKeys_;
    Column keys_;
};

} // namespace ostra::io::json::columns
