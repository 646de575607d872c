#pragma once

/// @file
/// Documents and JSON Lines from and to UTF-8 bytes in memory, without a detour through UTF-16.
///
/// Threads: calls are independent; a document that is written may be read by others meanwhile.
/// Texts from 2 MiB on are read, and texts from 256 KiB on written, on several of oneTBB's threads.

#include <ostra/io/json/columns/export.hpp>

#include <ostra/io/json/core/parse_error.hpp>
#include <ostra/io/json/core/reading.hpp>
#include <ostra/io/json/tree/dom.hpp>

#include <ostra/io/json/tree/platform/json_write.hpp>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

namespace ostra::io::json::columns {

/// UTF-8 text of a size that shows only when it is written; owned.
class Utf8Text {
public:
    Utf8Text() noexcept = default;
    /// @param bytes  malloc's; is taken over.
    Utf8Text(char* bytes, std::size_t size) noexcept : bytes_(bytes), size_(size) {}

    const char* data() const noexcept { return bytes_.get(); }
    std::size_t size() const noexcept { return size_; }
    std::string_view view() const noexcept { return {bytes_.get(), size_}; }

private:
    struct Free {
        void operator()(char* bytes) const noexcept { std::free(bytes); }
    };

    std::unique_ptr<char, Free> bytes_;
    std::size_t size_ = 0;
};

/// How to read.
struct TextOptions {
    core::ReadJSONDocumentOptions syntax = {}; ///< what the text may contain beyond RFC 8259
    core::BigIntegers big_integers = core::BigIntegers::AsDouble; ///< beyond 64 bits
    std::string name = {}; ///< names the source in errors, UTF-8; may be empty
    /// Whether `DOM::buffer` is to hold a copy of the text, as documents read by other operations
    /// do. Nothing in this library needs it.
    bool keep_text = false;
};

/// Parses a JSON text.
///
/// @param text  UTF-8, with or without a byte-order mark; read where it lies.
/// @return the document, as `tree::read_string` makes it but for `buffer`, which is empty unless
///         `keep_text`; independent of `text`. It can back node vectors like any other.
/// @throws core::ParseError   if the text is refused.
/// @throws std::bad_alloc, std::length_error  if memory is exhausted.
/// Cost: linear; no copy of the text but that which `keep_text` asks for.
TVIOJSONCOLUMNS_EXPORT tree::DOM read_utf8(std::string_view text, const TextOptions& options = {});

/// Parses JSON Lines (https://jsonlines.org).
///
/// @param text  UTF-8, with or without a byte-order mark; lines end with LF or CRLF, the last one
///              with or without; lines of white space only are skipped.
/// @return a document whose root is the array of all lines' values; otherwise as `read_utf8`.
/// @throws as `read_utf8`; the error names the record, too.
TVIOJSONCOLUMNS_EXPORT tree::DOM read_lines(std::string_view text, const TextOptions& options = {});

/// Writes a value, a whole document's root for one, as JSON text; the bytes are those that
/// `tree::write_file` writes.
///
/// @throws std::bad_alloc  if memory is exhausted.
/// Cost: linear in the text. Any nesting depth on any stack.
TVIOJSONCOLUMNS_EXPORT Utf8Text write_utf8(const rapidjson::Value& value,
                                           const write::struct_::WriteStructOptions& options = {});

/// Writes values as JSON Lines: the elements of an array, each compact and followed by an LF.
///
/// @param array        the records; if the value is not an array, it is the one record.
/// @param allowNaNInf  whether non-finite doubles are written as words instead of null.
/// @throws std::bad_alloc  if memory is exhausted.
/// Cost: linear in the text. Any nesting depth on any stack.
TVIOJSONCOLUMNS_EXPORT Utf8Text write_lines(const rapidjson::Value& array,
                                            bool allowNaNInf = false);

} // namespace ostra::io::json::columns
