#pragma once

/// Reading one text on several threads.

#include "big_integers.hpp"
#include "platform/json_core.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace ostra::io::json::core {

/// Reads a text into a document, in chunks on several threads if it is longer than two of them.
///
/// The result and every refusal are those of one reader that goes through the whole text. Each
/// chunk but the first begins where an element of an array seems to begin, and is read ahead as if
/// it did; one reader goes from the start of the text to the end and takes a chunk over only when
/// it arrives exactly there, with an element of an array due: from this state on it would read
/// just what was read ahead. A chunk that it does not arrive at was read in vain.
///
/// @param text       of any content.
/// @param chunkSize  bytes of text, above 0.
/// @throws ParseError  if the text is refused: for the first malformed UTF-8 in it, or for
///                         what the reader meets first.
/// @throws std::bad_alloc  if memory is exhausted.
rapidjson::Document readInChunks(const std::u16string& sourceName, std::string_view text,
                                 const ReadJSONDocumentOptions& options, std::size_t chunkSize,
                                 BigIntegerRule bigIntegers = BigIntegerRule::Round);

// The two steps of `readInChunks`, for tests that compare them.

/// Reads strict JSON with a container at its root.
/// @return false for any other text; the document is useless then.
/// @throws std::bad_alloc  if memory is exhausted.
bool readStrictly(std::string_view text, std::size_t chunkSize, rapidjson::Document& document,
                  BigIntegerRule bigIntegers = BigIntegerRule::Round);

/// Reads any text that the options allow, and reports errors; the parameters and the result are
/// those of `readInChunks`.
rapidjson::Document readPlainly(const std::u16string& sourceName, std::string_view text,
                                const ReadJSONDocumentOptions& options, std::size_t chunkSize,
                                BigIntegerRule bigIntegers = BigIntegerRule::Round);

} // namespace ostra::io::json::core
