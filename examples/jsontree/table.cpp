#include "table.hpp"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>

namespace example {

namespace {

using columns_api::Column;
using columns_api::Kind;
using columns_api::Layout;
using columns_api::State;

std::string quotedJson(std::string_view text) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string quoted = "\"";
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20) {
            quoted += "\\u00";
            quoted += digits[code >> 4U];
            quoted += digits[code & 0xFU];
        } else {
            quoted += c == '"' || c == '\\' ? "\\" : "";
            quoted += c;
        }
    }
    return quoted + '"';
}

template <class Number>
std::string digitsOf(Number number) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr};
}

std::string numberText(double number) {
    if (std::isnan(number)) {
        return "NaN";
    }
    return std::isinf(number) ? number < 0 ? "-Infinity" : "Infinity" : digitsOf(number);
}

/// @param index  of a value that is there.
std::string valueText(const Column& column, std::size_t index) {
    switch (column.kind) {
    case Kind::Int64:
        return digitsOf(column.as<std::int64_t>()[index]);
    case Kind::Uint64:
        return digitsOf(column.as<std::uint64_t>()[index]);
    case Kind::Double:
        return numberText(column.as<double>()[index]);
    case Kind::Boolean:
        return column.as<std::uint8_t>()[index] != 0 ? "true" : "false";
    case Kind::Text:
        return quotedJson(column.text(index));
    case Kind::Json:
        break;
    }
    return std::string(column.text(index));
}

/// A cell is quoted if it holds a comma, a quote or a line end, and if it would look like a
/// missing one.
std::string quotedCell(std::string_view text) {
    if (!text.empty() && text.find_first_of(",\"\r\n") == std::string_view::npos) {
        return std::string(text);
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? "\"\"" : std::string(1, c);
    }
    return quoted + '"';
}

std::string csvCell(const Column& column, std::size_t row) {
    if (column.states[row] != State::Present) {
        return "";
    }
    const bool isText = column.kind == Kind::Text && column.layout == Layout::Scalar;
    return quotedCell(isText ? std::string(column.text(row)) : cellText(column, row));
}

} // namespace

std::string cellText(const Column& column, std::size_t row) {
    if (column.states[row] != State::Present) {
        return "";
    }
    if (column.layout == Layout::Scalar) {
        return valueText(column, row);
    }
    std::string text = "[";
    const auto begin = static_cast<std::size_t>(column.lists[row]);
    for (std::size_t i = begin; i < static_cast<std::size_t>(column.lists[row + 1]); ++i) {
        const bool present = column.element_states[i] == State::Present;
        text += (i == begin ? "" : ",") + (present ? valueText(column, i) : "null");
    }
    return text + ']';
}

std::string kindText(const Column& column) {
    static const std::array names = {"int64", "uint64", "double", "boolean", "text", "JSON"};
    const std::string name = names.at(static_cast<std::size_t>(column.kind));
    return column.layout == Layout::Scalar ? name : "lists of " + name;
}

std::string csvOf(const std::vector<std::string>& names, const columns_api::RecordColumns& table) {
    std::string csv;
    for (std::size_t c = 0; c < names.size(); ++c) {
        csv += (c == 0 ? "" : ",") + quotedCell(names[c]);
    }
    csv += "\r\n";
    for (std::size_t row = 0; row < table.records; ++row) {
        for (std::size_t c = 0; c < names.size(); ++c) {
            csv += c == 0 ? "" : ",";
            csv += csvCell(table.columns[c], row);
        }
        csv += "\r\n";
    }
    return csv;
}

std::string jsonLinesOf(const std::vector<std::string>& names,
                        const columns_api::RecordColumns& table) {
    std::string lines;
    for (std::size_t row = 0; row < table.records; ++row) {
        std::string line;
        for (std::size_t c = 0; c < names.size(); ++c) {
            const Column& column = table.columns[c];
            if (column.states[row] != State::Absent) {
                line += (line.empty() ? "" : ",") + quotedJson(names[c]) + ':' +
                        (column.states[row] == State::Null ? "null" : cellText(column, row));
            }
        }
        lines += '{' + line + "}\n";
    }
    return lines;
}

} // namespace example
