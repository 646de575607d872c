#pragma once

/// @file
/// Reading records from parts of a text that is never whole in memory.
///
/// Threads: a reader is used by one thread at a time; distinct readers are independent.

#include <ostra/io/json/core/reading.hpp>
#include <ostra/io/json/tree/export.hpp>
#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace ostra::io::json::core {

/// A part of a text.
struct Window {
    std::string_view bytes; ///< of any content
    bool isLast = false;    ///< whether the text ends where the part does
};

/// What is wrong with a text, and where.
struct Refusal {
    std::size_t offset = 0; ///< of the offending byte
    std::string reason;     ///< as `ParseErrorFields::reason`
};

/// What can stand at a place between records.
enum class Due : std::uint8_t {
    FirstOrEnd, ///< what follows the opening bracket
    Record,     ///< a record, behind a comma
    CommaOrEnd, ///< what follows a record
};

/// What is wanted of a record, or of a value in it. The places of a record make a tree: the first
/// is the record, and all others are values of members.
struct WantedPlace {
    static constexpr std::uint32_t noSlot = UINT32_MAX;
    static constexpr std::size_t mostMembers = 64;

    struct Member {
        std::string name;        ///< UTF-8; of members with the same name the first one counts
        std::uint32_t place = 0; ///< the index of its value's place, behind that of the object
    };
    std::vector<Member> members; ///< `mostMembers` at most; empty: the value itself is wanted
    std::uint32_t slot = noSlot; ///< which of a record's values that is; each has one place
};

/// What was read from a part of a text.
struct Records {
    /// Why reading ended.
    enum class Stop : std::uint8_t {
        Limit,   ///< at a record that begins at the limit or behind it
        End,     ///< behind the bracket that closes the container of the records
        Cut,     ///< since the window does not show whole what comes next
        Refused, ///< for an error, whatever may follow the window
    };

    /// The records that are complete, side by side: whole values, or only what is wanted of them;
    /// in members of an object their keys stand in front. They live until the reader is used again,
    /// with all they hold. Integers beyond 64 bits are doubles, marked
    /// as `base::RawValue::isBigInteger` tells.
    const rapidjson::Value* first = nullptr;
    std::size_t count = 0;
    std::size_t slots = 0; ///< if not 0: so many wanted values stand for a record, absent ones
                           ///< marked as `base::RawValue::isAbsent` tells
    bool hasBigIntegers = false; ///< whether there are any, in the records or behind them

    std::size_t end = 0;   ///< where in the window to go on, or behind the closing bracket
    Due due = Due::Record; ///< what is due there
    Stop stop = Stop::Limit;
    Refusal refusal; ///< its offset counts from the start of the window
};

/// A line that is refused.
struct BadLine {
    std::size_t record = 0; ///< counted among all lines of the text that hold something, from 0
    Refusal refusal;        ///< its offset counts from the start of the text
};

/// What was read from lines.
struct Lines {
    const rapidjson::Value* first = nullptr; ///< as `Records::first`
    std::size_t count = 0;
    std::size_t slots = 0; ///< as `Records::slots`
    bool hasBigIntegers = false;
    std::size_t badCount = 0;       ///< lines that are refused
    std::vector<BadLine> described; ///< the first of them, in order
};

/// Reads records into memory that it keeps from one call to the next.
///
/// Every refusal is that of `parse_text` for the whole text, except that malformed UTF-8 is
/// reported in text order.
class TVIOJSONTREE_EXPORT RecordReader {
public:
    /// @param options           what the text may contain beyond RFC 8259.
    /// @param marksBigIntegers  whether those beyond 64 bits can be told from other doubles.
    /// @param wanted            what is wanted of the records; empty for all of them. Whole ones
    ///                          are read all the same where the text is not strict JSON.
    explicit RecordReader(const ReadJSONDocumentOptions& options, bool marksBigIntegers = true,
                          std::vector<WantedPlace> wanted = {});
    ~RecordReader();
    RecordReader(const RecordReader&) = delete;
    RecordReader& operator=(const RecordReader&) = delete;

    /// Reads elements of an array.
    ///
    /// @param window  a part of a text.
    /// @param begin   where in it to begin.
    /// @param limit   no element that begins here or behind it is read.
    /// @param due     what stands at `begin`.
    /// @throws std::bad_alloc  if memory is exhausted.
    /// Cost: linear in what is read.
    Records readElements(const Window& window, std::size_t begin, std::size_t limit, Due due);

    /// As `readElements`, for members of an object: each record is a key followed by its value.
    Records readMembers(const Window& window, std::size_t begin, std::size_t limit, Due due);

    /// Reads JSON Lines.
    ///
    /// @param text          whole lines, the last one with or without its end.
    /// @param isStart       whether a byte-order mark may stand in front.
    /// @param skipBad       whether to go on behind lines that are refused.
    /// @param mostDescribed how many of these to describe; at least 1.
    /// @throws std::bad_alloc  if memory is exhausted.
    Lines readLines(std::string_view text, bool isStart, bool skipBad, std::size_t mostDescribed);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

/// Guesses where an element of an array, or a member of an object, begins in the middle of a text:
/// behind the comma after another one, on the highest level that the part shows, as early as
/// possible there. Never fails. Cost: linear in `size`.
///
/// @param text  a part of a JSON text, of any content.
/// @param from  where to begin to look.
/// @param size  bytes to look at; cut off at the end of the text.
/// @param inObject  whether a member is looked for.
/// @return the position of the record's first byte; `std::string_view::npos` if there is none.
TVIOJSONTREE_EXPORT std::size_t findRecord(std::string_view text, std::size_t from,
                                           std::size_t size, bool inObject);

} // namespace ostra::io::json::core
