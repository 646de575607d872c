#include "columns.hpp"

#include "arguments.hpp"
#include "errands.hpp"
#include "errors.hpp"
#include "gil.hpp"
#include "text_input.hpp"

#include <ostra/io/json/columns/find_fields.hpp>
#include <ostra/io/json/columns/read_columns.hpp>

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <unistd.h>
#include <utility>

namespace ostrajson {

namespace {

/// Python's reference to something, dropped on whatever thread the library drops the last copy.
std::shared_ptr<nb::object> shareable(nb::object object) {
    return {new nb::object(std::move(object)), [](nb::object* kept) {
                const GilHeld acquired;
                delete kept;
            }};
}

/// Bytes of a buffer, one stretch after the other. They are copied when they are read: changing
/// them meanwhile gives a nonsensical text, and nothing worse.
columns::Source::Read readBuffer(nb::handle given) {
    auto buffer = std::shared_ptr<Py_buffer>(new Py_buffer{}, [](Py_buffer* kept) {
        const GilHeld acquired;
        if (kept->obj != nullptr) {
            PyBuffer_Release(kept);
        }
        delete kept;
    });
    if (PyObject_GetBuffer(given.ptr(), buffer.get(), PyBUF_CONTIG_RO) != 0) {
        throw nb::python_error();
    }
    return [buffer, done = std::size_t{0}](char* to, std::size_t size) mutable {
        const std::size_t count = std::min(size, static_cast<std::size_t>(buffer->len) - done);
        std::copy_n(static_cast<const char*>(buffer->buf) + done, count, to);
        done += count;
        return count;
    };
}

/// Has a file object read once.
/// @return what was read beyond `size` bytes: a text is encoded, and may then be more.
std::string readOnce(nb::handle read, char* to, std::size_t size, std::size_t& count) {
    const nb::object part = read(size);
    if (part.is_none()) {
        PyErr_SetString(PyExc_BlockingIOError, "source: read() gave None: nothing is there");
        throw nb::python_error();
    }
    const TextInput input(part, "source: read()");
    count = std::min(size, input.view().size());
    std::copy_n(input.view().data(), count, to);
    return std::string(input.view().substr(count));
}

/// What a file object reads.
columns::Source::Read readFile(nb::handle file, const std::shared_ptr<Errands>& errands) {
    const auto read = shareable(nb::getattr(file, "read"));
    return [read, errands, rest = std::string()](char* to, std::size_t size) mutable {
        std::size_t count = std::min(size, rest.size());
        if (rest.empty()) {
            errands->call([&] { rest = readOnce(*read, to, size, count); });
            return count;
        }
        std::copy_n(rest.data(), count, to);
        rest.erase(0, count);
        return count;
    };
}

/// Where the text comes from, and what Python holds of it meanwhile.
struct Input {
    columns::Source source;
    nb::object given;                 // a path, a buffer, or a file object
    std::shared_ptr<Errands> errands; // of a file object
    std::size_t begin = 0;            // of the text in a file
};

std::string encodedPath(nb::handle path) {
    PyObject* encoded = nullptr;
    if (PyUnicode_FSConverter(path.ptr(), &encoded) == 0) { // refuses NUL characters
        throw nb::python_error();
    }
    return PyBytes_AS_STRING(nb::object(nb::steal(encoded)).ptr());
}

Input toInput(nb::handle given, const std::string& name) {
    PyObject* const o = given.ptr();
    if (PyUnicode_Check(o)) {
        return {columns::Source::file(encodedPath(given)), nb::borrow(given), nullptr};
    }
    if (PyTuple_Check(o)) { // some bytes of a file: where they begin and end
        const nb::object path = given[0];
        const std::size_t begin = countArgument(nb::object(given[1]), "begin");
        const std::size_t end = countArgument(nb::object(given[2]), "end");
        return {columns::Source::file(encodedPath(path), begin, end - begin), path, nullptr, begin};
    }
    if (PyBytes_Check(o)) {
        const std::string_view text(PyBytes_AS_STRING(o),
                                    static_cast<std::size_t>(PyBytes_GET_SIZE(o)));
        return {columns::Source::memory(text, name), nb::borrow(given), nullptr};
    }
    if (PyObject_CheckBuffer(o) != 0) {
        columns::Source::Read read = readBuffer(given);
        const auto size = static_cast<std::size_t>(PyObject_Size(o));
        return {columns::Source::stream(std::move(read), name, size), nb::borrow(given), nullptr};
    }
    const auto errands = std::make_shared<Errands>();
    return {columns::Source::stream(readFile(given, errands), name), nb::borrow(given), errands};
}

/// What stands in the input around a place; nothing if it cannot be read again.
std::string around(const Input& input, std::size_t place) {
    const std::size_t begin = place - std::min(place, excerptReach);
    std::string text(2 * excerptReach, '\0');
    PyObject* const given = input.given.ptr();
    std::size_t size = 0;
    if (PyUnicode_Check(given)) {
        const nb::bytes path = nb::steal<nb::bytes>(PyUnicode_EncodeFSDefault(given));
        // A pipe must not wait for somebody who writes into it.
        const int file =
            path.is_valid() ? ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK) : -1;
        if (file >= 0) {
            const ssize_t got =
                ::pread(file, text.data(), text.size(), static_cast<off_t>(input.begin + begin));
            size = got > 0 ? static_cast<std::size_t>(got) : 0;
            ::close(file);
        }
    } else if (PyObject_CheckBuffer(given) != 0) {
        Py_buffer buffer{};
        if (PyObject_GetBuffer(given, &buffer, PyBUF_CONTIG_RO) == 0) {
            const auto all = static_cast<std::size_t>(buffer.len);
            size = std::min(text.size(), all - std::min(begin, all));
            std::copy_n(static_cast<const char*>(buffer.buf) + std::min(begin, all), size,
                        text.begin());
            PyBuffer_Release(&buffer);
        }
    }
    PyErr_Clear();
    text.resize(size);
    return text;
}

/// Lets signals in, and tells Python how far things are.
/// @param errands  null if the calling thread is told, as is the rule.
std::function<bool(const columns::Progress&)> toProgress(nb::handle callback,
                                                         const std::shared_ptr<Errands>& errands) {
    const auto tell = shareable(nb::borrow(callback));
    const auto report = [tell](const columns::Progress& progress) {
        if (isToEnd()) {
            throw columns::Cancelled();
        }
        if (PyErr_CheckSignals() != 0) {
            throw nb::python_error();
        }
        if (!tell->is_none()) {
            const nb::object total =
                progress.total ? nb::object(nb::int_(*progress.total)) : nb::none();
            (*tell)(progress.bytes, total, progress.records);
        }
    };
    if (errands == nullptr) {
        return [report](const columns::Progress& progress) {
            const GilHeld acquired;
            report(progress);
            return true;
        };
    }
    if (callback.is_none()) { // signals are let in where errands are waited for
        return {};
    }
    return [report, errands](const columns::Progress& progress) {
        errands->call([&] { report(progress); });
        return true;
    };
}

columns::ReadOptions toOptions(nb::handle given, const std::shared_ptr<Errands>& errands) {
    const auto option = [&given](const char* name) { return nb::object(given[name]); };
    columns::ReadOptions options;
    options.syntax =
        readOptions(option("comments"), option("trailing_commas"), option("allow_nan"));
    options.form =
        flagArgument(option("lines"), "lines") ? columns::Form::Lines : columns::Form::Document;
    const nb::object records = option("records");
    options.pointer = textArgument(records, "records");
    try {
        core::validate_selector(options.pointer);
    } catch (const std::invalid_argument& error) {
        raise(Error::Pointer, std::string("records: ") + error.what());
    }
    options.keys = flagArgument(option("keys"), "keys");
    options.bad_lines = flagArgument(option("skip_bad"), "skip_bad") ? columns::BadLines::Skip
                                                                     : columns::BadLines::Raise;
    options.huge_integers = flagArgument(option("big_floats"), "big_floats")
                                ? columns::HugeIntegers::AsDouble
                                : columns::HugeIntegers::Exact;
    options.index_arrays = flagArgument(option("index_arrays"), "index_arrays");
    options.threads = countArgument(option("threads"), "threads");
    options.block_size = countArgument(option("block_bytes"), "block_bytes");
    options.progress = toProgress(option("progress"), errands);
    return options;
}

/// Keeps the calling thread from going on if the program is ending.
void stayIfEnding() {
    if (isToEnd()) {
        PyEval_SaveThread();
        waitForTheEnd();
    }
}

/// Runs a reading operation without the GIL.
template <class Read>
auto reading(const Input& input, const Read& operation) {
    int number = 0;
    stayIfEnding();
    try {
        return withColumns([&] {
            if (input.errands != nullptr) {
                std::optional<decltype(operation())> result;
                input.errands->serve([&] { result.emplace(operation()); });
                return std::move(*result);
            }
            const GilReleased released;
            return operation();
        });
    } catch (const columns::Cancelled&) {
        stayIfEnding();
        throw;
    } catch (const core::ParseError& error) {
        raiseDecodeError(error.fields(), around(input, error.fields().byte));
    } catch (const std::system_error& error) {
        number = error.code().value();
    } catch (const std::runtime_error& error) {
        // The file changed while it was read, or the pointer leads to nothing.
        const bool isRead = std::string_view(error.what()).starts_with("cannot read");
        PyErr_SetString(isRead ? PyExc_OSError : PyExc_LookupError, error.what());
        throw nb::python_error();
    }
    raiseSystemError(number, PyUnicode_Check(input.given.ptr()) ? input.given : nb::none());
}

nb::tuple toPythonColumns(columns::RecordColumns read, const Input& input) {
    nb::list list;
    for (columns::Column& column : read.columns) {
        list.append(nb::cast(hold(std::move(column))));
    }
    nb::list errors;
    for (const core::ParseErrorFields& fields : read.bad_line_list) {
        errors.append(decodeError(fields, around(input, fields.byte)));
    }
    const nb::object keys = read.keys ? nb::cast(hold(std::move(*read.keys))) : nb::none();
    return nb::make_tuple(list, keys, read.records, read.bad_lines, errors);
}

nb::tuple readColumns(nb::handle source, nb::handle name, nb::handle fields, nb::handle options) {
    const Input input = toInput(source, std::string(textArgument(name, "name")));
    const std::vector<columns::Field> wanted = toFields(fields);
    const columns::ReadOptions how = toOptions(options, input.errands);
    return toPythonColumns(
        reading(input, [&] { return columns::read_columns(input.source, wanted, how); }), input);
}

/// @return (path, pointer, what to want, None or "flatten", whether objects stand beside the
/// values)
///         of each field.
nb::list findFields(nb::handle source, nb::handle name, nb::handle options, nb::handle maxDepth,
                    nb::handle maxFields) {
    const Input input = toInput(source, std::string(textArgument(name, "name")));
    const columns::ReadOptions how = toOptions(options, input.errands);
    columns::FieldSearch search;
    if (!maxDepth.is_none()) {
        search.max_depth = countArgument(maxDepth, "max_depth");
    }
    search.max_fields = countArgument(maxFields, "max_fields");
    if (search.max_depth == 0) {
        raiseValue("max_depth", "expected 1 or more");
    }
    const std::vector<columns::FoundField> found = [&] {
        try {
            return reading(input, [&] { return columns::find_fields(input.source, search, how); });
        } catch (const std::length_error& error) {
            raiseValue("fields", error.what());
        }
    }();
    nb::list list;
    for (const columns::FoundField& field : found) {
        nb::list path;
        for (const std::string& key : field.path) {
            path.append(toStr(key));
        }
        const bool isList = field.type.layout == columns::Layout::List;
        list.append(nb::make_tuple(path, toStr(field.pointer), toStr(nameOf(field.type.want)),
                                   isList ? nb::object(nb::str("flatten")) : nb::none(),
                                   field.has_objects));
    }
    return list;
}

/// Batches of columns, one Python thread at a time.
struct BatchReader {
    Input input;
    columns::ColumnReader reader;
    DocumentLock lock;
};

void makeBatchReader(BatchReader* self, nb::handle source, nb::handle name, nb::handle fields,
                     nb::handle options, nb::handle rows, nb::handle bytes) {
    Input input = toInput(source, std::string(textArgument(name, "name")));
    const std::vector<columns::Field> wanted = toFields(fields);
    const columns::ReadOptions how = toOptions(options, input.errands);
    const columns::BatchSize batch{.records = countArgument(rows, "batch_rows"),
                                   .bytes = countArgument(bytes, "batch_bytes")};
    columns::ColumnReader reader =
        reading(input, [&] { return columns::ColumnReader(input.source, wanted, how, batch); });
    new (self) BatchReader{std::move(input), std::move(reader), {}};
}

nb::object nextBatch(BatchReader& self) {
    struct Hold {
        explicit Hold(DocumentLock& held) : lock(held) { lock.lock(); }
        ~Hold() { lock.unlock(); }
        DocumentLock& lock;
    };
    std::optional<columns::RecordColumns> batch = [&self] {
        const Hold hold(self.lock);
        return reading(self.input, [&self] { return self.reader.next(); });
    }();
    return batch ? nb::object(toPythonColumns(std::move(*batch), self.input)) : nb::none();
}

} // namespace

void bindReading(nb::module_& module) {
    module.def("_read_columns", readColumns, arg("source"), arg("name"), arg("fields"),
               arg("options"));
    module.def("_find_fields", findFields, arg("source"), arg("name"), arg("options"),
               arg("max_depth"), arg("max_fields"));
    nb::class_<BatchReader>(module, "_BatchReader")
        .def("__init__", makeBatchReader, arg("source"), arg("name"), arg("fields"), arg("options"),
             arg("batch_rows"), arg("batch_bytes"))
        .def("next", nextBatch);
}

} // namespace ostrajson
