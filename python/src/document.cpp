#include "document.hpp"

#include "arguments.hpp"
#include "docstrings.hpp"
#include "errors.hpp"
#include "options.hpp"
#include "python_values.hpp"
#include "text_input.hpp"

#include <ostra/io/json/columns/text_io.hpp>

#include "platform/file_io.hpp"

#include <nanobind/stl/shared_ptr.h>

#include <vector>

namespace ostrajson {

namespace columns = ostra::io::json::columns;

Nodes Nodes::root(std::shared_ptr<Document> document) {
    tree::NodeVector vector(document->dom, {&document->dom->document});
    return {std::move(document), std::move(vector), nullptr};
}

Nodes Nodes::derive(tree::NodeVector derived, std::uint64_t generation) const {
    const unsigned depth = lineage == nullptr ? 0 : lineage->depth + 1;
    const bool tooDeep = depth > Lineage::depthLimit;
    // clang 14 initialises no aggregates by parentheses.
    Lineage next = {generation, tooDeep ? nullptr : lineage, tooDeep ? 0 : depth};
    return {document, std::move(derived), std::make_shared<Lineage>(std::move(next))};
}

namespace {

void requireCurrent(const Nodes& nodes) {
    if (nodes.lineage != nullptr && nodes.lineage->generation != nodes.document->generation) {
        raise(Error::StaleNodes,
              "a later change of the document moved or dropped values: look the nodes up again");
    }
}

} // namespace

Reading::Reading(Document& document, std::size_t work) : document_(document) {
    document_.lock.lockShared();
    if (work >= worthReleasing) {
        released_.emplace();
    }
}

Reading::Reading(const Nodes& nodes, std::size_t work) : document_(*nodes.document) {
    document_.lock.lockShared();
    try {
        requireCurrent(nodes);
    } catch (...) {
        document_.lock.unlockShared();
        throw;
    }
    if (work >= worthReleasing) {
        released_.emplace();
    }
}

Reading::~Reading() {
    released_.reset();
    document_.lock.unlockShared();
}

void Writing::begin() {
    nodes_.document->lock.lock();
    try {
        requireCurrent(nodes_);
    } catch (...) {
        nodes_.document->lock.unlock();
        throw;
    }
    if (nodes_.size() >= worthReleasing) {
        released_.emplace();
    }
}

Writing::~Writing() {
    released_.reset();
    if (restructured_) {
        const std::uint64_t before = nodes_.document->generation++;
        for (Lineage* one = nodes_.lineage.get(); one != nullptr; one = one->parent.get()) {
            if (one->generation == before) {
                ++one->generation;
            }
        }
    }
    nodes_.document->lock.unlock();
}

std::shared_ptr<Document> parseText(std::string_view text, const std::string& name,
                                    const TextOptions& options) {
    auto document = std::make_shared<Document>();
    std::optional<GilReleased> released;
    if (text.size() >= TextInput::smallText) {
        released.emplace();
    }
    try {
        const columns::TextOptions how{
            .syntax = options.read, .big_integers = options.bigIntegers, .name = name};
        *document->dom =
            options.lines ? columns::read_lines(text, how) : columns::read_utf8(text, how);
    } catch (const core::ParseError& error) {
        released.reset();
        raiseDecodeError(error.fields(), excerpt(text, error.fields().byte));
    }
    return document;
}

namespace {

std::shared_ptr<Document> parse(nb::handle text, nb::handle name, nb::handle lines,
                                nb::handle comments, nb::handle trailingCommas, nb::handle allowNaN,
                                nb::handle bigInt) {
    const TextInput input(text, "text");
    const TextOptions options =
        textOptions(lines, readOptions(comments, trailingCommas, allowNaN), bigInt);
    return parseText(input.view(),
                     name.is_none() ? std::string() : std::string(textArgument(name, "name")),
                     options);
}

std::shared_ptr<Document> readFile(nb::handle path, nb::handle lines, nb::handle comments,
                                   nb::handle trailingCommas, nb::handle allowNaN,
                                   nb::handle bigInt) {
    const nb::str name = pathArgument(path, "path");
    const TextOptions options =
        textOptions(lines, readOptions(comments, trailingCommas, allowNaN), bigInt);
    const std::u16string utf16 = toUtf16(name, "path");
    const std::vector<char> bytes = withFile(name, [&utf16] {
        const GilReleased released;
        return ostra::io::common::file::readall(utf16);
    });
    return parseText({bytes.data(), bytes.size()}, nb::cast<std::string>(name), options);
}

nb::object toObject(Document& self) {
    const Reading reading(self, 0);
    return toPython(self.dom->document);
}

columns::Utf8Text textOf(Document& self, nb::handle indent, nb::handle allowNaN, nb::handle lines) {
    const auto options = writeOptions(indent, allowNaN);
    const bool areLines = flagArgument(lines, "lines");
    if (areLines && options.prettyPrint) {
        raiseValue("indent", "lines have none");
    }
    const Reading reading(self, muchWork);
    return areLines ? columns::write_lines(self.dom->document, options.allowNaNInf)
                    : columns::write_utf8(self.dom->document, options);
}

nb::str dumps(Document& self, nb::handle indent, nb::handle allowNaN, nb::handle lines) {
    return toStr(textOf(self, indent, allowNaN, lines).view());
}

nb::bytes dumpb(Document& self, nb::handle indent, nb::handle allowNaN, nb::handle lines) {
    const columns::Utf8Text text = textOf(self, indent, allowNaN, lines);
    return nb::bytes(text.data(), text.size());
}

void writeFile(Document& self, nb::handle path, nb::handle indent, nb::handle allowNaN) {
    const nb::str name = pathArgument(path, "path");
    const auto options = writeOptions(indent, allowNaN);
    const std::u16string utf16 = toUtf16(name, "path");
    withFile(name, [&] {
        const Reading reading(self, muchWork);
        tree::write_file(*self.dom, utf16, options);
    });
}

/// Replaces a file by bytes; if that fails, the file is as it was.
void writeBytes(nb::handle path, nb::handle content) {
    const nb::str name = pathArgument(path, "path");
    const std::u16string utf16 = toUtf16(name, "path");
    const TextInput input(content, "content");
    withFile(name, [&] {
        const GilReleased released;
        ostra::io::common::file::writeall(utf16, input.view().data(), input.view().size());
    });
}

} // namespace

void bindDocument(nb::module_& module) {
    nb::class_<Document> document(module, "Document", nb::is_weak_referenceable(), doc::document);
    document
        .def_prop_ro(
            "root", [](std::shared_ptr<Document> self) { return Nodes::root(std::move(self)); },
            doc::root)
        .def("dumps", dumps, nb::kw_only(), arg("indent") = nb::none(), arg("allow_nan") = false,
             arg("lines") = false, doc::documentDumps)
        .def("dumpb", dumpb, nb::kw_only(), arg("indent") = nb::none(), arg("allow_nan") = false,
             arg("lines") = false, doc::documentDumpb)
        .def("to_python", toObject, doc::toPython)
        .def("_to_plain", toObject)
        .def("_write_file", writeFile, arg("path"), arg("indent"), arg("allow_nan"));
    addPython(document, "ostrajson._documents");
    module.def("parse", parse, arg("text"), nb::kw_only(), arg("name") = nb::none(),
               arg("lines") = false, arg("comments") = false, arg("trailing_commas") = false,
               arg("allow_nan") = false, arg("big_int") = "float", doc::parse);
    module.def("_write_bytes", writeBytes, arg("path"), arg("content"));
    module.def("_read_file", readFile, arg("path"), arg("lines"), arg("comments"),
               arg("trailing_commas"), arg("allow_nan"), arg("big_int"));
}

} // namespace ostrajson
