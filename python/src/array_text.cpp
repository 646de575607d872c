#include "array_text.hpp"

#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
#define NO_IMPORT_ARRAY
#define PY_ARRAY_UNIQUE_SYMBOL ostrajson_numpy
#include <numpy/arrayobject.h>

#include <cstdint>
#include <span>

namespace ostrajson {

namespace {

using Shape = std::span<const npy_intp>;

template <class T>
void writeElement(TextSink& out, T value) {
    if constexpr (std::is_same_v<T, bool>) {
        out.put(value ? std::string_view("true") : std::string_view("false"));
    } else if constexpr (std::is_integral_v<T>) {
        out.integer(value);
    } else {
        out.floating(value);
    }
}

/// Recurses over the dimensions, of which NumPy has at most 64.
template <class T>
const T* write(TextSink& out, Shape shape, const T* values) {
    if (shape.empty()) {
        writeElement(out, *values);
        return values + 1;
    }
    out.put('[');
    for (npy_intp i = 0; i < shape.front(); ++i) {
        if (i != 0) {
            out.put(',');
        }
        values = write(out, shape.subspan(1), values);
    }
    out.put(']');
    return values;
}

} // namespace

bool writeArray(TextSink& out, nanobind::handle object) {
    if (!PyArray_CheckExact(object.ptr())) {
        return false;
    }
    auto* const array = reinterpret_cast<PyArrayObject*>(object.ptr());
    if (!PyArray_IS_C_CONTIGUOUS(array) || !PyArray_ISNOTSWAPPED(array) ||
        !PyArray_ISALIGNED(array)) {
        return false;
    }
    const Shape shape(PyArray_DIMS(array), static_cast<std::size_t>(PyArray_NDIM(array)));
    const auto as = [&]<class T>(T /*type*/) {
        write(out, shape, static_cast<const T*>(PyArray_DATA(array)));
        return true;
    };
    switch (PyArray_TYPE(array)) {
    case NPY_BOOL:
        return as(bool());
    case NPY_BYTE:
        return as(std::int8_t());
    case NPY_UBYTE:
        return as(std::uint8_t());
    case NPY_SHORT:
        return as(std::int16_t());
    case NPY_USHORT:
        return as(std::uint16_t());
    case NPY_INT:
        return as(std::int32_t());
    case NPY_UINT:
        return as(std::uint32_t());
    case NPY_LONG:
    case NPY_LONGLONG:
        return as(std::int64_t());
    case NPY_ULONG:
    case NPY_ULONGLONG:
        return as(std::uint64_t());
    case NPY_FLOAT:
        return as(float());
    case NPY_DOUBLE:
        return as(double());
    default:
        return false;
    }
}

} // namespace ostrajson
