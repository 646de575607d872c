#pragma once

/// NumPy arrays as JSON text.

#include "text_sink.hpp"

#include <nanobind/nanobind.h>

namespace ostrajson {

/// Writes an array of bool, integers, floats or doubles in C order as nested lists without white
/// space; one without dimensions as its element.
/// @return false if the object is not such an array; nothing is written.
bool writeArray(TextSink& out, nanobind::handle object);

} // namespace ostrajson
