#include "document.hpp"

#include "arguments.hpp"
#include "arrow_text.hpp"
#include "docstrings.hpp"
#include "errors.hpp"
#include "json_text.hpp"
#include "options.hpp"
#include "python_values.hpp"
#include "text_input.hpp"

#include <string>

namespace ostrajson {

namespace {

nb::object loads(nb::handle text, nb::handle allowNaN, nb::handle bigInt) {
    const TextInput input(text, "text");
    const auto read = readOptions(Py_False, Py_False, allowNaN);
    const auto document = parseText(input.view(), {}, textOptions(Py_False, read, bigInt));
    return toPython(document->dom->document);
}

TextSink dump(nb::handle object, nb::handle indent, nb::handle sortKeys, nb::handle allowNaN,
              nb::handle fallback) {
    const auto form = writeOptions(indent, allowNaN);
    DumpOptions options;
    options.pretty = form.prettyPrint;
    options.indent.assign(form.indentText.begin(), form.indentText.end()); // spaces or tabs
    options.sortKeys = flagArgument(sortKeys, "sort_keys");
    options.allowNaN = form.allowNaNInf;
    if (!fallback.is_none() && PyCallable_Check(fallback.ptr()) == 0) {
        raiseType("default", "a callable", fallback);
    }
    options.fallback = nb::borrow(fallback);
    return toJson(object, options);
}

nb::str dumps(nb::handle object, nb::handle indent, nb::handle sortKeys, nb::handle allowNaN,
              nb::handle fallback) {
    return toStr(dump(object, indent, sortKeys, allowNaN, fallback).text());
}

nb::bytes dumpb(nb::handle object, nb::handle indent, nb::handle sortKeys, nb::handle allowNaN,
                nb::handle fallback) {
    const TextSink sink = dump(object, indent, sortKeys, allowNaN, fallback);
    return nb::bytes(sink.text().data(), sink.text().size());
}

} // namespace

void bindEveryday(nb::module_& module) {
    bindArrowInput(module);
    module.def("loads", loads, arg("text"), nb::kw_only(), arg("allow_nan") = false,
               arg("big_int") = "error", doc::loads);
    module.def("dumps", dumps, arg("obj"), nb::kw_only(), arg("indent") = nb::none(),
               arg("sort_keys") = false, arg("allow_nan") = false, arg("default") = nb::none(),
               doc::dumps);
    module.def("dumpb", dumpb, arg("obj"), nb::kw_only(), arg("indent") = nb::none(),
               arg("sort_keys") = false, arg("allow_nan") = false, arg("default") = nb::none(),
               doc::dumpb);
}

} // namespace ostrajson
