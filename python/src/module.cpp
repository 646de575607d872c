#include "arrays.hpp"
#include "document.hpp"
#include "errors.hpp"
#include "gil.hpp"

NB_MODULE(_core, module) {
    using namespace ostrajson;
    // Objects that a program keeps until its end are not leaks of ours to print.
    nb::set_leak_warnings(false);
    module.attr("__version__") = OSTRAJSON_VERSION;
    bindErrors(module);
    bindArrays();
    bindDocument(module);
    bindNodes(module);
    bindReading(module);
    bindCursor(module);
    bindEveryday(module);
    nb::module_::import_("atexit").attr("register")(nb::cpp_function(endOperations));
}
