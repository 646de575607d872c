#pragma once

/// Every public operation as one table: what a failing machine, many threads and unusual hosts are
/// tried on.

#include "support/files.hpp"
#include "support/text.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// What an operation works on: a document of many records under a node vector, the same document
/// under a cursor, and a file.
struct Subject {
    Subject(std::size_t records, const std::string& file) : path(u16(file)) {
        std::string json = "[";
        for (std::size_t i = 0; i < records; ++i) {
            const std::string n = std::to_string(i);
            json += i == 0 ? "" : ",";
            json += R"({"id":)" + n;
            json += R"(,"name":"text number )" + n;
            json += R"( is a long one","unit":"","note":"a note of more than 21 bytes")";
            json +=
                R"(,"big":9007199254740993,"neg":-9007199254740993,"pos":[0.5,[null,"\u00e9"]])";
            json += R"(,"a key that is a long one":{"deep":[{"id":1}]}})";
        }
        text = u16(json + "]");
        *dom = tree::read_string(text, {});
        nodes = tree::NodeVector(dom, {&dom->document}).get_children();
        values = nodes.get_children();
        reader = tree::LevelReader::MakeStringReaderPtr(text, {});
        reader->cd(records / 2);
        top = tree::LevelReader::MakeStringReaderPtr(text, {});
        record = values.get_data();
        names = Tarvel::String::make_String(1, std::array<std::size_t, 1>{3}.data());
        for (std::size_t i = 0; i < 3; ++i) {
            names->set(i, u"a name of more than 21 bytes" + std::u16string(i, u'+'));
        }
        for (std::size_t i = 0; i < record.strings->size(); ++i) {
            record.strings->set(i, u"a replacement of more than 21 bytes");
        }
        indices.reset(
            static_cast<matrix::typed_vector<unsigned long>*>(matrix::detail::do_create_numeric(
                std::array{records, std::size_t{1}}, qxUINT64_CLASS, qxREAL)));
        indices->data()[0] = records - 1;
        writeBytes(file, u8(text));
    }

    /// Both documents and the cursor's place, as text. The cursor goes to the top.
    std::string state() {
        std::string all = textOf(*dom) + '\n' + textOf(*top) + '\n' + textOf(*reader);
        for (int up = 0; up < 9; ++up) {
            reader->cdup();
        }
        return all + '\n' + textOf(*reader) + '\n' + contentOf(u8(path));
    }

    std::u16string path, text;
    std::shared_ptr<tree::DOM> dom = tree::make_dom_ptr();
    tree::NodeVector nodes;                    // the records
    tree::NodeVector values;                   // and what they hold, 9 each
    std::unique_ptr<tree::LevelReader> reader; // on a record
    std::unique_ptr<tree::LevelReader> top;    // on the array of records
    tree::NodeVectorData record;
    tree::StringArray names;
    tree::NumericArray<unsigned long> indices;
};

/// Called around every operation, but not around what the tests do with its answer.
inline void (*beforeOperation)() = [] {};
inline void (*afterOperation)() = [] {};

/// What an operation answered, as text.
struct Shown {
    std::string text;
    Shown(bool found) : text(found ? "yes" : "no") {}
    Shown(const std::u16string& answer) : text(u8(answer)) {}
    Shown(const std::optional<std::string>& answer) : text(answer.value_or("none")) {}
    Shown(const tree::DOM& dom) : text(textOf(dom)) {}
    Shown(const std::shared_ptr<tree::DOM>& dom) : Shown(*dom) {}
    Shown(const tree::LevelReader& at) : text(textOf(at)) {}
    Shown(const std::unique_ptr<tree::LevelReader>& at) : Shown(*at) {}
    Shown(const tree::NodeVector& nodes) {
        for (const rapidjson::Value* node : nodes.nodes) {
            text += textOf(*node) + ' ';
        }
    }
    template <class T>
    Shown(const std::vector<T>& values) {
        for (const T& value : values) {
            if constexpr (std::is_same_v<T, std::u16string>) {
                text += u8(value) + ' ';
            } else {
                text += std::to_string(value) + ' ';
            }
        }
    }
    template <class T>
    Shown(const tree::NumericArray<T>& array)
        : Shown(std::vector<T>(array->data(), array->data() + array->size())) {}
    Shown(const tree::StringArray& array) {
        for (std::size_t i = 0; i < array->size(); ++i) {
            text += u8(*array->get(i)) + ' ';
        }
    }
    Shown(const tree::NodeVectorData& data) {
        for (const Shown& one : {Shown(data.types), Shown(data.number_types), Shown(data.strings),
                                 Shown(data.doubles), Shown(data.uint64s), Shown(data.int64s)}) {
            text += one.text;
        }
    }
    template <class Column>
    Shown(const std::pair<tree::NodeVector, Column>& found)
        : text(Shown(found.first).text + Shown(found.second).text) {}
};

/// One public operation.
struct Operation {
    std::string name;

    /// Calls it and returns what it answered. If it may leave part of its work behind when it
    /// fails, `most` limits it to its first so many values; the others ignore that.
    std::function<std::string(Subject&, std::size_t most)> run;

    std::size_t parts = 0; ///< the values it may have got through when it fails; 0: all or nothing
};

template <class Run>
Operation operation(std::string name, Run run, std::size_t parts = 0) {
    struct Around {
        Around() { beforeOperation(); }
        ~Around() { afterOperation(); }
    };
    const auto shownRun = [run](Subject& subject, std::size_t most) {
        const auto call = [&] {
            const Around around;
            return run(subject, most);
        };
        if constexpr (std::is_void_v<decltype(call())>) {
            call();
            return std::string();
        } else {
            const auto answer = call();
            return Shown(answer).text;
        }
    };
    return {std::move(name), shownRun, parts};
}

template <class T>
std::vector<T> firstOf(std::vector<T> values, std::size_t most) {
    values.resize(std::min(most, values.size()));
    return values;
}

inline const std::vector<Operation>& operations() {
    using S = Subject&;
    using N = std::size_t;
    using Reader = tree::LevelReader;
    static const std::u16string longText = u"one text of more than 21 bytes";
    static const std::vector<std::u16string> texts = {longText, u"short", longText + u"!"};
    static const WriteOptions pretty = {false, true, u" "};
    static const std::vector<Operation> all = {
        operation("make_dom_ptr", [](S, N) { return tree::make_dom_ptr(); }),
        operation("read_string", [](S s, N) { return tree::read_string(s.text, {}); }),
        operation("read_file", [](S s, N) { return tree::read_file(s.path, {}); }),
        operation("write_string", [](S s, N) { return tree::write_string(*s.dom, {}); }),
        operation("write_file", [](S s, N) { tree::write_file(*s.dom, s.path, pretty); }),

        operation("MakeStringReader", [](S s, N) { return Reader::MakeStringReader(s.text, {}); }),
        operation("MakeFileReader", [](S s, N) { return Reader::MakeFileReader(s.path, {}); }),
        operation("MakeStringReaderPtr",
                  [](S s, N) { return Reader::MakeStringReaderPtr(s.text, {}); }),
        operation("MakeFileReaderPtr",
                  [](S s, N) { return Reader::MakeFileReaderPtr(s.path, {}); }),
        operation("cd", [](S s, N) { s.reader->cd(6); }),
        operation("cdup", [](S s, N) { s.reader->cdup(); }),
        operation("cdNodeName", [](S s, N) { return s.reader->cdNodeName("deep", true); }),
        operation("cdNodeName, UTF-16", [](S s, N) { return s.reader->cdNodeName(u"pos", false); }),
        operation("cdSelector", [](S s, N) { return s.reader->cdSelector("/pos/1/1"); }),
        operation("cdSelector, UTF-16", [](S s, N) { return s.reader->cdSelector(u"/pos/1/1"); }),
        operation("cdSelector, malformed",
                  [](S s, N) {
                      try {
                          return s.reader->cdSelector("/a selector of some length/~");
                      } catch (const foundation::core::except::IMsgIDException&) {
                          return false;
                      }
                  }),
        operation("setCurrentType",
                  [](S s, N) { s.reader->setCurrentType(rapidjson::kArrayType); }),
        operation("writeString", [](S s, N) { return s.reader->writeString(pretty); }),
        operation("writeFile", [](S s, N) { s.reader->writeFile(s.path, {}); }),
        operation("listDoubles", [](S s, N) { return s.reader->listDoubles(); }),
        operation("listUint64s", [](S s, N) { return s.reader->listUint64s(); }),
        operation("listInt64s", [](S s, N) { return s.reader->listInt64s(); }),
        operation("listStrings", [](S s, N) { return s.reader->listStrings(); }),
        operation("listKeyNames", [](S s, N) { return s.reader->listKeyNames(); }),
        operation("listValueTypes", [](S s, N) { return s.reader->listValueTypes(); }),
        operation("listNumberTypes", [](S s, N) { return s.reader->listNumberTypes(); }),
        operation("setDoubles", [](S s, N) { s.reader->setDoubles({0.5}); }),
        operation("setUint64s", [](S s, N) { s.reader->setUint64s({1}); }),
        operation("setInt64s", [](S s, N) { s.reader->setInt64s({-1}); }),
        operation(
            "setStrings", [](S s, N most) { s.reader->setStrings(firstOf(texts, most)); }, 3),
        operation(
            "setKeyNames", [](S s, N most) { s.reader->setKeyNames(firstOf(texts, most)); }, 3),
        operation("setValueTypes, array",
                  [](S s, N) { s.top->setValueTypes(std::vector(500, rapidjson::kTrueType)); }),
        operation("setNumberTypes", [](S s, N) { s.reader->setNumberTypes({Reader::Int64}); }),

        operation("get_children", [](S s, N) { return s.nodes.get_children(); }),
        operation("get_children, selector",
                  [](S s, N) { return s.nodes.get_children("/pos/1/1"); }),
        operation("get_children_by_node_name",
                  [](S s, N) { return s.nodes.get_children_by_node_name("deep"); }),
        operation("resolve_node_name_to_selector",
                  [](S s, N) { return s.nodes.resolve_node_name_to_selector("deep"); }),
        operation("get_children_exhaustive, selector",
                  [](S s, N) { return s.nodes.get_children_exhaustive("/pos"); }),
        operation("subset", [](S s, N) { return s.nodes.subset(*s.indices); }),
        operation("set_number_of_children", [](S s, N) { s.values.set_number_of_children(7); }),
        operation("get_data", [](S s, N) { return s.values.get_data(); }),
        operation(
            "set_data",
            [](S s, N most) {
                s.values.set_types(s.record.types);
                tree::NodeVector(s.dom, firstOf(s.values.nodes, most)).set_data(s.record);
            },
            24),
        operation("get_keys", [](S s, N) { return s.nodes.get_keys(); }),
        operation("set_keys", [](S s, N) { s.nodes.set_keys(*s.names); }),
        operation("get_types", [](S s, N) { return s.values.get_types(); }),
        operation("set_types", [](S s, N) { s.nodes.set_types(s.record.types); }),
    };
    return all;
}

/// The states that an operation may leave behind when it fails.
inline std::set<std::string> permittedStates(const Operation& operation, const std::string& file) {
    std::set<std::string> states = {Subject(3, file).state()};
    for (std::size_t most = 0; most < operation.parts; ++most) {
        Subject subject(3, file);
        operation.run(subject, most);
        states.insert(subject.state());
    }
    return states;
}

} // namespace test
