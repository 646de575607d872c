#include "commands.hpp"
#include "console.hpp"
#include "edits.hpp"
#include "options.hpp"
#include "read_columns.hpp"
#include "records.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <stdexcept>

namespace example {

namespace {

namespace tree = ostra::io::json::tree;

/// The children of the one array or object at `pointer`.
tree::NodeVector recordsAt(const std::shared_ptr<tree::DOM>& dom, const std::string& pointer) {
    const tree::NodeVector root{dom, {&dom->document}};
    const tree::NodeVector found = root.get_children(pointer).first;
    if (found.nodes.empty()) {
        throw std::runtime_error("nothing in the document at '" + pointer + "'");
    }
    const std::uint8_t type = found.get_types()->data()[0];
    if (type != rapidjson::kArrayType && type != rapidjson::kObjectType) {
        throw std::runtime_error("no array of records at '" + pointer + "'");
    }
    return found.get_children();
}

} // namespace

int columns(Arguments arguments) {
    auto known = documentOptions();
    known.insert({{"records", Takes::Value}, {"column", Takes::Value}, {"set", Takes::Value}});
#ifdef JSONTREE_READS_COLUMNS
    known.insert({{"lines", Takes::Nothing}, {"csv", Takes::Value}, {"json-lines", Takes::Value}});
#endif
    const Options options(arguments, known);
    const auto form = writeOptions(options);
    const auto pointer = options.value("records");
    if (!pointer && !options.has("lines")) {
        throw std::runtime_error("columns: which --records POINTER? See --help");
    }
#ifdef JSONTREE_READS_COLUMNS
    if (needsNoDocument(options)) {
        readColumns(options);
        return 0;
    }
    for (const char* const name : {"lines", "csv", "json-lines"}) {
        if (options.has(name)) {
            throw std::runtime_error(std::string("--") + name +
                                     " does not go with --set or --output");
        }
    }
#endif
    std::vector<Edit> edits;
    for (const std::string& edit : options.values("set")) {
        edits.push_back(parseEdit(edit));
    }

    const std::shared_ptr<tree::DOM> dom = tree::make_dom_ptr();
    *dom = tree::read_file(u16(options.file()), readOptions(options));
    tree::NodeVector records = recordsAt(dom, *pointer);

    print(printable(options.file() + (pointer->empty() ? "" : " " + *pointer)) + ": ");
    printRecords(records);
    for (const std::string& selector : options.values("column")) {
        print("\n");
        printColumn(records, selector);
    }
    for (const Edit& edit : edits) {
        print("\n");
        apply(edit, records);
    }
    if (const auto output = options.value("output")) {
        tree::write_file(*dom, u16(*output), form);
    }
    return 0;
}

} // namespace example
