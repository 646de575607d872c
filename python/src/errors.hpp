#pragma once

/// Failures as Python's exceptions.

#include <ostra/io/json/core/parse_error.hpp>

#include <nanobind/nanobind.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

namespace ostrajson {

namespace nb = nanobind;
namespace core = ostra::io::json::core;

/// The package's own exception classes, defined in `_errors.py`.
enum class Error { JSONDecode, Pointer, ColumnType, StaleNodes };

/// Finds the classes and has C++ exceptions translated; to be called once.
void bindErrors(nb::module_& module);

[[noreturn]] void raise(Error error, const std::string& message);

/// Raises a TypeError `pointer: expected str, not int`.
[[noreturn]] void raiseType(const char* argument, const char* expected, nb::handle given);

/// Raises a ValueError `indent: ...`.
[[noreturn]] void raiseValue(const char* argument, const std::string& reason);

/// Bytes of an excerpt on each side of a place.
inline constexpr std::size_t excerptReach = 40;

/// What stands around a place of a text; the text may be empty.
std::string_view excerpt(std::string_view text, std::size_t place);

/// The JSONDecodeError of an error in a text.
/// @param around  an excerpt of the text, which may break characters; may be empty.
nb::object decodeError(const core::ParseErrorFields& fields, std::string_view around);

/// Raises it.
[[noreturn]] void raiseDecodeError(const core::ParseErrorFields& fields, std::string_view around);

/// Raises the OSError of an error number, such as FileNotFoundError, with the file's name.
[[noreturn]] void raiseSystemError(int number, nb::handle path);

[[noreturn]] void raiseColumnType(const std::string& message, const std::string& field,
                                  std::size_t row, const std::string& kind,
                                  const std::string& wanted);

/// Runs an operation on a file; its failures carry the file's name.
template <class Operation>
auto withFile(nb::handle path, const Operation& operation) {
    int number = 0;
    try {
        return operation();
    } catch (const std::system_error& error) {
        number = error.code().value();
    }
    raiseSystemError(number, path);
}

} // namespace ostrajson
