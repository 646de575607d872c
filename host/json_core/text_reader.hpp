#pragma once

/// The reader of JSON texts: strictly RFC 8259 but for the options, exact, without native
/// recursion.

#include "platform/json_core.hpp"
#include "value_builder.hpp"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ostra::io::json::core {

/// Reads one text and tells a builder what is in it.
///
/// RapidJSON 1.1.0's own reader is no base for this: its number conversion is inexact, its mode for
/// raw number text drops exponents and still refuses `0e400`, a NUL byte ends its input silently,
/// its encoding validation reads past the end, and an error is a bare code and offset.
///
/// Every refusal is a `JSONParseError` at the byte where the text stops making sense, but for
/// these, which are reported where the reader of the message has to look: a string or comment
/// without end, a bad escape, word, or number out of range, and a leading zero, at their first
/// byte; a trailing comma at the comma.
///
/// Serves once, on one thread. Memory grows with the depth of the text, 16 bytes a level.
class __attribute__((visibility("hidden"))) TextReader {
public:
    /// @param sourceName  names the source in errors.
    /// @param text        well-formed UTF-8. Both must outlive the reader.
    TextReader(const std::u16string& sourceName, std::string_view text,
               const ReadJSONDocumentOptions& options, ValueBuilder& builder);

    /// Reads the whole text.
    /// @throws JSONParseError  where it is refused.
    /// @throws std::bad_alloc  where memory is exhausted.
    void read();

private:
    struct Level {
        std::size_t count; // of the elements or members that are complete
        bool isObject;
    };

    // text_reader.cpp: structure
    void readValue();
    bool moveToNextValue();
    void openLevel(bool isObject);
    void closeLevel();
    void readKey();
    void skipComments();
    void skipComment();

    // scalar_reader.cpp
    void readString();
    void readEscape(const char* stringBegin);
    char32_t readHexUnit(const char* stringBegin);
    void readNumber();
    void readFraction(const char* number, std::uint64_t magnitude);
    std::size_t addDigits(std::uint64_t& magnitude);
    int readExponent();
    void readWord();
    bool readNonFiniteWord(std::string_view word);

    // Characters
    bool atEnd() const { return at_ == end_; }
    bool atCharacter(char c) const { return at_ != end_ && *at_ == c; }
    bool atDigit() const { return at_ != end_ && *at_ >= '0' && *at_ <= '9'; }
    void skipSpace() {
        while (at_ != end_ && (*at_ == ' ' || *at_ == '\n' || *at_ == '\r' || *at_ == '\t')) {
            ++at_;
        }
        if (atCharacter('/') && options_.allowComments) {
            skipComments();
        }
    }

    // Errors
    [[noreturn]] void fail(const char* position, const std::string& reason) const;
    [[noreturn]] void failExpected(const std::string& what) const;
    [[noreturn]] void failUnterminated(const char* stringBegin) const;

    const std::u16string& sourceName_;
    const ReadJSONDocumentOptions options_;
    ValueBuilder& builder_;
    const char* const begin_;
    const char* const end_;
    const char* at_; // the next byte to read
    std::vector<Level> levels_;
    std::string scratch_; // a string with its escapes resolved
};

} // namespace ostra::io::json::core
