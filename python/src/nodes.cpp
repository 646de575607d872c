#include "document.hpp"

#include "arguments.hpp"
#include "arrays.hpp"
#include "docstrings.hpp"
#include "errors.hpp"
#include "python_values.hpp"

#include <nanobind/stl/shared_ptr.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace ostrajson {

namespace {

Nodes children(const Nodes& self) {
    const Reading reading(self, self.size());
    return self.derive(self.vector.get_children(), reading.generation());
}

/// Calls an operation that takes a JSON Pointer.
template <class Operation>
auto withPointer(nb::handle pointer, const Operation& operation) {
    const std::string text(textArgument(pointer, "pointer"));
    try {
        return operation(text);
    } catch (const std::invalid_argument& error) {
        raise(Error::Pointer, error.what());
    }
}

using Found = std::pair<Nodes, tree::NumericArray<bool>>;

Found find(const Nodes& self, nb::handle pointer) {
    return withPointer(pointer, [&self](const std::string& text) -> Found {
        const Reading reading(self, self.size());
        auto [found, missing] = self.vector.get_children(text);
        return {self.derive(std::move(found), reading.generation()), std::move(missing)};
    });
}

nb::tuple lookup(const Nodes& self, nb::handle pointer) {
    auto [found, missing] = find(self, pointer);
    return nb::make_tuple(std::move(found), toNumPy(std::move(missing)));
}

nb::tuple byName(const Nodes& self, nb::handle name) {
    const std::string text(textArgument(name, "name"));
    auto [found, missing] = [&]() -> Found {
        const Reading reading(self, muchWork);
        auto [nodes, misses] = self.vector.get_children_by_node_name(text);
        return {self.derive(std::move(nodes), reading.generation()), std::move(misses)};
    }();
    return nb::make_tuple(std::move(found), toNumPy(std::move(missing)));
}

nb::object pointerTo(const Nodes& self, nb::handle name) {
    const std::string text(textArgument(name, "name"));
    const std::optional<std::string> pointer = [&] {
        const Reading reading(self, muchWork);
        return self.vector.resolve_node_name_to_selector(text);
    }();
    return pointer ? nb::object(toStr(*pointer)) : nb::none();
}

nb::tuple flatten(const Nodes& self, nb::handle pointer) {
    using Flat = std::pair<Nodes, tree::NumericArray<std::uint64_t>>;
    auto [found, counts] = withPointer(pointer, [&self](const std::string& text) -> Flat {
        const Reading reading(self, muchWork);
        auto [scalars, sizes] = self.vector.get_children_exhaustive(text);
        return {self.derive(std::move(scalars), reading.generation()), std::move(sizes)};
    });
    // Signed, as NumPy wants the counts that `repeat` and `split` take.
    auto* const data = reinterpret_cast<std::int64_t*>(counts->data());
    const std::size_t size = counts->size();
    return nb::make_tuple(std::move(found), wrapArray(data, size, std::move(counts)));
}

void resize(const Nodes& self, nb::handle count) {
    const std::size_t elements = countArgument(count, "count");
    const Writing writing(self, [elements](const rapidjson::Value& node) {
        return node.IsArray() && !node.Empty() && node.Size() != elements;
    });
    tree::NodeVector(self.vector).set_number_of_children(elements);
}

Nodes at(const Nodes& self, Py_ssize_t index) {
    const auto size = static_cast<Py_ssize_t>(self.size());
    if (index < -size || index >= size) {
        throw nb::index_error(
            ("index " + std::to_string(index) + " for " + std::to_string(size) + " nodes").c_str());
    }
    const auto position = static_cast<std::size_t>(index < 0 ? index + size : index);
    return self.derive({self.vector.dom, {self.vector.nodes[position]}}, self.generation());
}

Nodes slice(const Nodes& self, nb::handle index) {
    Py_ssize_t begin = 0;
    Py_ssize_t end = 0;
    Py_ssize_t step = 0;
    if (PySlice_Unpack(index.ptr(), &begin, &end, &step) != 0) {
        throw nb::python_error();
    }
    const Py_ssize_t count =
        PySlice_AdjustIndices(static_cast<Py_ssize_t>(self.size()), &begin, &end, step);
    std::vector<rapidjson::Value*> picked;
    picked.reserve(static_cast<std::size_t>(count));
    for (Py_ssize_t i = 0; i < count; ++i) {
        picked.push_back(self.vector.nodes[static_cast<std::size_t>(begin + i * step)]);
    }
    return self.derive({self.vector.dom, std::move(picked)}, self.generation());
}

/// What a pointer finds in a node or more.
Nodes found(const Nodes& self, nb::handle pointer) {
    auto [nodes, missing] = find(self, pointer);
    if (nodes.size() == 0 && self.size() != 0) {
        PyErr_SetObject(PyExc_KeyError, pointer.ptr());
        throw nb::python_error();
    }
    return std::move(nodes);
}

Nodes item(const Nodes& self, nb::handle index) {
    if (PyUnicode_Check(index.ptr())) {
        return found(self, index);
    }
    if (PySlice_Check(index.ptr())) {
        return slice(self, index);
    }
    const bool isNumber = PyIndex_Check(index.ptr()) != 0 && PySequence_Check(index.ptr()) == 0;
    if (isNumber && !PyBool_Check(index.ptr())) {
        const Py_ssize_t position = PyNumber_AsSsize_t(index.ptr(), PyExc_IndexError);
        if (position == -1 && PyErr_Occurred() != nullptr) {
            throw nb::python_error();
        }
        return at(self, position);
    }
    return self.derive(self.vector.subset(*toPositions(index, self.size())), self.generation());
}

/// Goes through the nodes one by one.
struct NodesIterator {
    Nodes nodes;
    Py_ssize_t next = 0;
};

Nodes nextOf(NodesIterator& self) {
    if (self.next == static_cast<Py_ssize_t>(self.nodes.size())) {
        throw nb::stop_iteration();
    }
    return at(self.nodes, self.next++);
}

nb::list toList(const Nodes& self) {
    const Reading reading(self, 0);
    return toPythonList(self.vector.nodes);
}

bool isStale(const Nodes& self) {
    return self.lineage != nullptr && self.lineage->generation != self.document->generation;
}

std::string represent(const Nodes& self) {
    return "<ostrajson.Nodes: " + std::to_string(self.size()) +
           (self.size() == 1 ? " node" : " nodes") + (isStale(self) ? ", stale>" : ">");
}

} // namespace

void bindNodes(nb::module_& module) {
    nb::class_<NodesIterator>(module, "_NodesIterator")
        .def("__iter__", [](nb::handle self) { return nb::borrow(self); })
        .def("__next__", nextOf);

    nb::class_<Nodes> nodes(module, "Nodes", doc::nodes);
    nodes.def("__len__", &Nodes::size)
        .def("__iter__", [](const Nodes& self) { return NodesIterator{self}; })
        .def("__getitem__", item, arg("index"))
        .def("__repr__", represent)
        .def_prop_ro(
            "document", [](const Nodes& self) { return self.document; }, doc::nodesDocument)
        .def_prop_ro("stale", isStale, doc::stale)
        .def("children", children, doc::children)
        .def("lookup", lookup, arg("pointer"), doc::lookup)
        .def("by_name", byName, arg("name"), doc::byName)
        .def("pointer_to", pointerTo, arg("name"), doc::pointerTo)
        .def("flatten", flatten, arg("pointer") = "", doc::flatten)
        .def("resize", resize, arg("count"), doc::resize)
        .def("to_list", toList, doc::toList)
        .def("_to_plain", toList);
    bindNodeContent(nodes);
    bindColumns(module, nodes);
}

} // namespace ostrajson
