#include "text_input.hpp"

#include "errors.hpp"

namespace ostrajson {

namespace {

std::string_view bytesOf(nanobind::handle bytes) {
    return {PyBytes_AS_STRING(bytes.ptr()),
            static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr()))};
}

} // namespace

TextInput::TextInput(nanobind::handle given, const char* argument) {
    PyObject* const object = given.ptr();
    if (PyBytes_Check(object)) {
        owner_ = nanobind::borrow(given);
        view_ = bytesOf(given);
    } else if (PyUnicode_Check(object)) {
        if (PyUnicode_IS_COMPACT_ASCII(object)) {
            owner_ = nanobind::borrow(given);
            view_ = {static_cast<const char*>(PyUnicode_DATA(object)),
                     static_cast<std::size_t>(PyUnicode_GET_LENGTH(object))};
        } else { // not AsUTF8AndSize, which would keep the UTF-8 form as long as the str lives
            owner_ = nanobind::steal(PyUnicode_AsUTF8String(object));
            if (!owner_.is_valid()) {
                throw nanobind::python_error();
            }
            view_ = bytesOf(owner_);
        }
    } else if (PyObject_CheckBuffer(object) != 0) {
        if (PyObject_GetBuffer(object, &buffer_, PyBUF_CONTIG_RO) != 0) {
            throw nanobind::python_error();
        }
        view_ = {static_cast<const char*>(buffer_.buf), static_cast<std::size_t>(buffer_.len)};
        // A buffer that is read-only here may be written through another one.
        if (view_.size() >= smallText && !(buffer_.obj != nullptr && PyBytes_Check(buffer_.obj))) {
            try {
                copy_.assign(view_.begin(), view_.end());
            } catch (...) {
                PyBuffer_Release(&buffer_);
                throw;
            }
            view_ = {copy_.data(), copy_.size()};
        }
    } else {
        raiseType(argument, "str, bytes or a buffer", given);
    }
}

TextInput::~TextInput() {
    if (buffer_.obj != nullptr) {
        PyBuffer_Release(&buffer_);
    }
}

} // namespace ostrajson
