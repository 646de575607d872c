#include "arrays.hpp"

#include "errors.hpp"

#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
#define PY_ARRAY_UNIQUE_SYMBOL ostrajson_numpy
#include <numpy/arrayobject.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace ostrajson {

namespace {

int typeNumber(Element element) {
    constexpr std::array numbers = {NPY_BOOL,   NPY_UINT8,  NPY_INT64,
                                    NPY_UINT64, NPY_DOUBLE, NPY_INT32};
    return numbers.at(static_cast<std::size_t>(element));
}

const char* expectation(Element element) {
    constexpr std::array texts = {"an array of bool",     "an array of integers",
                                  "an array of integers", "an array of integers",
                                  "an array of numbers",  "an array of integers"};
    return texts.at(static_cast<std::size_t>(element));
}

PyArrayObject* asArray(nb::handle array) {
    return reinterpret_cast<PyArrayObject*>(array.ptr());
}

/// Whether an array of one kind may stand for another: integers of any width for integers, booleans
/// for booleans, either of them and floats for numbers. An empty list is an array of doubles.
bool mayStand(PyArrayObject* array, Element element) {
    if (PyArray_SIZE(array) == 0) {
        return true;
    }
    if (element == Element::Bool) {
        return PyArray_ISBOOL(array);
    }
    return PyArray_ISINTEGER(array) || (element == Element::Double && PyArray_ISFLOAT(array));
}

std::size_t sizeOf(PyArrayObject* array) {
    return static_cast<std::size_t>(PyArray_SIZE(array));
}

template <class T>
tree::NumericArray<T> makeColumn(std::size_t size) {
    constexpr std::array classes = {qxLOGICAL_CLASS, qxUINT8_CLASS, qxINT64_CLASS, qxUINT64_CLASS,
                                    qxDOUBLE_CLASS};
    const std::array<unsigned long, 2> dims = {size, 1};
    return tree::NumericArray<T>(
        static_cast<matrix::typed_vector<T>*>(matrix::detail::do_create_numeric(
            dims, classes.at(static_cast<std::size_t>(elementOf<T>)), qxREAL)));
}

} // namespace

void bindArrays() {
    if (PyArray_ImportNumPyAPI() < 0) {
        throw nb::python_error();
    }
}

nb::object numpy(const char* name) {
    return nb::module_::import_("numpy").attr(name);
}

nb::object wrapArray(Element element, void* data, std::size_t size, nb::object owner) {
    static char nothing = 0; // NumPy would allocate for a null pointer
    const npy_intp length = static_cast<npy_intp>(size);
    nb::object array = nb::steal(
        PyArray_SimpleNewFromData(1, &length, typeNumber(element), size == 0 ? &nothing : data));
    if (!array.is_valid() || PyArray_SetBaseObject(asArray(array), owner.release().ptr()) != 0) {
        throw nb::python_error();
    }
    return array;
}

nb::object objectArray(std::size_t size, const std::function<PyObject*(std::size_t)>& make) {
    const npy_intp length = static_cast<npy_intp>(size);
    nb::object array = nb::steal(PyArray_SimpleNew(1, &length, NPY_OBJECT)); // of null pointers
    if (!array.is_valid()) {
        throw nb::python_error();
    }
    auto* const elements = static_cast<PyObject**>(PyArray_DATA(asArray(array)));
    for (std::size_t i = 0; i < size; ++i) {
        PyObject* const made = make(i);
        if (made == nullptr) {
            throw nb::python_error();
        }
        Py_XDECREF(std::exchange(elements[i], made));
    }
    return array;
}

ArrayInput::ArrayInput(nb::handle given, Element element, const char* name) {
    const nb::object any = nb::steal(PyArray_FROM_O(given.ptr()));
    if (!any.is_valid()) {
        throw nb::python_error();
    }
    PyArrayObject* const from = asArray(any);
    if (!mayStand(from, element)) {
        raiseType(name, expectation(element),
                  PyArray_Check(given.ptr()) ? nb::object(any.attr("dtype").attr("name"))
                                             : nb::borrow(given));
    }
    const int number = typeNumber(element);
    array_ =
        nb::steal(PyArray_FROM_OTF(any.ptr(), number, NPY_ARRAY_IN_ARRAY | NPY_ARRAY_FORCECAST));
    if (!array_.is_valid()) {
        throw nb::python_error();
    }
    data_ = PyArray_DATA(asArray(array_));
    size_ = sizeOf(asArray(array_));
    // A cast that wrapped around shows in the values.
    if (size_ != 0 && element != Element::Double &&
        PyArray_CanCastSafely(PyArray_TYPE(from), number) == 0 &&
        !nb::cast<bool>(numpy("array_equal")(any, array_))) {
        raiseValue(name, std::string("a value is out of the range of ") +
                             nb::cast<std::string>(array_.attr("dtype").attr("name")));
    }
}

template <class T>
tree::NumericArray<T> toColumn(nb::handle given, const char* name) {
    const ArrayInput input(given, elementOf<T>, name);
    tree::NumericArray<T> column = makeColumn<T>(input.size());
    std::copy_n(input.as<T>().data(), input.size(), column->data());
    return column;
}
template tree::NumericArray<bool> toColumn<bool>(nb::handle, const char*);
template tree::NumericArray<double> toColumn<double>(nb::handle, const char*);
template tree::NumericArray<std::int64_t> toColumn<std::int64_t>(nb::handle, const char*);
template tree::NumericArray<std::uint64_t> toColumn<std::uint64_t>(nb::handle, const char*);
template tree::NumericArray<std::uint8_t> toColumn<std::uint8_t>(nb::handle, const char*);

namespace {

[[noreturn]] void raiseIndex(const std::string& message) {
    throw nb::index_error(message.c_str());
}

tree::NumericArray<unsigned long> trueOnes(std::span<const bool> mask, std::size_t size) {
    if (mask.size() != size) {
        raiseIndex("a mask of " + std::to_string(mask.size()) + " for " + std::to_string(size) +
                   " nodes");
    }
    auto picked = makeColumn<unsigned long>(
        static_cast<std::size_t>(std::count(mask.begin(), mask.end(), true)));
    unsigned long* out = picked->data();
    for (std::size_t i = 0; i < size; ++i) {
        if (mask[i]) {
            *out++ = i;
        }
    }
    return picked;
}

} // namespace

tree::NumericArray<unsigned long> toPositions(nb::handle index, std::size_t size) {
    const nb::object array = nb::steal(PyArray_FROM_O(index.ptr()));
    if (!array.is_valid()) {
        throw nb::python_error();
    }
    if (PyArray_NDIM(asArray(array)) != 1) {
        raiseType("index", "an int, a slice, a str, or a one-dimensional array of integers or bool",
                  index);
    }
    if (PyArray_ISBOOL(asArray(array))) {
        return trueOnes(ArrayInput(array, Element::Bool, "index").as<bool>(), size);
    }
    const ArrayInput input(array, Element::Int64, "index");
    const std::span<const std::int64_t> given = input.as<std::int64_t>();
    auto picked = makeColumn<unsigned long>(given.size());
    const auto count = static_cast<std::int64_t>(size);
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (given[i] < -count || given[i] >= count) {
            raiseIndex("index " + std::to_string(given[i]) + " for " + std::to_string(size) +
                       " nodes");
        }
        picked->data()[i] = static_cast<unsigned long>(given[i] < 0 ? given[i] + count : given[i]);
    }
    return picked;
}

} // namespace ostrajson
