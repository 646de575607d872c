#pragma once

/// Python objects as JSON text.

#include "text_sink.hpp"

#include <nanobind/nanobind.h>

#include <string>

namespace ostrajson {

namespace nb = nanobind;

/// How `dumps` writes.
struct DumpOptions {
    std::string indent;    ///< per level; only if `pretty`
    bool pretty = false;   ///< an element or member a line
    bool sortKeys = false; ///< members by their keys, in code point order
    bool allowNaN = false; ///< NaN, Infinity and -Infinity as words, not as null
    nb::object fallback;   ///< makes other objects into ones that can be written; or None
};

/// The UTF-8 JSON text (RFC 8259) of an object.
///
/// dict, list, tuple, str, int, float, bool and None, their subclasses, NumPy's arrays (nested
/// lists; masked elements are null) and scalars, datetime64 (ISO 8601; NaT is null), Document and
/// Nodes, and what `fallback` makes of anything else. Doubles have the fewest digits that read back
/// to the same bits. Needs the GIL; runs Python code for `fallback`, and for NumPy's rarer types.
///
/// @throws nb::python_error  TypeError for an object that it cannot write, ValueError if an
///                           object holds itself, UnicodeEncodeError for a lone surrogate, and what
///                           `fallback` raises.
/// Cost: linear; any depth on any stack.
TextSink toJson(nb::handle object, const DumpOptions& options);

} // namespace ostrajson
