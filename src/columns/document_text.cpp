#include "columns/document_text.hpp"

#include "platform/json_core.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace ostra::io::json::columns {

namespace {

using core::Due;
using core::Records;

constexpr auto npos = std::string_view::npos;

/// Enough to see a record or two whole, little beside a block: looking through 16 KiB for each took
/// a ninth of the whole. Larger records are met with more.
constexpr std::size_t firstLookAhead = std::size_t{4} << 10U;
constexpr std::size_t lastLookAhead = std::size_t{1} << 20U;

/// Guesses that fail one after the other until nobody guesses any more.
constexpr std::size_t mostMisses = 16;

std::vector<std::string> tokensOf(const std::string& pointer) {
    try {
        const core::JSONPointer parsed = core::validate_selector(pointer);
        std::vector<std::string> tokens;
        for (std::size_t i = 0; i < parsed.GetTokenCount(); ++i) {
            tokens.emplace_back(parsed.GetTokens()[i].name, parsed.GetTokens()[i].length);
        }
        return tokens;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        throw std::invalid_argument(std::string("records: ") + error.what());
    }
}

} // namespace

DocumentText::DocumentText(ByteSource& source, std::string name, const ReadOptions& options,
                           RowSink& rows)
    : RecordText(source, std::move(name), options, rows),
      scanner_(options.syntax, tokensOf(options.pointer)), inOrder_(options, *rows.plan()),
      readInOrder_(rows.plan()), windowSize_(options.block_size),
      lookAhead_(std::min(options.block_size, firstLookAhead)) {}

void DocumentText::start(const std::function<void()>& report) {
    switch (scan(report)) {
    case Stop::Records:
        break;
    case Stop::NoRecords:
        failToFind("what is there is neither an array nor an object");
    default:
        failToFind("there is nothing");
    }
    origin_ = position_;
    isObject_ = scanner_.isObject();
}

void DocumentText::finish(const std::function<void()>& report) {
    scanner_.leaveRecords(position_);
    scan(report);
}

/// Lets the scanner go on to the records, or to the end of the text.
DocumentText::Stop DocumentText::scan(const std::function<void()>& report) {
    for (std::size_t size = options_.block_size;;) {
        const std::size_t before = scanner_.position();
        const Stop stop = scanner_.scan(window(before, size, scanBuffer_));
        if (const auto begin = scanner_.stringBegin(); !begin) {
            stringPlace_.reset();
        } else if (!stringPlace_ && source_.forgets()) {
            stringPlace_ = locator_.locate(*begin);
        }
        position_ = scanner_.position();
        if (stop == Stop::Refused) {
            core::ParseErrorFields fields;
            if (stringPlace_ && scanner_.refusal().offset == scanner_.stringBegin()) {
                fields = {.source = name_,
                          .line = stringPlace_->line,
                          .column = stringPlace_->column,
                          .byte = scanner_.refusal().offset,
                          .record = std::nullopt,
                          .reason = scanner_.refusal().reason};
                throw core::ParseError(std::move(fields));
            }
            refuse(scanner_.refusal(), std::nullopt);
        }
        if (stop != Stop::NeedsMore) {
            return stop;
        }
        forgetBefore(position_);
        report();
        size = position_ == before ? 2 * size : options_.block_size;
    }
}

bool DocumentText::readBlock(BlockReader& reader, Stretch& stretch) {
    if (!guessing_) {
        return true; // left to the reader that goes on in order, which sees the end
    }
    const std::size_t begin = blockBegin(stretch.block);
    const std::size_t blockSize = options_.block_size;
    const std::size_t lookAhead = lookAhead_;
    const core::Window window = this->window(begin, blockSize + lookAhead, reader.buffer);
    if (window.bytes.empty() && stretch.block != 0) {
        return false;
    }
    const bool isFirst = stretch.block == 0;
    const std::size_t first = isFirst ? 0 : core::findRecord(window.bytes, 0, lookAhead, isObject_);
    if (first == npos) {
        return true;
    }
    const std::size_t next = window.bytes.size() <= blockSize
                                 ? npos
                                 : core::findRecord(window.bytes, blockSize, lookAhead, isObject_);
    const std::size_t limit = std::min(next, window.bytes.size());
    Records records =
        readRecords(reader, window, first, limit, isFirst ? Due::FirstOrEnd : Due::Record);
    stretch.hasRecords = true;
    const RecordRun run = runOf(records, isObject_);
    run.appendTo(stretch.piece, run.count);
    if (isObject_ && options_.keys) {
        run.appendKeysTo(stretch.keys, run.count);
    }
    stretch.textBegin = begin + first;
    stretch.textEnd = begin + records.end;
    stretch.due = records.due;
    stretch.stop = records.stop;
    stretch.refusal = std::move(records.refusal);
    stretch.refusal.offset += begin;
    return true;
}

bool DocumentText::step(Stretch& stretch) {
    if (isClosed_) {
        return false;
    }
    if (!stretch.isTried) {
        forgetBefore(blockBegin(stretch.block));
        if (stretch.hasRecords && position_ < stretch.textBegin) {
            readOn(stretch.textBegin);
            return true;
        }
        stretch.isTried = true;
        const bool fits = stretch.hasRecords && position_ == stretch.textBegin &&
                          due_ == (stretch.block == 0 ? Due::FirstOrEnd : Due::Record);
        noteGuess(fits);
        if (fits) {
            take(stretch, [&] {
                const std::size_t size = stretch.textEnd - stretch.textBegin;
                // With what follows the last record: a number must be seen to end.
                constexpr std::size_t more = 8;
                const core::Window window =
                    this->window(stretch.textBegin, size + more, inOrder_.buffer);
                const Records records = readRecords(inOrder_, window, 0, size, due_);
                RecordRun run = runOf(records, isObject_);
                run.count = std::min(run.count, stretch.piece.rows());
                return run;
            });
            return true;
        }
    }
    if (position_ < blockBegin(stretch.block + 1)) {
        readOn(blockBegin(stretch.block + 1));
        return true;
    }
    return false;
}

/// Reads records in order, those that begin in front of a place or some of them.
void DocumentText::readOn(std::size_t limit) {
    const std::size_t size =
        std::max(windowSize_, std::min(limit - position_, options_.block_size) + lookAhead_);
    const core::Window window = this->window(position_, size, inOrder_.buffer);
    Records records = readRecords(inOrder_, window, 0, limit - position_, due_);
    if (records.stop == Records::Stop::Cut && records.end == 0) {
        if (window.isLast) {
            throw std::logic_error("a text that is neither read nor refused");
        }
        windowSize_ = 2 * size;
        return;
    }
    // The records to come will be alike.
    windowSize_ = std::max(options_.block_size, std::min(windowSize_, 2 * records.end));
    readInOrder_.textEnd = position_ + records.end;
    readInOrder_.due = records.due;
    readInOrder_.stop = records.stop;
    readInOrder_.refusal = std::move(records.refusal);
    readInOrder_.refusal.offset += position_;
    takeRun(runOf(records, isObject_), readInOrder_);
}

Records DocumentText::readRecords(BlockReader& reader, const core::Window& window,
                                  std::size_t begin, std::size_t limit, Due due) const {
    return isObject_ ? reader.records.readMembers(window, begin, limit, due)
                     : reader.records.readElements(window, begin, limit, due);
}

void DocumentText::settle(const Stretch& stretch) {
    if (stretch.stop == Records::Stop::Refused) {
        refuse(stretch.refusal, rows_.allRows());
    }
    position_ = stretch.textEnd;
    due_ = stretch.due;
    isClosed_ = stretch.stop == Records::Stop::End;
}

void DocumentText::noteGuess(bool wasRight) {
    if (!guessing_) {
        return;
    }
    misses_ = wasRight ? 0 : misses_ + 1;
    if (!wasRight) {
        lookAhead_ = std::min(4 * lookAhead_, std::max(lastLookAhead, lookAhead_.load()));
    }
    if (misses_ == mostMisses) {
        guessing_ = false;
    }
}

void DocumentText::failToFind(const char* what) const {
    throw std::runtime_error((name_.empty() ? "" : name_ + ": ") + "no records at '" +
                             options_.pointer + "', " + what);
}

} // namespace ostra::io::json::columns
