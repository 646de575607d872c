#pragma once

/// Records in a JSON document.

#include "columns/record_text.hpp"

#include <ostra/io/json/core/document_scanner.hpp>

#include <atomic>

namespace ostra::io::json::columns {

/// The elements of an array, or the members of an object.
///
/// A block begins where a record seems to begin, and is read ahead as if it did. It is taken over
/// only if the reader that goes through the text in order arrives exactly there, with a record due;
/// otherwise that one reads it again.
class DocumentText : public RecordText {
public:
    DocumentText(ByteSource& source, std::string name, const ReadOptions& options, RowSink& rows);

    void start(const std::function<void()>& report) override;
    bool readBlock(BlockReader& reader, Stretch& stretch) override;
    bool isComplete() const override { return isClosed_; }
    void finish(const std::function<void()>& report) override;
    bool hasKeys() const override { return isObject_; }

protected:
    bool step(Stretch& stretch) override;
    void settle(const Stretch& stretch) override;

private:
    using Stop = core::DocumentScanner::Stop;

    Stop scan(const std::function<void()>& report);
    void readOn(std::size_t limit);
    core::Records readRecords(BlockReader& reader, const core::Window& window, std::size_t begin,
                              std::size_t limit, core::Due due) const;
    void noteGuess(bool wasRight);
    [[noreturn]] void failToFind(const char* what) const;
    std::size_t blockBegin(std::size_t block) const {
        return origin_ + block * options_.block_size;
    }

    core::DocumentScanner scanner_;
    std::optional<core::LineAndColumn> stringPlace_; // of the string that the scanner is in
    ReadBuffer scanBuffer_;

    std::size_t origin_ = 0; // of the blocks: behind the opening bracket
    bool isObject_ = false;
    bool isClosed_ = false;
    core::Due due_ = core::Due::FirstOrEnd; // at `position_`

    BlockReader inOrder_;
    Stretch readInOrder_;
    std::size_t windowSize_; // for it: grows with the records

    std::atomic<bool> guessing_ = true;  // whether blocks are read ahead at all
    std::atomic<std::size_t> lookAhead_; // bytes in which a guess looks for a record
    std::size_t misses_ = 0;             // one after the other
};

} // namespace ostra::io::json::columns
