#include <ostra/io/json/columns/read_columns.hpp>

#include <ostra/io/json/columns/find_fields.hpp>

#include "columns/document_text.hpp"
#include "columns/line_text.hpp"
#include "columns/ordered_blocks.hpp"

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>

namespace ostra::io::json::columns {

namespace {

/// Tells the caller how far things are, but not all the time.
class Reporter {
public:
    Reporter(const ReadOptions& options, const ByteSource& source)
        : options_(options), source_(source) {}

    void tell(std::size_t bytes, std::size_t records) {
        constexpr std::chrono::milliseconds pause(20);
        if (options_.progress && Clock::now() - last_ >= pause) {
            tellNow(bytes, records);
        }
    }

    void tellNow(std::size_t bytes, std::size_t records) {
        if (!options_.progress) {
            return;
        }
        if (!options_.progress({.bytes = bytes, .total = source_.size(), .records = records})) {
            throw Cancelled();
        }
        last_ = Clock::now();
    }

private:
    using Clock = std::chrono::steady_clock;

    const ReadOptions& options_;
    const ByteSource& source_;
    Clock::time_point last_ = Clock::now();
};

ReadOptions checked(const ReadOptions& options) {
    constexpr std::size_t largestBlock = std::size_t{1} << 40U;
    if (options.block_size == 0 || options.block_size > largestBlock) {
        throw std::invalid_argument("a block size of " + std::to_string(options.block_size));
    }
    if (options.form == Form::Lines && (!options.pointer.empty() || options.keys)) {
        throw std::invalid_argument("lines have neither a pointer to records nor keys");
    }
    return options;
}

std::size_t threadsOf(const ReadOptions& options) {
    constexpr std::size_t most = 256;
    const std::size_t wanted =
        options.threads != 0 ? options.threads : std::thread::hardware_concurrency();
    return std::clamp<std::size_t>(wanted, 1, most);
}

std::unique_ptr<RecordText> makeText(ByteSource& bytes, const Source& source,
                                     const ReadOptions& options, RowSink& rows) {
    if (options.form == Form::Lines) {
        return std::make_unique<LineText>(bytes, nameOf(source), options, rows);
    }
    return std::make_unique<DocumentText>(bytes, nameOf(source), options, rows);
}

} // namespace

class ColumnReader::Impl {
public:
    Impl(const Source& source, std::shared_ptr<const FieldPlan> plan, const ReadOptions& options,
         BatchSize batch)
        : options_(checked(options)), batch_(batch),
          rows_(std::move(plan), batch.records, options.keys), bytes_(openSource(source)),
          text_(makeText(*bytes_, source, options_, rows_)), reporter_(options_, *bytes_),
          blocks_(
              *text_, rows_, options_, threadsOf(options_),
              [this](std::size_t done, std::size_t records) { reporter_.tell(done, records); }) {}

    /// All that there is.
    RecordColumns readAll() {
        while (!isFinished_) {
            readOn();
        }
        return take();
    }

    /// All fields that there are.
    std::vector<FoundField> findAll() {
        readAll();
        return rows_.foundFields();
    }

    std::optional<RecordColumns> next() {
        const bool hasFailed = std::exchange(hasFailed_, true); // unless it comes to its end
        if (hasFailed) {
            return std::nullopt;
        }
        while (!isFinished_ && rows_.rows() == 0) {
            readOn();
        }
        RecordColumns batch = take();
        hasFailed_ = false;
        if (batch.records == 0 && batch.bad_lines == 0) {
            return std::nullopt;
        }
        return batch;
    }

private:
    /// Reads until the batch is full or the text ends.
    void readOn() {
        const auto report = [this] { reporter_.tell(text_->position(), rows_.allRows()); };
        if (!isStarted_) {
            text_->start(report);
            isStarted_ = true;
        }
        const std::size_t begin = text_->position();
        blocks_.run([&] {
            expectMore(begin);
            return rows_.room() == 0 ||
                   (batch_.bytes != 0 && text_->position() - begin >= batch_.bytes);
        });
        if (blocks_.isAtEnd()) {
            text_->finish(report);
            isFinished_ = true;
            reporter_.tellNow(bytes_->size().value_or(text_->position()), rows_.allRows());
        }
    }

    /// Guesses, from the first rows of a batch, how many it will have.
    void expectMore(std::size_t begin) {
        const std::size_t done = text_->position() - begin;
        if (isExpected_ || rows_.rows() == 0 || done == 0) {
            return;
        }
        const auto share = [](std::size_t of, std::size_t some) {
            return static_cast<double>(of) / static_cast<double>(some);
        };
        const std::size_t all = std::max(bytes_->size().value_or(0), text_->position());
        double times = share(all - begin, done);
        if (batch_.bytes != 0) {
            times = std::min(times, share(batch_.bytes, done));
        }
        if (batch_.records != 0) {
            times = std::min(times, share(batch_.records, rows_.rows()));
        }
        rows_.expect(times);
        isExpected_ = true;
    }

    RecordColumns take() {
        isExpected_ = false;
        RecordColumns batch =
            rows_.take(batch_.records != 0 || batch_.bytes != 0, text_->hasKeys());
        text_->addTo(batch);
        return batch;
    }

    const ReadOptions options_;
    const BatchSize batch_;
    RowSink rows_;
    std::unique_ptr<ByteSource> bytes_;
    std::unique_ptr<RecordText> text_;
    Reporter reporter_;
    OrderedBlocks blocks_;
    bool isStarted_ = false;
    bool isExpected_ = false; // whether the batch knows how large it is going to be
    bool isFinished_ = false;
    bool hasFailed_ = false;
};

Cancelled::~Cancelled() = default;

const char* Cancelled::what() const noexcept {
    return "cancelled";
}

RecordColumns read_columns(const Source& source, std::span<const Field> fields,
                           const ReadOptions& options) {
    return ColumnReader::Impl(source, makePlan(fields, options.index_arrays), options, {})
        .readAll();
}

std::vector<FoundField> find_fields(const Source& source, const FieldSearch& search,
                                    const ReadOptions& options) {
    ReadOptions withoutKeys = options;
    withoutKeys.keys = false;
    return ColumnReader::Impl(source, makeSearchPlan(search), withoutKeys, {}).findAll();
}

ColumnReader::ColumnReader(const Source& source, std::span<const Field> fields,
                           const ReadOptions& options, BatchSize batch) {
    if (batch.records == 0 && batch.bytes == 0) {
        throw std::invalid_argument("batches without a size");
    }
    impl_ = std::make_unique<Impl>(source, makePlan(fields, options.index_arrays), options, batch);
}

ColumnReader::~ColumnReader() = default;
ColumnReader::ColumnReader(ColumnReader&& other) noexcept = default;
ColumnReader& ColumnReader::operator=(ColumnReader&& other) noexcept = default;

std::optional<RecordColumns> ColumnReader::next() {
    return impl_->next();
}

} // namespace ostra::io::json::columns
