#pragma once

/// Reading into a document that is already in its final place, as a `LevelReader` needs it.

#include <ostra/io/json/tree/dom.hpp>

namespace ostra::io::json::tree {

/// As `read_string`, into `dom`, which must be empty and is to be discarded on failure.
void readText(DOM& dom, const std::u16string& text, const core::ReadJSONDocumentOptions& options);

/// As `read_file`, into `dom`, which must be empty and is to be discarded on failure.
void readFile(DOM& dom, const std::u16string& path, const core::ReadJSONDocumentOptions& options);

} // namespace ostra::io::json::tree
