#pragma once

/// Reading JSON Lines on several threads.

#include "text_reader.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace ostra::io::json::core {

/// Reads lines into a document whose root is the array of their values, in chunks on several
/// threads if the text is longer than two of them.
///
/// @param chunkSize  bytes of text, above 0; a chunk goes on to the end of its last line.
/// @throws ParseError      for the first line that is refused.
/// @throws std::bad_alloc  if memory is exhausted.
rapidjson::Document readLinesInChunks(const std::u16string& sourceName, std::string_view text,
                                      const ReadJSONDocumentOptions& options, std::size_t chunkSize,
                                      BigIntegerRule bigIntegers);

} // namespace ostra::io::json::core
