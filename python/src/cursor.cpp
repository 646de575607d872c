#include "document.hpp"

#include "arguments.hpp"
#include "arrays.hpp"
#include "docstrings.hpp"
#include "errors.hpp"
#include "gil.hpp"
#include "options.hpp"
#include "text_input.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include "platform/text_conversion.hpp"

#include <algorithm>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace ostrajson {

namespace {

using tree::LevelReader;

/// A cursor. It owns its document: a `LevelReader` holds the root by value and is built from a text
/// or a file only, so a cursor over a document stands in a copy of it.
struct Cursor {
    std::unique_ptr<LevelReader> reader;
    DocumentLock lock;
};

/// Uses a cursor, one thread at a time.
class Use {
public:
    enum class Gil { Keep, Release };

    explicit Use(Cursor& cursor, Gil gil = Gil::Release) : cursor_(cursor) {
        cursor_.lock.lock();
        if (gil == Gil::Release) {
            released_.emplace();
        }
    }
    ~Use() {
        released_.reset();
        cursor_.lock.unlock();
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    LevelReader* operator->() const { return cursor_.reader.get(); }

private:
    Cursor& cursor_;
    std::optional<GilReleased> released_;
};

std::unique_ptr<LevelReader> makeReader(std::string_view text, const std::string& name,
                                        const core::ReadJSONDocumentOptions& options) {
    try {
        const GilReleased released;
        return LevelReader::MakeStringReaderPtr(fl::i18n::utf8_to_ustring(text.data(), text.size()),
                                                options);
    } catch (const core::ParseError& error) {
        core::ParseErrorFields fields = error.fields();
        fields.source = name;
        raiseDecodeError(fields, excerpt(text, fields.byte));
    }
}

void makeCursor(Cursor* self, nb::handle text, nb::handle name, nb::handle comments,
                nb::handle trailingCommas, nb::handle allowNaN) {
    const TextInput input(text, "text");
    const std::string source(name.is_none() ? "" : textArgument(name, "name"));
    new (self) Cursor{
        makeReader(input.view(), source, readOptions(comments, trailingCommas, allowNaN)), {}};
}

void cd(Cursor& self, nb::handle index) {
    const std::size_t child = countArgument(index, "index");
    Use(self, Use::Gil::Keep)->cd(child);
}

void up(Cursor& self, nb::handle levels) {
    std::size_t count = countArgument(levels, "levels");
    const Use reader(self, Use::Gil::Keep);
    for (; count > 0; --count) {
        reader->cdup();
    }
}

bool find(Cursor& self, nb::handle name, nb::handle recursive) {
    const std::string key(textArgument(name, "name"));
    const bool everywhere = flagArgument(recursive, "recursive");
    return Use(self)->cdNodeName(key, everywhere);
}

bool go(Cursor& self, nb::handle pointer) {
    const std::string text(textArgument(pointer, "pointer"));
    try {
        return Use(self)->cdSelector(text);
    } catch (const foundation::core::except::IMsgIDException&) {
        PyErr_Clear();
    }
    raise(Error::Pointer, "not a JSON Pointer: \"" + text + "\"");
}

std::uint8_t kind(Cursor& self) {
    return static_cast<std::uint8_t>(Use(self, Use::Gil::Keep)->getCurrentType());
}

rapidjson::Type toType(std::size_t code) {
    return static_cast<rapidjson::Type>(static_cast<unsigned>(std::min<std::size_t>(code, 255)));
}

void setKind(Cursor& self, nb::handle kind) {
    const rapidjson::Type type = toType(countArgument(kind, "kind"));
    Use(self, Use::Gil::Keep)->setCurrentType(type);
}

// The lists, and the sets that take them back.

template <class T, std::vector<T> (LevelReader::*operation)() const>
nb::object list(Cursor& self) {
    std::vector<T> values = [&self] { return (Use(self).operator->()->*operation)(); }();
    return toNumPy(std::move(values));
}

template <class T, void (LevelReader::*operation)(const std::vector<T>&)>
void set(Cursor& self, nb::handle given) {
    const ArrayInput input(given, elementOf<T>, "values");
    const std::vector<T> copy(input.as<T>().begin(), input.as<T>().end());
    (Use(self).operator->()->*operation)(copy);
}

template <std::vector<std::u16string> (LevelReader::*operation)() const>
nb::list listTexts(Cursor& self) {
    const std::vector<std::u16string> texts = [&self] {
        return (Use(self).operator->()->*operation)();
    }();
    nb::list list;
    for (const std::u16string& text : texts) {
        list.append(toStr(text));
    }
    return list;
}

template <void (LevelReader::*operation)(const std::vector<std::u16string>&)>
void setTexts(Cursor& self, nb::handle given) {
    const std::vector<std::u16string> texts = toUtf16List(given, "values");
    (Use(self).operator->()->*operation)(texts);
}

nb::object kinds(Cursor& self) {
    const std::vector<rapidjson::Type> types = [&self] { return Use(self)->listValueTypes(); }();
    return toNumPy(std::vector<std::uint8_t>(types.begin(), types.end()));
}

void setKinds(Cursor& self, nb::handle given) {
    const ArrayInput input(given, Element::UInt8, "kinds");
    std::vector<rapidjson::Type> types;
    for (const std::uint8_t code : input.as<std::uint8_t>()) {
        types.push_back(toType(code));
    }
    Use(self)->setValueTypes(types);
}

nb::object numberTypes(Cursor& self) {
    const auto classes = [&self] { return Use(self)->listNumberTypes(); }();
    return toNumPy(std::vector<std::uint8_t>(classes.begin(), classes.end()));
}

void setNumberTypes(Cursor& self, nb::handle given) {
    const ArrayInput input(given, Element::UInt8, "number_types");
    std::vector<LevelReader::NumberType> classes;
    for (const std::uint8_t code : input.as<std::uint8_t>()) {
        classes.push_back(static_cast<LevelReader::NumberType>(code));
    }
    Use(self)->setNumberTypes(classes);
}

nb::str dumps(Cursor& self, nb::handle indent, nb::handle allowNaN) {
    const auto options = writeOptions(indent, allowNaN);
    const std::u16string text = [&] { return Use(self)->writeString(options); }();
    return toStr(text);
}

void writeFile(Cursor& self, nb::handle path, nb::handle indent, nb::handle allowNaN) {
    const nb::str name = pathArgument(path, "path");
    const auto options = writeOptions(indent, allowNaN);
    const std::u16string utf16 = toUtf16(name, "path");
    withFile(name, [&] { Use(self)->writeFile(utf16, options); });
}

} // namespace

void bindCursor(nb::module_& module) {
    nb::class_<Cursor>(module, "Cursor", doc::cursor)
        .def("__init__", makeCursor, arg("text"), nb::kw_only(), arg("name") = nb::none(),
             arg("comments") = false, arg("trailing_commas") = false, arg("allow_nan") = false)
        .def("cd", cd, arg("index"), doc::cd)
        .def("up", up, arg("levels") = 1, doc::up)
        .def("find", find, arg("name"), arg("recursive") = false, doc::find)
        .def("go", go, arg("pointer"), doc::go)
        .def_prop_ro("kind", kind, doc::kind)
        .def("set_kind", setKind, arg("kind"), doc::setKind)
        .def("doubles", list<double, &LevelReader::listDoubles>, doc::doubles)
        .def("uint64s", list<unsigned long, &LevelReader::listUint64s>, doc::uint64s)
        .def("int64s", list<long, &LevelReader::listInt64s>, doc::int64s)
        .def("strings", listTexts<&LevelReader::listStrings>, doc::strings)
        .def("keys", listTexts<&LevelReader::listKeyNames>, doc::cursorKeys)
        .def("kinds", kinds, doc::cursorKinds)
        .def("number_types", numberTypes, doc::numberTypes)
        .def("set_doubles", set<double, &LevelReader::setDoubles>, arg("values"), doc::setDoubles)
        .def("set_uint64s", set<unsigned long, &LevelReader::setUint64s>, arg("values"),
             doc::setUint64s)
        .def("set_int64s", set<long, &LevelReader::setInt64s>, arg("values"), doc::setInt64s)
        .def("set_strings", setTexts<&LevelReader::setStrings>, arg("values"), doc::setStrings)
        .def("set_keys", setTexts<&LevelReader::setKeyNames>, arg("values"), doc::cursorSetKeys)
        .def("set_kinds", setKinds, arg("kinds"), doc::cursorSetKinds)
        .def("set_number_types", setNumberTypes, arg("number_types"), doc::setNumberTypes)
        .def("dumps", dumps, nb::kw_only(), arg("indent") = nb::none(), arg("allow_nan") = false,
             doc::cursorDumps)
        .def("write", writeFile, arg("path"), nb::kw_only(), arg("indent") = nb::none(),
             arg("allow_nan") = false, doc::cursorWrite);
}

} // namespace ostrajson
