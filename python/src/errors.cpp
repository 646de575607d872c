#include "errors.hpp"

#include "arguments.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace ostrajson {

namespace {

constexpr std::array classNames = {"JSONDecodeError", "PointerError", "ColumnTypeError",
                                   "StaleNodesError"};
std::array<PyObject*, classNames.size()> classes{}; // borrowed from the module, which stays

PyObject* classOf(Error error) {
    return classes.at(static_cast<std::size_t>(error));
}

/// What the library throws, as Python's own. The rest (bad_alloc, out_of_range, ...) nanobind
/// knows.
void translate(const std::exception_ptr& failure, void* /*unused*/) {
    try {
        std::rethrow_exception(failure);
    } catch (const core::ParseError& error) {
        try {
            raiseDecodeError(error.fields(), {});
        } catch (nb::python_error& raised) {
            raised.restore();
        }
    } catch (const std::length_error&) {
        PyErr_NoMemory();
    } catch (const std::out_of_range& error) {
        PyErr_SetString(PyExc_ValueError, error.what());
    } catch (const std::system_error& error) {
        errno = error.code().value();
        PyErr_SetFromErrno(PyExc_OSError);
    }
}

/// Broken UTF-8 is replaced.
nb::str toStrAnyway(std::string_view utf8) {
    PyObject* const decoded =
        PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), "replace");
    if (decoded == nullptr) {
        throw nb::python_error();
    }
    return nb::steal<nb::str>(decoded);
}

} // namespace

void bindErrors(nb::module_& module) {
    const nb::module_ errors = nb::module_::import_("ostrajson._errors");
    for (std::size_t i = 0; i < classNames.size(); ++i) {
        const nb::object one = errors.attr(classNames.at(i));
        module.attr(classNames.at(i)) = one;
        classes.at(i) = one.ptr();
    }
    nb::register_exception_translator(translate);
}

void raise(Error error, const std::string& message) {
    PyErr_SetString(classOf(error), message.c_str());
    throw nb::python_error();
}

void raiseType(const char* argument, const char* expected, nb::handle given) {
    PyErr_Format(PyExc_TypeError, "%s: expected %s, not %s", argument, expected,
                 Py_TYPE(given.ptr())->tp_name);
    throw nb::python_error();
}

void raiseValue(const char* argument, const std::string& reason) {
    PyErr_Format(PyExc_ValueError, "%s: %s", argument, reason.c_str());
    throw nb::python_error();
}

std::string_view excerpt(std::string_view text, std::size_t place) {
    const std::size_t begin = place - std::min(place, excerptReach);
    return text.substr(std::min(begin, text.size()), 2 * excerptReach);
}

nb::object decodeError(const core::ParseErrorFields& fields, std::string_view around) {
    const nb::object source = fields.source.empty() ? nb::none() : nb::object(toStr(fields.source));
    const nb::object record = fields.record ? nb::object(nb::int_(*fields.record)) : nb::none();
    return nb::handle(classOf(Error::JSONDecode))(toStr(fields.reason), toStrAnyway(around),
                                                  fields.byte, fields.line, fields.column, source,
                                                  record);
}

void raiseDecodeError(const core::ParseErrorFields& fields, std::string_view around) {
    PyErr_SetObject(classOf(Error::JSONDecode), decodeError(fields, around).ptr());
    throw nb::python_error();
}

void raiseColumnType(const std::string& message, const std::string& field, std::size_t row,
                     const std::string& kind, const std::string& wanted) {
    const nb::object made = nb::handle(classOf(Error::ColumnType))(toStr(message), toStr(field),
                                                                   row, toStr(kind), toStr(wanted));
    PyErr_SetObject(classOf(Error::ColumnType), made.ptr());
    throw nb::python_error();
}

void raiseSystemError(int number, nb::handle path) {
    errno = number;
    PyErr_SetFromErrnoWithFilenameObject(PyExc_OSError, path.ptr());
    throw nb::python_error();
}

} // namespace ostrajson
