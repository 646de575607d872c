#pragma once

/// @file
/// Checking a text that goes by in parts, on the way to the records in it.
///
/// Threads: a scanner is used by one thread at a time; distinct scanners are independent.

#include <ostra/io/json/core/record_reader.hpp>
#include <ostra/io/json/tree/export.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ostra::io::json::core {

/// Goes through a text, finds the container of records in it, and checks everything around that.
///
/// The caller hands in one window after the other, each beginning where the scanner is. It needs a
/// bit for each level of nesting, and windows that show the longest token whole; strings may be
/// longer. Every refusal is that of `parse_text` for the whole text, except that malformed UTF-8 is
/// reported in text order.
class TVIOJSONTREE_EXPORT DocumentScanner {
public:
    enum class Stop : std::uint8_t {
        NeedsMore, ///< of the text: the window ends in the middle of it
        Records,   ///< behind the opening bracket of the container
        NoRecords, ///< in front of the value that the pointer selects, which is not a container
        End,       ///< at the end of the text, which is well-formed
        Refused,   ///< for an error
    };

    /// @param options  what the text may contain beyond RFC 8259.
    /// @param path     the tokens of the JSON Pointer (RFC 6901) to the container; the first member
    ///                 with a name wins. Empty for the root.
    DocumentScanner(const ReadJSONDocumentOptions& options, std::vector<std::string> path);

    /// Goes on.
    ///
    /// @param window  a part of the text that begins at `position`. If nothing came of the last one
    ///                (`position` has not moved), it must be longer than that.
    /// @throws std::bad_alloc  the scanner must not be used again then.
    /// Cost: linear in what is gone through.
    Stop scan(const Window& window);

    /// @return where the scanner is, in bytes from the start of the text.
    std::size_t position() const noexcept { return position_; }

    /// @return whether the container of records is an object; after `Stop::Records`.
    bool isObject() const noexcept { return levels_.back(); }

    /// Tells the scanner that the container has been read, before it goes on.
    /// @param position  behind the closing bracket.
    void leaveRecords(std::size_t position);

    /// @return why the text is refused; its offset counts from the start of the text. After
    ///         `Stop::Refused`.
    const Refusal& refusal() const noexcept { return refusal_; }

    /// @return where the string begins that the scanner is in the middle of, if it is. An error may
    ///         name this place, which no further window shows.
    std::optional<std::size_t> stringBegin() const noexcept { return stringBegin_; }

private:
    enum class State : std::uint8_t { Value, FirstOrEnd, Key, Colon, CommaOrEnd, End };
    struct Scan;

    bool step(Scan& scan);
    bool readToken(Scan& scan);
    bool readComma(Scan& scan);
    bool readValue(Scan& scan);
    bool open(Scan& scan);
    void close(Scan& scan, std::size_t end);
    bool readString(Scan& scan, std::size_t from);
    void endString(Scan& scan, std::size_t end);
    bool readWord(Scan& scan);
    bool endOfWindow(Scan& scan);
    bool fail(Scan& scan);
    std::string context(const Scan& scan) const;
    bool isSelected() const;
    bool isTarget() const { return isSelected() && onPath_ == path_.size(); }
    bool isKeyDue() const {
        return state_ == State::Key || (state_ == State::FirstOrEnd && levels_.back());
    }
    bool isOnPath() const { return searching_ && levels_.size() == onPath_; }
    void endValue();

    const ReadJSONDocumentOptions options_;
    const std::vector<std::string> path_;
    std::size_t position_ = 0;
    State state_ = State::Value;
    std::vector<bool> levels_; // of the open containers, whether they are objects
    std::optional<std::size_t> stringBegin_;

    // The path leads through the outermost so many of them, as long as it is searched at all.
    std::size_t onPath_ = 0;
    bool searching_ = true;
    bool keyMatches_ = false; // in an object that the path ends in so far: whether it leads on here
    std::size_t childIndex_ = 0; // in an array: which element is due

    Refusal refusal_;
};

} // namespace ostra::io::json::core
