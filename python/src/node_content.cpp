#include "document.hpp"

#include "arguments.hpp"
#include "arrays.hpp"
#include "docstrings.hpp"
#include "errors.hpp"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

namespace ostrajson {

namespace {

nb::list toStrList(const Tarvel::String::String& texts) {
    nb::list list;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        const auto text = texts.get(i);
        list.append(text ? nb::object(toStr(*text)) : nb::none());
    }
    return list;
}

/// @param given  a sequence of str, or also of None if `mayMiss`; not a single str.
tree::StringArray toStrings(nb::handle given, const char* name) {
    const nb::object items = toSequence(given, name);
    const auto size = static_cast<std::size_t>(PySequence_Fast_GET_SIZE(items.ptr()));
    const std::array<std::size_t, 2> dims = {size, 1};
    tree::StringArray texts = Tarvel::String::make_String(dims.size(), dims.data());
    for (std::size_t i = 0; i < size; ++i) {
        const nb::handle item = PySequence_Fast_GET_ITEM(items.ptr(), static_cast<Py_ssize_t>(i));
        if (!item.is_none()) {
            texts->set(i, toUtf16(item, name));
        }
    }
    return texts;
}

nb::list keys(const Nodes& self) {
    const tree::StringArray names = [&self] {
        const Reading reading(self, self.size());
        return self.vector.get_keys();
    }();
    return toStrList(*names);
}

/// Runs an operation that needs texts, none of them missing.
template <class Operation>
void withTexts(const char* argument, const Operation& operation) {
    bool missing = false;
    try {
        operation();
    } catch (const foundation::core::except::IMsgIDException&) {
        missing = true;
    }
    if (missing) {
        raiseValue(argument, "an element is None where a text is needed");
    }
}

void setKeys(const Nodes& self, nb::handle given) {
    const tree::StringArray names = toStrings(given, "keys");
    withTexts("keys", [&] {
        const Writing writing(self, [](const rapidjson::Value& node) {
            return node.IsObject() && !node.ObjectEmpty();
        });
        tree::NodeVector(self.vector).set_keys(*names);
    });
}

nb::object kinds(const Nodes& self) {
    tree::NumericArray<std::uint8_t> types = [&self] {
        const Reading reading(self, self.size());
        return self.vector.get_types();
    }();
    return toNumPy(std::move(types));
}

void setKinds(const Nodes& self, nb::handle given) {
    if (PyLong_Check(given.ptr())) { // one for all
        const nb::object all = numpy("full")(self.size(), given);
        setKinds(self, all);
        return;
    }
    const auto types = toColumn<std::uint8_t>(given, "kinds");
    if (types->size() != self.size()) {
        raiseValue("kinds", std::to_string(types->size()) + " kinds for " +
                                std::to_string(self.size()) + " nodes");
    }
    const Writing writing(self, hasEntries);
    tree::NodeVector(self.vector).set_types(types);
}

nb::object getData(const Nodes& self) {
    tree::NodeVectorData data = [&self] {
        const Reading reading(self, self.size());
        return self.vector.get_data();
    }();
    const nb::list strings = toStrList(*data.strings);
    return nb::module_::import_("ostrajson._types")
        .attr("NodeData")(toNumPy(std::move(data.types)), toNumPy(std::move(data.number_types)),
                          strings, toNumPy(std::move(data.doubles)),
                          toNumPy(std::move(data.uint64s)), toNumPy(std::move(data.int64s)));
}

nb::object field(nb::handle data, const char* name) {
    const nb::object value = nb::getattr(data, name, nb::object());
    if (!value.is_valid()) {
        raiseType("data", "a NodeData", data);
    }
    return value;
}

void setData(const Nodes& self, nb::handle given) {
    tree::NodeVectorData data;
    data.types = toColumn<std::uint8_t>(field(given, "types"), "types");
    data.number_types = toColumn<std::uint8_t>(field(given, "number_types"), "number_types");
    data.strings = toStrings(field(given, "strings"), "strings");
    data.doubles = toColumn<double>(field(given, "doubles"), "doubles");
    data.uint64s = toColumn<std::uint64_t>(field(given, "uint64s"), "uint64s");
    data.int64s = toColumn<std::int64_t>(field(given, "int64s"), "int64s");
    withTexts("strings", [&] {
        const Writing writing(self, hasEntries);
        tree::NodeVector(self.vector).set_data(data);
    });
}

} // namespace

void bindNodeContent(nb::class_<Nodes>& nodes) {
    nodes.def("keys", keys, doc::keys)
        .def("set_keys", setKeys, arg("keys"), doc::setKeys)
        .def("kinds", kinds, doc::kinds)
        .def("set_kinds", setKinds, arg("kinds"), doc::setKinds)
        .def("get_data", getData, doc::getData)
        .def("set_data", setData, arg("data"), doc::setData);
}

} // namespace ostrajson
