#pragma once

/// The reader of JSON texts: strictly RFC 8259 but for the options, exact, without native
/// recursion.

#include "big_integers.hpp"
#include "elements.hpp"
#include "platform/json_core.hpp"
#include "value_builder.hpp"
#include "white_space.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ostra::io::json::core {

/// Reads one text and tells a builder what is in it, byte by byte. `StrictReader` is faster; this
/// one reads everything that it leaves, and reports all errors.
///
/// RapidJSON 1.1.0's own reader is not a base for this: its number conversion is inexact, its mode
/// for raw number text drops exponents and still refuses `0e400`, a NUL byte ends its input
/// silently, its encoding validation reads past the end, and an error is a bare code and offset.
///
/// Every refusal is a `ParseError` at the byte where the text stops making sense, but for
/// these, which are reported where the reader of the message has to look: a string or comment
/// without end, a bad escape, word, or number out of range, and a leading zero, at their first
/// byte; a trailing comma at the comma.
///
/// Single use, single thread. Memory grows with the depth of the text, 16 bytes a level.
class __attribute__((visibility("hidden"))) TextReader {
public:
    /// @param sourceName  names the source in errors.
    /// @param text        of any content; malformed UTF-8 in strings is taken as it is. Both must
    ///                    outlive the reader.
    TextReader(const std::u16string& sourceName, std::string_view text,
               const ReadJSONDocumentOptions& options, ValueBuilder& builder,
               BigIntegerRule bigIntegers = BigIntegerRule::Round);

    // Reading a text: `start`, then `readTo` or `adopt` while a value is due, then `finish`. All
    // throw ParseError if the text is refused, std::bad_alloc if memory is exhausted.

    /// Goes to the root value, which is due then.
    void start();

    /// Reads from a value that is due to the first one that is due at `limit` or behind it; if
    /// there is none, to the end of the root value.
    [[gnu::flatten]] void readTo(std::size_t limit);

    /// Whether a value is due, once the root value has been begun; if not, it is complete.
    bool valueDue() const { return !levels_.empty(); }

    /// Whether an element of an array is due at a position.
    bool elementDueAt(std::size_t position) const {
        return this->position() == position && valueDue() && !levels_.back().isObject;
    }

    /// Takes over elements, at least one, that another reader has read from the element that is
    /// due, and goes on as `readTo` does.
    /// @param values  has built them, and is then empty.
    void adopt(const Elements& elements, ValueBuilder& values);

    /// Reads what may follow the root value.
    void finish();

    /// Reads elements from the start of this reader's text on, which lies inside an array: up to
    /// `limit`, the end of the array, or an element that is refused or not complete at `limit`.
    /// Never throws: the reader that goes on behind the elements fails in the same way.
    Elements readElements(std::size_t limit) noexcept;

    /// Reads one value that begins at a position, on a reader that has not started.
    /// @return the position behind it.
    /// @throws ParseError, std::bad_alloc  the reader must not be used again then.
    std::size_t readValueAt(std::size_t position) {
        at_ = begin_ + position;
        readTo(std::string_view::npos);
        return this->position();
    }

    /// The next byte to read, counted from the start of the text.
    std::size_t position() const { return static_cast<std::size_t>(at_ - begin_); }

private:
    struct Level {
        std::size_t count; // of the elements or members that are complete
        bool isObject;
    };

    // Reading hands the place in the text from one function to the next, so that it stays in a
    // register: as a member it was stored and loaded again around every byte that is written, since
    // a `char*` may point at it. Functions that take `at` read from there and return where they
    // stopped.

    // text_reader.cpp: structure
    const char* readValue(const char* at);
    const char* goToNextValue(const char* at);
    const char* openLevel(const char* at);
    const char* closeLevel(const char* at);
    const char* readKey(const char* at);
    [[gnu::noinline]] const char* skipComments(const char* at) const;
    const char* skipComment(const char* at) const;

    // scalar_reader.cpp
    const char* readString(const char* at);
    [[gnu::noinline]] const char* readEscapedString(const char* begin, const char* at);
    const char* readEscape(const char* at, const char* stringBegin);
    const char* readHexUnit(const char* at, const char* stringBegin, char32_t& unit) const;
    const char* readNumber(const char* at);
    const char* readFraction(const char* at, const char* number, std::uint64_t magnitude);
    const char* readBigInteger(const char* at, const char* number);
    const char* addDigits(const char* at, std::uint64_t& magnitude) const;
    const char* addExponent(const char* at, int& exponent) const;
    const char* readWord(const char* at);
    [[gnu::noinline]] bool readNonFiniteWord(std::string_view word);

    // Characters
    bool isAt(const char* at, char c) const { return at != end_ && *at == c; }
    bool isDigitAt(const char* at) const { return at != end_ && *at >= '0' && *at <= '9'; }
    const char* skipSpace(const char* at) const {
        while (at != end_ && isSpace(*at)) {
            ++at;
        }
        return isAt(at, '/') && options_.allowComments ? skipComments(at) : at;
    }
    const char* endOfWord(const char* at) const;

    // Errors
    [[noreturn, gnu::noinline]] void fail(const char* at, const std::string& reason) const;
    [[noreturn, gnu::noinline]] void failExpected(const char* at, const std::string& what) const;
    [[noreturn, gnu::noinline]] void failUnterminated(const char* stringBegin) const;

    const std::u16string& sourceName_;
    const ReadJSONDocumentOptions options_;
    const BigIntegerRule bigIntegers_;
    ValueBuilder& builder_;
    const char* const begin_;
    const char* const end_;
    const char* at_; // the next byte to read, between the public operations
    std::vector<Level> levels_;
    std::string scratch_; // a string with its escapes resolved
};

} // namespace ostra::io::json::core
