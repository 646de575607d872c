#include "records.hpp"

#include "console.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <set>

namespace example {

namespace {

using ostra::io::json::tree::LevelReader;
using ostra::io::json::tree::NodeVector;
using ostra::io::json::tree::NodeVectorData;

constexpr std::size_t shownValues = 4;
constexpr std::size_t shownRecords = 3;
constexpr std::size_t shownCharacters = 24;

std::string shortest(double number) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    return {digits.begin(), end};
}

/// Takes values off the columns of a record in the order of the nodes; objects and arrays, which
/// have none, show their sizes.
class ColumnCursor {
public:
    ColumnCursor(const NodeVector& nodes, const NodeVectorData& data)
        : nodes_(nodes), data_(data) {}

    std::string next() {
        const rapidjson::Value& node = *nodes_.nodes[node_];
        const std::uint8_t type = data_.types->data()[node_++];
        switch (type) {
        case rapidjson::kObjectType:
            return "object{" + grouped(node.MemberCount()) + "}";
        case rapidjson::kArrayType:
            return "array[" + grouped(node.Size()) + "]";
        case rapidjson::kStringType:
            return "\"" + shortened(*data_.strings->get(string_++), shownCharacters) + "\"";
        case rapidjson::kNumberType:
            return nextNumber();
        default:
            return std::array{"null", "false", "true"}.at(type);
        }
    }

private:
    std::string nextNumber() {
        switch (data_.number_types->data()[number_++]) {
        case LevelReader::Uint64:
            return "uint64 " + std::to_string(data_.uint64s->data()[uint64_++]);
        case LevelReader::Int64:
            return "int64 " + std::to_string(data_.int64s->data()[int64_++]);
        default:
            return "double " + shortest(data_.doubles->data()[double_++]);
        }
    }

    const NodeVector& nodes_;
    const NodeVectorData& data_;
    std::size_t node_ = 0;
    std::size_t string_ = 0;
    std::size_t number_ = 0;
    std::size_t double_ = 0;
    std::size_t uint64_ = 0;
    std::size_t int64_ = 0;
};

/// The JSON Pointer to a member.
std::string selectorOf(const std::string& key) {
    std::string selector = "/";
    for (const char c : key) {
        selector += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return selector;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string result;
    for (const std::string& text : texts) {
        result += (result.empty() ? "" : ", ") + text;
    }
    return result;
}

void printLine(const std::string& line) {
    print(line.substr(0, line.find_last_not_of(' ') + 1) + "\n");
}

} // namespace

std::vector<std::string> valueTexts(const NodeVector& nodes) {
    const NodeVectorData data = nodes.get_data();
    ColumnCursor cursor(nodes, data);
    std::vector<std::string> texts(nodes.nodes.size());
    std::generate(texts.begin(), texts.end(), [&] { return cursor.next(); });
    return texts;
}

NodeVector firstNodes(const NodeVector& nodes, std::size_t count) {
    const auto end = static_cast<std::ptrdiff_t>(std::min(count, nodes.nodes.size()));
    return {nodes.dom, {nodes.nodes.begin(), nodes.nodes.begin() + end}};
}

std::vector<std::string> keysOf(const NodeVector& nodes) {
    const auto names = nodes.get_keys();
    std::vector<std::string> keys;
    std::set<std::string> seen;
    for (std::size_t i = 0; i < names->size(); ++i) {
        std::string key = u8(*names->get(i));
        if (seen.insert(key).second) {
            keys.push_back(std::move(key));
        }
    }
    return keys;
}

void printColumn(const NodeVector& records, const std::string& selector) {
    const auto [found, missed] = records.get_children(selector);
    const std::size_t hits = found.nodes.size();
    std::vector<std::string> texts = valueTexts(firstNodes(found, shownValues));
    if (hits > texts.size()) {
        texts.emplace_back("…");
    }
    print(printable(selector) + ": " + grouped(hits) + " found, " + grouped(missed->size() - hits) +
          " missing" + (texts.empty() ? "" : ": " + joined(texts)) + "\n");
}

void printRecords(const NodeVector& records) {
    print(counted(records.nodes.size(), "record") + ", " + counted(keysOf(records).size(), "key") +
          "\n");
    printTable(records);
}

void printTable(const NodeVector& records) {
    const std::vector<std::string> keys = keysOf(records);
    const NodeVector shown = firstNodes(records, shownRecords);
    constexpr std::size_t cellWidth = shownCharacters + 3;

    std::string heading = padded("", shownCharacters);
    for (std::size_t i = 0; i < shown.nodes.size(); ++i) {
        heading += padded("[" + std::to_string(i) + "]", cellWidth) + " ";
    }
    if (!keys.empty()) {
        printLine(heading);
    }
    for (const std::string& key : keys) {
        const auto [found, missed] = shown.get_children(selectorOf(key));
        const std::vector<std::string> texts = valueTexts(found);
        std::string line = padded(shortened(u16(key), shownCharacters - 2), shownCharacters);
        auto text = texts.begin();
        for (std::size_t i = 0; i < missed->size(); ++i) {
            line += padded(missed->data()[i] ? "-" : *text++, cellWidth) + " ";
        }
        printLine(line);
    }
}

} // namespace example
