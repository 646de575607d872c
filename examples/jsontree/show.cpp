#include "commands.hpp"
#include "console.hpp"
#include "options.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <vector>

namespace example {

namespace {

using ostra::io::json::tree::LevelReader;

constexpr std::size_t shownElements = 3;
constexpr std::size_t shownMembers = 24;
constexpr std::size_t shownCharacters = 48;

const std::array<std::string, 7> typeNames{"null",  "false",  "true",  "object",
                                           "array", "string", "number"};
/// By number class: a double holds the first exactly, and none of the others.
const std::array<std::string, 3> classNames{"number", "integer (uint64)", "integer (int64)"};

/// What the elements of an array are: "1 null, 3 number".
std::string summary(const LevelReader& array) {
    std::array<std::size_t, 10> counts{};
    for (const rapidjson::Type type : array.listValueTypes()) {
        ++counts.at(type);
    }
    counts.at(rapidjson::kNumberType) = 0;
    for (const LevelReader::NumberType numberClass : array.listNumberTypes()) {
        ++counts.at(typeNames.size() + numberClass);
    }
    std::string text;
    for (std::size_t i = 0; i < counts.size(); ++i) {
        if (counts.at(i) > 0) {
            const std::string& noun =
                i < typeNames.size() ? typeNames.at(i) : classNames.at(i - typeNames.size());
            text += (text.empty() ? ": " : ", ") + grouped(counts.at(i)) + " " + noun;
        }
    }
    return text;
}

/// A number as its reader would call it: an integer if it is written like one; with its class
/// if a double would not hold it.
std::string numberDescription(LevelReader::NumberType numberClass, const std::string& text) {
    const bool isInteger = text.find_first_not_of("-0123456789") == std::string::npos;
    const std::string name = isInteger ? "integer " + text : "number " + text;
    return numberClass == LevelReader::Uint64  ? name + " (uint64)"
           : numberClass == LevelReader::Int64 ? name + " (int64)"
                                               : name;
}

/// Type, size and, of a scalar, the value that the reader stands on.
std::string description(const LevelReader& at) {
    const rapidjson::Type type = at.getCurrentType();
    if (type == rapidjson::kObjectType) {
        return "object, " + counted(at.listValueTypes().size(), "member");
    }
    if (type == rapidjson::kArrayType) {
        return "array, " + counted(at.listValueTypes().size(), "element") + summary(at);
    }
    const std::string value =
        shortened(at.writeString({.allowNaNInf = true, .prettyPrint = false, .indentText = {}}),
                  shownCharacters);
    if (type == rapidjson::kStringType) {
        const std::size_t length = characterCount(at.listStrings().front());
        return "string, " + counted(length, "character") + " " + value;
    }
    return type == rapidjson::kNumberType ? numberDescription(at.listNumberTypes().front(), value)
                                          : value;
}

/// A level of which the children are being printed.
struct OpenLevel {
    std::size_t children = 0;
    std::size_t shown = 0;
    std::size_t next = 0;
    std::vector<std::u16string> names; // empty in an array
};

OpenLevel openLevel(const LevelReader& at) {
    OpenLevel level;
    const rapidjson::Type type = at.getCurrentType();
    if (type == rapidjson::kObjectType) {
        level.names = at.listKeyNames();
        level.children = level.names.size();
        level.shown = std::min(level.children, shownMembers);
    } else if (type == rapidjson::kArrayType) {
        level.children = at.listValueTypes().size();
        level.shown = std::min(level.children, shownElements);
    }
    return level;
}

/// Prints the tree below the reader's position. The path is kept here and not on the native stack,
/// and the reader ends where it stood.
void printTree(LevelReader& at, const std::string& title, std::size_t depth) {
    print(title + ": " + description(at) + "\n");
    std::vector<OpenLevel> path;
    if (depth > 0) {
        path.push_back(openLevel(at));
    }
    std::string indent;
    while (!path.empty()) {
        OpenLevel& level = path.back();
        if (level.next == level.shown) {
            if (level.shown < level.children) {
                print(indent + "└─ … " + grouped(level.children - level.shown) + " more\n");
            }
            path.pop_back();
            if (!path.empty()) {
                at.cdup();
                indent.resize(indent.size() - (indent.ends_with("│  ") ? 5 : 3));
            }
            continue;
        }
        const std::size_t child = level.next++;
        const bool last = level.next == level.children;
        const std::string name = level.names.empty()
                                     ? "[" + std::to_string(child) + "]"
                                     : shortened(level.names[child], shownCharacters);
        at.cd(child);
        std::string line = indent;
        line.append(last ? "└─ " : "├─ ").append(name).append(": ").append(description(at));
        print(line.append("\n"));
        if (path.size() < depth) {
            indent += last ? "   " : "│  ";
            path.push_back(openLevel(at));
        } else {
            at.cdup();
        }
    }
}

void select(LevelReader& reader, const std::string& pointer) {
    bool found = false;
    try {
        found = reader.cdSelector(pointer);
    } catch (const foundation::core::except::IMsgIDException&) {
        throw std::runtime_error("'" + pointer +
                                 "' is not a JSON Pointer (such as /stations/0/id)");
    }
    if (!found) {
        throw std::runtime_error("nothing in the document at '" + pointer + "'");
    }
}

} // namespace

int show(Arguments arguments) {
    auto known = documentOptions();
    known.insert({{"select", Takes::Value}, {"depth", Takes::Value}});
    const Options options(arguments, known);
    const auto form = writeOptions(options);
    // A line is indented by its depth, so a deep tree costs the square of it to print.
    const std::size_t depth = wholeNumber("--depth", options.value("depth").value_or("3"), 1000);
    const std::string pointer = options.value("select").value_or("");

    LevelReader reader = LevelReader::MakeFileReader(u16(options.file()), readOptions(options));
    select(reader, pointer);
    if (const auto output = options.value("output")) {
        reader.writeFile(u16(*output), form);
    } else if (options.has("pretty") || options.has("compact")) {
        print(u8(reader.writeString(form)) + "\n");
    } else {
        printTree(reader, printable(options.file() + (pointer.empty() ? "" : " " + pointer)),
                  depth);
    }
    return 0;
}

} // namespace example
