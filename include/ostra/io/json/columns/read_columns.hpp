#pragma once

/// @file
/// From JSON text of any size to columns, without the whole document in memory.
///
/// The text is read in blocks that fit a core's cache: each thread reads a block into a small
/// document of its own, takes the fields, and forgets it. The peak is about 1.25 times the columns
/// and 8 MiB a thread, whatever the text's size; a record larger than that takes what it takes.
///
/// Threads: calls are independent; a `ColumnReader` is used by one thread at a time.

#include <ostra/io/json/columns/column.hpp>
#include <ostra/io/json/columns/export.hpp>
#include <ostra/io/json/columns/field.hpp>

#include <ostra/io/json/core/parse_error.hpp>

#include <ostra/io/json/tree/platform/json_core.hpp>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ostra::io::json::columns {

/// Where JSON text comes from, UTF-8 with or without a byte-order mark.
class TVIOJSONCOLUMNS_EXPORT Source {
public:
    /// Writes the next bytes of a stream to `to`, at most `size` (above 0) of them.
    /// @return how many; 0 at the end, after which it is not called again.
    /// Called by one thread at a time, but by any thread. What it throws ends the call that reads.
    using Read = std::function<std::size_t(char* to, std::size_t size)>;

    /// A file.
    ///
    /// It is read at its offsets, never mapped: as much of it as there was when it was opened. That
    /// it grows meanwhile does not matter, that it shrinks is an error. What has no size, such as a
    /// pipe, is read as a stream.
    /// @param path  in the system's own encoding, without NUL characters; names the source in
    ///              errors.
    static Source file(std::string path);

    /// Some bytes of a regular file, which are the text: the share of one of many tasks. They are
    /// read as those of a whole file are; positions count from the first of them.
    /// @param path   as above.
    /// @param begin  the first byte, from 0.
    /// @param size   bytes. That the file does not hold them is an error of the call that reads.
    static Source file(std::string path, std::size_t begin, std::size_t size);

    /// Bytes in memory.
    /// @param text  must live and stay as it is until the reading call, or the `ColumnReader`,
    ///              ends.
    /// @param name  names the source in errors, UTF-8; may be empty.
    static Source memory(std::string_view text, std::string name = {});

    /// Bytes that come one after the other.
    /// @param size  how many will come, if that is known: for progress only.
    static Source stream(Read read, std::string name = {},
                         std::optional<std::size_t> size = std::nullopt);

private:
    friend class SourceAccess;
    Source() = default;

    bool isFile_ = false;
    std::string name_; // a path, if it is a file
    std::string_view text_;
    Read read_;
    std::size_t begin_ = 0;
    std::optional<std::size_t> size_; // of a whole file it shows when it is opened
};

/// How far a call has come.
struct Progress {
    std::size_t bytes = 0;            ///< of text done
    std::optional<std::size_t> total; ///< bytes in all, if it is known
    std::size_t records = 0;          ///< rows so far
};

/// A call was ended by its progress callback.
class TVIOJSONCOLUMNS_EXPORT Cancelled : public std::exception {
public:
    Cancelled() noexcept = default;
    ~Cancelled() override;
    Cancelled(const Cancelled&) noexcept = default;
    Cancelled& operator=(const Cancelled&) noexcept = default;
    const char* what() const noexcept override;
};

/// What the records of a text are.
enum class Form : std::uint8_t {
    Document, ///< the elements of an array, or the values of an object's members, in one JSON text
    Lines,    ///< JSON Lines (https://jsonlines.org): each line that holds something is a record
};

/// What becomes of lines that are not JSON.
enum class BadLines : std::uint8_t {
    Raise, ///< an error
    Skip,  ///< counted, the first hundred described; no row
};

/// What becomes of integers below -2^63 or above 2^64-1.
enum class HugeIntegers : std::uint8_t {
    Exact,    ///< no column holds them but one of `Want::Double`, rounded to nearest
    AsDouble, ///< as if they were written with a fraction: the nearest double
};

/// How to read.
struct ReadOptions {
    core::ReadJSONDocumentOptions syntax = {}; ///< what the text may contain beyond RFC 8259
    Form form = Form::Document;

    /// `Document`: JSON Pointer (RFC 6901) to the array or object of records; the first member with
    /// a name wins. What stands around it is read and checked too.
    std::string pointer = {};
    bool keys = false; ///< `Document`: whether to give an object's keys as a column

    /// Whether a token of a field's pointer that is a number selects an array's element, too (RFC
    /// 6901). Else pointers lead through objects only.
    bool index_arrays = true;

    BadLines bad_lines = BadLines::Raise; ///< `Lines`
    HugeIntegers huge_integers = HugeIntegers::Exact;

    /// How many threads may work; 0 for as many as there are. 1 is the calling thread alone: no
    /// other thread is started or needed, as after `fork`.
    std::size_t threads = 0;

    /// Tells how far the call has come, now and then and at its end; returning false cancels it.
    /// Called on the calling thread only. What it throws ends the call.
    std::function<bool(const Progress&)> progress = {};

    /// Bytes of text that a thread reads at a time, above 0. What fits a core's cache does best:
    /// 250 kB did better than 1 MB.
    std::size_t block_size = 250'000;
};

/// Columns of records.
struct RecordColumns {
    std::vector<Column> columns; ///< one a field, in their order
    std::optional<Column> keys;  ///< texts, if they were asked for and the records have keys
    std::size_t records = 0;     ///< rows of each column

    std::size_t bad_lines = 0;                         ///< lines skipped
    std::vector<core::ParseErrorFields> bad_line_list; ///< the first hundred of them
};

/// Reads fields of all records of a text into columns.
///
/// Types are settled over all records (see `ColumnType`), never guessed from the first ones. With
/// several conflicts the first row's is reported, and an error in the text before any behind it.
///
/// @param source   the text.
/// @param fields   what to take from each record; may be empty, to check and count.
/// @param options  how.
/// @return one column a field.
/// @throws core::ParseError       if the text is refused: the first place at which it stops making
///                                sense. Malformed UTF-8 is reported in text order.
/// @throws ColumnConflict         if a value does not fit its column, with its row.
/// @throws std::runtime_error     if there is no array or object at the pointer; if the source
///                                cannot be read (`std::system_error` with path and reason).
/// @throws std::invalid_argument  if a pointer, a type or an option does not make sense.
/// @throws Cancelled              if the progress callback said so.
/// @throws std::bad_alloc
/// Cost: linear in the text, in one pass, on all threads. Values that no field selects are checked
/// but not built, where pointers select members by name; a field for the record itself, or one
/// whose pointer could select an element of an array, makes it read whole records. Any nesting
/// depth on any stack.
TVIOJSONCOLUMNS_EXPORT RecordColumns read_columns(const Source& source,
                                                  std::span<const Field> fields,
                                                  const ReadOptions& options = {});

/// How much a batch holds. Whichever limit is reached first ends it; 0 means unlimited.
struct BatchSize {
    std::size_t records = 0; ///< exactly so many, but for the last batch
    std::size_t bytes = 0;   ///< of text; a batch ends with the block that reaches so many
};

/// Reads columns batch by batch, for those that do not fit in memory at once.
///
/// A type that was not given is settled by the first batch that holds a value; a later value that
/// does not fit is a conflict. Rows in conflicts count over all batches.
class TVIOJSONCOLUMNS_EXPORT ColumnReader {
public:
    /// Opens the source; parameters and failures as `read_columns`, which reads nothing yet.
    /// @throws std::invalid_argument  also if both limits are 0.
    ColumnReader(const Source& source, std::span<const Field> fields, const ReadOptions& options,
                 BatchSize batch);
    ~ColumnReader();
    ColumnReader(ColumnReader&& other) noexcept;
    ColumnReader& operator=(ColumnReader&& other) noexcept;

    /// Reads the next batch.
    ///
    /// @return its columns; empty when there are no further records. Skipped lines are those of
    ///         this batch; of those in front of a batch's end some may count for the next one.
    /// @throws as `read_columns`; the reader then has no more batches. Rows in front of an error in
    ///         the text are handed out first, but for those that do not fill a batch.
    std::optional<RecordColumns> next();

    class Impl;

private:
    std::unique_ptr<Impl> impl_;
};

} // namespace ostra::io::json::columns
