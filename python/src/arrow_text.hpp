#pragma once

/// Arrow arrays as JSON text, and as NumPy arrays.

#include "arrow_input.hpp"
#include "text_sink.hpp"

#include <nanobind/nanobind.h>

namespace ostrajson {

/// Writes all values as a JSON array, structs (the rows of a table) as objects. Dates and times are
/// texts (ISO 8601; with a time zone, in UTC with a Z), missing values null.
/// @throws nb::python_error  a TypeError for a type that has no such form; a UnicodeDecodeError for
///                           a text that is not UTF-8; what reading JSON raises, for what claims to
///                           be JSON text and is not.
void writeArrow(TextSink& out, const ArrowInput& input);

/// Python's `_ArrowInput`, with which others can be passed on.
void bindArrowInput(nb::module_& module);

} // namespace ostrajson
