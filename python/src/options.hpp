#pragma once

/// How JSON texts are read and written, as keyword arguments say it.

#include <ostra/io/json/core/reading.hpp>

#include "platform/json_core.hpp"
#include "platform/json_write.hpp"

#include <nanobind/nanobind.h>

namespace ostrajson {

/// All of them bool; a TypeError names the one that is not.
ostra::io::json::core::ReadJSONDocumentOptions
readOptions(nanobind::handle comments, nanobind::handle trailingCommas, nanobind::handle allowNaN);

/// How a whole text is read.
struct TextOptions {
    ostra::io::json::core::ReadJSONDocumentOptions read;
    ostra::io::json::core::BigIntegers bigIntegers;
    bool lines; ///< JSON Lines: the document is the array of all lines' values
};

/// @param bigInt  "float" or "error": what integers beyond 64 bits become.
TextOptions textOptions(nanobind::handle lines,
                        const ostra::io::json::core::ReadJSONDocumentOptions& read,
                        nanobind::handle bigInt);

/// @param indent    None for a compact text; a number of spaces, or a str, per level.
/// @param allowNaN  bool: NaN, Infinity and -Infinity as words, not as null.
ostra::io::json::write::struct_::WriteStructOptions writeOptions(nanobind::handle indent,
                                                                 nanobind::handle allowNaN);

} // namespace ostrajson
