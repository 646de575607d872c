#pragma once

/// JSON Lines.

#include "columns/record_text.hpp"

namespace ostra::io::json::columns {

/// A line belongs to the block in which it begins: where blocks end is known without looking at any
/// other.
class LineText : public RecordText {
public:
    LineText(ByteSource& source, std::string name, const ReadOptions& options, RowSink& rows);

    void start(const std::function<void()>& /*report*/) override {}
    bool readBlock(BlockReader& reader, Stretch& stretch) override;
    bool isComplete() const override { return false; } // but for the blocks
    void finish(const std::function<void()>& /*report*/) override {}
    void addTo(RecordColumns& batch) override;

protected:
    bool step(Stretch& stretch) override;
    void settle(const Stretch& stretch) override;

private:
    core::Lines readLines(BlockReader& reader, std::string_view text, std::size_t offset) const;
    void skipLines(const Stretch& stretch);

    BlockReader again_;       // for blocks that do not fit in a batch as a whole
    std::size_t lines_ = 0;   // that hold something, skipped ones included
    std::size_t skipped_ = 0; // in the batch at hand
    std::vector<core::ParseErrorFields> skippedList_;
    std::size_t described_ = 0; // in all batches
};

} // namespace ostra::io::json::columns
