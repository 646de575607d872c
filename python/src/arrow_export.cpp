#include "columns.hpp"

#include "arguments.hpp"
#include "arrays.hpp"
#include "arrow_array.hpp"
#include "arrow_column.hpp"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ostrajson {

namespace {

/// Columns, or one of them, as Arrow has them.
struct Arrow {
    std::shared_ptr<const ArrowParts> parts;
};

/// A capsule that releases its structure unless a consumer has moved it out.
template <class Structure, class Export>
nb::object capsule(const Export& exportTo) {
    auto structure = std::make_unique<Structure>();
    exportTo(structure.get());
    nb::object made =
        nb::steal(PyCapsule_New(structure.get(), arrowCapsule<Structure>, [](PyObject* self) {
            auto* const held =
                static_cast<Structure*>(PyCapsule_GetPointer(self, arrowCapsule<Structure>));
            release(*held);
            delete held;
        }));
    if (!made.is_valid()) {
        release(*structure);
        throw nb::python_error();
    }
    static_cast<void>(structure.release());
    return made;
}

nb::object schemaCapsule(const Arrow& self) {
    return capsule<ArrowSchema>([&](ArrowSchema* out) { exportSchema(*self.parts, out); });
}

nb::tuple arrayCapsules(const Arrow& self) {
    return nb::make_tuple(schemaCapsule(self), capsule<ArrowArray>([&](ArrowArray* out) {
                              exportArray(*self.parts, out);
                          }));
}

nb::object streamCapsule(const Arrow& self) {
    return capsule<ArrowArrayStream>([&](ArrowArrayStream* out) { exportStream(self.parts, out); });
}

/// @param form    None for the column as it is, "category" for a dictionary, else the name of
///                Arrow's type of `values`.
/// @param values  an array of another type than the column's, which is copied.
ArrowParts toParts(nb::handle name, const HeldColumn& held, nb::handle isFilled, nb::handle form,
                   nb::handle values) {
    std::string text(textArgument(name, "name"));
    const bool filled = flagArgument(isFilled, "filled");
    if (form.is_none()) {
        return toArrow(held.column, std::move(text), filled);
    }
    std::string format(textArgument(form, "form"));
    if (format == "category") {
        return toArrowDictionary(held.column, std::move(text), filled);
    }
    Py_buffer buffer;
    if (PyObject_GetBuffer(values.ptr(), &buffer, PyBUF_CONTIG_RO) != 0) {
        throw nb::python_error();
    }
    const std::unique_ptr<Py_buffer, decltype(&PyBuffer_Release)> taken(&buffer, PyBuffer_Release);
    const auto* const bytes = static_cast<const std::byte*>(buffer.buf);
    return toArrow(held.column, std::move(text), filled,
                   {std::move(format), {bytes, bytes + buffer.len}});
}

/// @param given  tuples of the arguments of `toParts`.
/// @param rows   the number of rows of each, or None for the only column alone.
Arrow makeArrow(nb::handle given, nb::handle rows) {
    std::vector<ArrowParts> columns;
    for (const nb::handle one : given) {
        const nb::tuple parts = nb::cast<nb::tuple>(one);
        columns.push_back(
            toParts(parts[0], nb::cast<HeldColumn&>(parts[1]), parts[2], parts[3], parts[4]));
    }
    return {std::make_shared<const ArrowParts>(
        rows.is_none() ? std::move(columns.at(0))
                       : toArrowTable(std::move(columns), countArgument(rows, "rows")))};
}

nb::tuple encodeTexts(const HeldColumn& self) {
    Encoded encoded = encode(*self.column);
    return nb::make_tuple(toNumPy(std::move(encoded.codes)),
                          nb::cast(HeldColumn{std::move(encoded.texts)}));
}

HeldColumn fillTexts(const HeldColumn& self, nb::handle text) {
    return {filled(*self.column, textArgument(text, "fill"))};
}

HeldColumn dropObjects(const HeldColumn& self) {
    return {withoutObjects(*self.column)};
}

} // namespace

void bindArrowExport(nb::module_& module, nb::class_<HeldColumn>& column) {
    column.def("encode", encodeTexts)
        .def("filled", fillTexts, arg("text"))
        .def("without_objects", dropObjects);
    nb::class_<Arrow>(module, "_Arrow")
        .def_static("make", makeArrow, arg("columns"), arg("rows"))
        .def("array", arrayCapsules)
        .def("schema", schemaCapsule)
        .def("stream", streamCapsule);
}

} // namespace ostrajson
