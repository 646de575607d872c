#pragma once

/// A text of records, read in blocks by several threads and put in order by one at a time.

#include "columns/byte_source.hpp"
#include "columns/field_plan.hpp"
#include "columns/row_sink.hpp"
#include "columns/text_locator.hpp"

#include <ostra/io/json/core/record_reader.hpp>

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ostra::io::json::columns {

/// What a thread reads with, kept from block to block.
struct BlockReader {
    BlockReader(const ReadOptions& options, const FieldPlan& plan)
        : records(options.syntax, options.huge_integers == HugeIntegers::Exact, plan.wanted()) {}

    ReadBuffer buffer;
    core::RecordReader records;
};

/// What a thread has made of a block.
struct Stretch {
    explicit Stretch(std::shared_ptr<const FieldPlan> plan) : piece(std::move(plan)) {}

    /// Makes it as new, for the block with this number.
    void begin(std::size_t number) noexcept {
        block = number;
        hasRecords = isTried = false;
        rows = badLines = 0;
        described.clear();
        piece.clear();
        keys.clear();
    }

    std::size_t block = 0;
    bool hasRecords = false; // else the rest says nothing
    bool isTried = false;    // whether it has been put in order, as far as it goes

    // In the text:
    std::size_t textBegin = 0; // of the first record
    std::size_t textEnd = 0;   // where to go on
    core::Due due = core::Due::Record;
    core::Records::Stop stop = core::Records::Stop::Limit;
    core::Refusal refusal;

    std::size_t badLines = 0;
    std::vector<core::BadLine> described;

    std::size_t rows = 0;
    Piece piece;
    Keys keys; // of its rows, where they are wanted
};

/// What both forms of texts have in common.
///
/// Everything but `readBlock` is for one thread at a time.
class RecordText {
public:
    RecordText(ByteSource& source, std::string name, const ReadOptions& options, RowSink& rows);
    virtual ~RecordText();
    RecordText(const RecordText&) = delete;
    RecordText& operator=(const RecordText&) = delete;

    /// Goes to the first record. Once, before all else.
    /// @param report  called now and then; what it throws ends this.
    virtual void start(const std::function<void()>& report) = 0;

    /// Reads a block ahead. Several threads may, and with `putInOrder` beside them.
    /// @return whether the text reaches so far.
    virtual bool readBlock(BlockReader& reader, Stretch& stretch) = 0;

    /// Puts the stretches in order, as far as the batch has room.
    /// @param stretch  the first one, or the one behind the last that was done.
    /// @return whether it is done.
    /// @throws core::ParseError, ColumnConflict, std::runtime_error, std::bad_alloc
    bool putInOrder(Stretch& stretch);

    /// Whether all records have been put in order, whatever stretches there are.
    virtual bool isComplete() const = 0;

    /// Reads what stands behind the last record. Once, when all are in order.
    virtual void finish(const std::function<void()>& report) = 0;

    /// Whether the records have keys.
    virtual bool hasKeys() const { return false; }

    /// How far the text is in order.
    std::size_t position() const { return position_; }

    /// Adds what else there is to say of a batch.
    virtual void addTo(RecordColumns& /*batch*/) {}

protected:
    /// Goes on by a step with a stretch that is the next in order.
    /// @return whether there was something left to do.
    virtual bool step(Stretch& stretch) = 0;

    /// Says what the records that are in order now meant for the place in the text.
    virtual void settle(const Stretch& stretch) = 0;

    /// Puts a stretch's records in order, or at least begins to: it then settles.
    /// @param read  reads them again, if they do not fit in the batch as a whole.
    template <class Read>
    void take(const Stretch& stretch, const Read& read) {
        if (stretch.piece.rows() <= rows_.room()) {
            rows_.append(stretch.piece, stretch.keys);
            settle(stretch);
            return;
        }
        const RecordRun run = read();
        requireUnchanged(run.count == stretch.piece.rows());
        takeRun(run, stretch);
    }

    /// Begins to put records in order that have just been read.
    void takeRun(const RecordRun& run, const Stretch& stretch) {
        run_ = run;
        unsettled_ = &stretch;
    }

    /// @throws std::runtime_error  unless the text is what it was when it was read before.
    void requireUnchanged(bool isUnchanged) const;

    /// A part of the text, and whether it is the last one.
    core::Window window(std::size_t offset, std::size_t size, ReadBuffer& buffer) const;

    /// @param record  counted among all records, in case there are any.
    [[noreturn]] void refuse(const core::Refusal& refusal, std::optional<std::size_t> record);
    core::ParseErrorFields describe(const core::Refusal& refusal,
                                    std::optional<std::size_t> record);

    /// Forgets the text in front of a place, if it would have to be kept for us.
    void forgetBefore(std::size_t offset);

    const ReadOptions& options_;
    RowSink& rows_;
    const std::string name_; // of the source
    ByteSource& source_;
    TextLocator locator_;
    std::size_t position_ = 0;

private:
    RecordRun run_; // the rest of the records that are being put in order
    const Stretch* unsettled_ = nullptr;
};

} // namespace ostra::io::json::columns
