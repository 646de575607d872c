#include "arguments.hpp"

#include "errors.hpp"

#include "platform/text_conversion.hpp"

namespace ostrajson {

namespace {

template <class T>
T checked(PyObject* made) {
    if (made == nullptr) {
        throw nb::python_error();
    }
    return nb::steal<T>(made);
}

} // namespace

std::string_view textArgument(nb::handle given, const char* name) {
    if (!PyUnicode_Check(given.ptr())) {
        raiseType(name, "str", given);
    }
    Py_ssize_t size = 0;
    const char* const text = PyUnicode_AsUTF8AndSize(given.ptr(), &size);
    if (text == nullptr) {
        throw nb::python_error(); // UnicodeEncodeError: a lone surrogate
    }
    return {text, static_cast<std::size_t>(size)};
}

bool flagArgument(nb::handle given, const char* name) {
    if (given.ptr() != Py_True && given.ptr() != Py_False) {
        raiseType(name, "bool", given);
    }
    return given.ptr() == Py_True;
}

std::size_t countArgument(nb::handle given, const char* name) {
    if (PyIndex_Check(given.ptr()) == 0) {
        raiseType(name, "int", given);
    }
    const Py_ssize_t value = PyNumber_AsSsize_t(given.ptr(), nullptr);
    if (value == -1 && PyErr_Occurred() != nullptr) {
        throw nb::python_error();
    }
    if (value < 0) {
        raiseValue(name, "expected 0 or more, not " + std::to_string(value));
    }
    return static_cast<std::size_t>(value);
}

nb::str pathArgument(nb::handle given, const char* name) {
    const nb::object path = nb::steal(PyOS_FSPath(given.ptr()));
    if (!path.is_valid()) {
        PyErr_Clear();
        raiseType(name, "str, bytes or os.PathLike", given);
    }
    if (PyBytes_Check(path.ptr())) {
        return checked<nb::str>(PyUnicode_DecodeFSDefaultAndSize(PyBytes_AS_STRING(path.ptr()),
                                                                 PyBytes_GET_SIZE(path.ptr())));
    }
    return nb::borrow<nb::str>(path);
}

nb::str toStr(std::string_view utf8) {
    return checked<nb::str>(
        PyUnicode_DecodeUTF8(utf8.data(), static_cast<Py_ssize_t>(utf8.size()), nullptr));
}

nb::str toStr(std::u16string_view utf16) {
    int order = -1; // little-endian, without a mark
    return checked<nb::str>(PyUnicode_DecodeUTF16(reinterpret_cast<const char*>(utf16.data()),
                                                  static_cast<Py_ssize_t>(2 * utf16.size()),
                                                  nullptr, &order));
}

nb::object toSequence(nb::handle given, const char* name) {
    const bool isSequence = PySequence_Check(given.ptr()) != 0 && !PyUnicode_Check(given.ptr());
    if (!isSequence) {
        raiseType(name, "a sequence of str", given);
    }
    return checked<nb::object>(PySequence_Fast(given.ptr(), name));
}

std::vector<std::u16string> toUtf16List(nb::handle given, const char* name) {
    const nb::object items = toSequence(given, name);
    const Py_ssize_t size = PySequence_Fast_GET_SIZE(items.ptr());
    std::vector<std::u16string> texts;
    for (Py_ssize_t i = 0; i < size; ++i) {
        texts.push_back(toUtf16(PySequence_Fast_GET_ITEM(items.ptr(), i), name));
    }
    return texts;
}

void addPython(nb::handle type, const char* module) {
    const nb::module_ methods = nb::module_::import_(module);
    for (const nb::handle name : methods.attr("__all__")) {
        nb::setattr(type, name, methods.attr(name));
    }
}

std::u16string toUtf16(nb::handle text, const char* name) {
    const std::string_view utf8 = textArgument(text, name);
    return fl::i18n::utf8_to_ustring(utf8.data(), utf8.size());
}

} // namespace ostrajson
