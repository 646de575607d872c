/// The cursor's list operations against loops written by hand over the same RapidJSON array.

#include "side.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

namespace {

using bench::require;
using bench::side;
using bench::tree::LevelReader;
using rapidjson::Value;

constexpr std::size_t entries = 1'000'000;

/// A level of a million entries in which every kind of entry takes its turn.
std::string mixedLevel() {
    const char* const kinds[] = {
        "1",    "2.5",  "9007199254740993", "-9007199254740993", "\"a short text\"", "null",
        "true", "12345"};
    std::string text = "[";
    for (std::size_t i = 0; i < entries; ++i) {
        text += i == 0 ? "" : ",";
        text += kinds[i % std::size(kinds)];
    }
    return text + "]";
}

/// The job done by hand: what a user would write.
template <class T, class Matches, class Get>
std::vector<T> byHand(const Value& array, Matches matches, Get get) {
    std::vector<T> result;
    result.reserve(array.Size());
    for (const Value& element : array.GetArray()) {
        if (matches(element)) {
            result.push_back(get(element));
        }
    }
    return result;
}

/// Registers the library's list and the loop by hand, after comparing what they return.
template <class List, class Loop>
void compare(const std::string& name, List list, Loop loop) {
    require(list() == loop(), name.c_str());
    side("lists/" + name + "/library", list);
    side("lists/" + name + "/by hand", loop);
}

/// The same for replacing all numbers of one class, in a reader and a document of the same text.
template <class T, class Matches, class Assign>
void compareSetting(const std::string& name, LevelReader& reader, bench::tree::DOM& dom,
                    std::vector<T> (LevelReader::*list)() const,
                    void (LevelReader::*set)(const std::vector<T>&), Matches matches,
                    Assign assign) {
    std::vector<T> values = (reader.*list)();
    for (T& value : values) {
        value += 2; // stays in its class
    }
    const auto byHand = [values, &dom, matches, assign] {
        auto value = values.begin();
        for (Value& element : dom.document.GetArray()) {
            if (value != values.end() && matches(element)) {
                assign(element, *value++);
            }
        }
        return values.size();
    };
    const auto library = [values, &reader, set] {
        (reader.*set)(values);
        return values.size();
    };
    library();
    byHand();
    require((reader.*list)() == values, name.c_str());
    require(bench::tree::write_string(dom, {}) == reader.writeString({}), name.c_str());
    side("lists/" + name + "/library", library);
    side("lists/" + name + "/by hand", byHand);
}

} // namespace

int main(int argc, char** argv) {
    const std::u16string text = fl::i18n::utf8_to_ustring(mixedLevel());
    const auto reader = LevelReader::MakeStringReaderPtr(text, {});
    const bench::tree::DOM dom = bench::tree::read_string(text, {});
    const Value& array = dom.document;

    compare(
        "doubles", [&] { return reader->listDoubles(); },
        [&] {
            return byHand<double>(
                array, [](const Value& v) { return v.IsLosslessDouble(); },
                [](const Value& v) { return v.GetDouble(); });
        });
    compare(
        "uint64s", [&] { return reader->listUint64s(); },
        [&] {
            return byHand<unsigned long>(
                array, [](const Value& v) { return v.IsUint64() && !v.IsLosslessDouble(); },
                [](const Value& v) { return v.GetUint64(); });
        });
    compare(
        "int64s", [&] { return reader->listInt64s(); },
        [&] {
            return byHand<long>(
                array,
                [](const Value& v) {
                    return v.IsInt64() && !v.IsUint64() && !v.IsLosslessDouble();
                },
                [](const Value& v) { return v.GetInt64(); });
        });
    compare(
        "strings", [&] { return reader->listStrings(); },
        [&] {
            return byHand<std::u16string>(
                array, [](const Value& v) { return v.IsString(); },
                [](const Value& v) {
                    return fl::i18n::utf8_to_ustring(v.GetString(), v.GetStringLength());
                });
        });
    compare(
        "value types", [&] { return reader->listValueTypes(); },
        [&] {
            return byHand<rapidjson::Type>(
                array, [](const Value&) { return true; },
                [](const Value& v) { return v.GetType(); });
        });
    compare(
        "number types", [&] { return reader->listNumberTypes(); },
        [&] {
            return byHand<LevelReader::NumberType>(
                array, [](const Value& v) { return v.IsNumber(); },
                [](const Value& v) {
                    return v.IsLosslessDouble() ? LevelReader::Double
                           : v.IsUint64()       ? LevelReader::Uint64
                                                : LevelReader::Int64;
                });
        });
    const auto changed = LevelReader::MakeStringReaderPtr(text, {});
    bench::tree::DOM changedByHand = bench::tree::read_string(text, {});
    compareSetting(
        "set doubles", *changed, changedByHand, &LevelReader::listDoubles, &LevelReader::setDoubles,
        [](const Value& v) { return v.IsLosslessDouble(); },
        [](Value& v, double number) { v.SetDouble(number); });
    compareSetting(
        "set uint64s", *changed, changedByHand, &LevelReader::listUint64s, &LevelReader::setUint64s,
        [](const Value& v) { return v.IsUint64() && !v.IsLosslessDouble(); },
        [](Value& v, unsigned long number) { v.SetUint64(number); });
    return bench::runSides(argc, argv);
}
