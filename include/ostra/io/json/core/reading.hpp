#pragma once

/// @file
/// Whole documents from UTF-8 bytes that stay where they are, and what becomes of huge integers.
///
/// Threads: texts from 2 MiB on are read on several of oneTBB's threads; calls are independent.

#include <ostra/io/json/tree/export.hpp>
#include <ostra/io/json/tree/rapidjson.hpp>

#include <ostra/io/json/tree/platform/json_core.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace ostra::io::json::core {

/// What integers beyond 64 bits become: those below -2^63 or above 2^64-1, written without fraction
/// and exponent.
enum class BigIntegers : std::uint8_t {
    AsDouble, ///< the nearest double, as of any other number
    Refuse,   ///< an error at the first digit or sign
};

/// Parses a UTF-8 JSON text.
///
/// @param sourceName   names the source in errors; may be empty.
/// @param text         of any content; not referred to by the result.
/// @param options      what the text may contain beyond RFC 8259.
/// @param bigIntegers  what integers beyond 64 bits become.
/// @return the document; it owns its allocator, and all its strings are copies.
/// @throws ParseError      if the text is refused.
/// @throws std::bad_alloc  if memory is exhausted.
/// Cost: linear. Any nesting depth on any stack.
TVIOJSONTREE_EXPORT rapidjson::Document parse_text(const std::u16string& sourceName,
                                                   std::string_view text,
                                                   const ReadJSONDocumentOptions& options,
                                                   BigIntegers bigIntegers = BigIntegers::AsDouble);

/// Parses JSON Lines (https://jsonlines.org): one JSON text a line.
///
/// A line ends with LF, perhaps with a CR in front of it; the last one may lack its end. Lines of
/// white space only (and of comments, if allowed) are skipped, and so is a byte-order mark at
/// the start.
///
/// Parameters, failures and cost as `parse_text`. An error names the record, counted from 0 without
/// the lines that are skipped; the first refused line in the text is reported.
/// @return a document whose root is the array of all lines' values.
TVIOJSONTREE_EXPORT rapidjson::Document
parse_lines(const std::u16string& sourceName, std::string_view text,
            const ReadJSONDocumentOptions& options,
            BigIntegers bigIntegers = BigIntegers::AsDouble);

} // namespace ostra::io::json::core
