#pragma once

/// Arguments of Python calls; a TypeError or ValueError names the one that does not fit.

#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ostrajson {

namespace nb = nanobind;

/// An argument that may be anything, None included: the call says itself what it expected.
inline auto arg(const char* name) {
    return nb::arg(name).none();
}

/// @return the UTF-8 form of a str; lives as long as the object.
std::string_view textArgument(nb::handle given, const char* name);

bool flagArgument(nb::handle given, const char* name);

/// @return an integer from 0 on, also one of NumPy's.
std::size_t countArgument(nb::handle given, const char* name);

/// @return a path as str (os.fspath, with bytes decoded as the file system does).
nb::str pathArgument(nb::handle given, const char* name);

/// @return the text as a Python str. UTF-8 or UTF-16 that came through the library is well formed.
nb::str toStr(std::string_view utf8);
nb::str toStr(std::u16string_view utf16);

/// @return the text of a str as UTF-16.
std::u16string toUtf16(nb::handle text, const char* name);

/// @return the items of a sequence that is not a str, as a list or tuple.
nb::object toSequence(nb::handle given, const char* name);

/// @param given  a sequence of str, not a single one.
std::vector<std::u16string> toUtf16List(nb::handle given, const char* name);

/// Makes the functions that a Python module names in `__all__` methods of a class.
void addPython(nb::handle type, const char* module);

} // namespace ostrajson
