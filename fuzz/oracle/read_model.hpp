#pragma once

/// Columns of texts that are read as a whole, or line by line: what reading them in blocks is
/// compared with.

#include "agreement.hpp"

#include <ostra/io/json/columns/node_columns.hpp>
#include <ostra/io/json/columns/read_columns.hpp>
#include <ostra/io/json/core/reading.hpp>
#include <ostra/io/json/core/text_position.hpp>

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace fuzz::blocks {

using namespace ostra::io::json::columns;
using ReadOptions = ostra::io::json::columns::ReadOptions; // not that of documents

/// Every byte of a column, in a form that can be read.
inline std::string columnText(const Column& column) {
    const auto all = [](const auto& block) {
        std::string text;
        for (const auto& element : block) {
            text += std::to_string(static_cast<long>(element)) + ' ';
        }
        return text + '\n';
    };
    std::string text = "kind " + std::to_string(static_cast<int>(column.kind)) + " layout " +
                       std::to_string(static_cast<int>(column.layout)) + " rows " +
                       std::to_string(column.rows) + " width " + std::to_string(column.width) +
                       "\nvalues ";
    if (column.offsets.empty()) {
        text += all(column.values);
    } else {
        for (std::size_t i = 0; i < column.value_count(); ++i) {
            text += std::string(column.text(i)) + '|';
        }
        text += '\n';
    }
    return text + "lists " + all(column.lists) + "states " + all(column.states) +
           "element states " + all(column.element_states);
}

inline std::string columnText(const RecordColumns& result) {
    std::string text = std::to_string(result.records) + " records\n";
    for (const Column& column : result.columns) {
        text += columnText(column);
    }
    if (result.keys) {
        text += "keys\n" + columnText(*result.keys);
    }
    text += std::to_string(result.bad_lines) + " bad lines\n";
    for (const auto& fields : result.bad_line_list) {
        text += core::ParseError(fields).what() + std::string("\n");
    }
    return text;
}

/// What an action gives, or what it throws.
template <class Action>
std::string outcomeOf(const Action& action) {
    try {
        return columnText(action());
    } catch (const ColumnConflict& error) {
        return std::string("conflict: ") + error.what();
    } catch (const core::ParseError& error) {
        return std::string("refused: ") + error.what();
    } catch (const std::exception& error) {
        return std::string("error: ") + error.what();
    }
}

inline std::vector<Field> someFields() {
    // None of them can be in conflict.
    return {{"a", "/a", {.want = Want::Int64, .mismatch = Mismatch::Missing}},
            {"first", "/0", {.want = Want::Double, .mismatch = Mismatch::Missing}},
            {"all", "", {.want = Want::Json}},
            {"list",
             "/b",
             {.want = Want::Text, .layout = Layout::List, .mismatch = Mismatch::Missing}}};
}

/// The same for values of members, of which records need not be read whole.
inline std::vector<Field> memberFields() {
    const auto missing = [](Want want, Layout layout = Layout::Scalar) {
        return ColumnType{.want = want, .layout = layout, .mismatch = Mismatch::Missing};
    };
    return {{"a", "/a", missing(Want::Int64)},     {"c.a", "/c/a", missing(Want::Double)},
            {"c.b", "/c/b/a", {Want::Json}},       {"b", "/b", missing(Want::Text, Layout::List)},
            {"d", "/d", {.want = Want::Json}},     {"empty", "/", missing(Want::Boolean)},
            {"e", "/\u00e9", missing(Want::Text)}, {"again", "/a", {.want = Want::Json}}};
}

inline std::vector<std::vector<Field>> allFields() {
    return {someFields(), memberFields()};
}

/// Reads all of a document, takes the columns of the records, and joins both, the slow way.
inline RecordColumns wholeDocument(const std::string& text, const std::vector<Field>& fields,
                                   const ReadOptions& options) {
    const auto dom = tree::make_dom_ptr();
    dom->document = core::parse_text(u"source", text, options.syntax);
    rapidjson::Value* const found = core::validate_selector(options.pointer).Get(dom->document);
    if (found == nullptr || !(found->IsObject() || found->IsArray())) {
        throw std::runtime_error("source: no records at '" + options.pointer + "', " +
                                 (found == nullptr
                                      ? "there is nothing"
                                      : "what is there is neither an array nor an object"));
    }
    const tree::NodeVector records = tree::NodeVector(dom, {found}).get_children();
    RecordColumns result;
    result.columns = select(records, fields);
    result.records = records.nodes.size();
    if (options.keys && found->IsObject()) {
        result.keys.emplace();
        result.keys->kind = Kind::Text;
        result.keys->rows = result.records;
        result.keys->offsets.push_back(0);
        for (const auto& member : found->GetObject()) {
            result.keys->values.append(reinterpret_cast<const std::byte*>(member.name.GetString()),
                                       member.name.GetStringLength());
            result.keys->offsets.push_back(static_cast<std::int64_t>(result.keys->values.size()));
            result.keys->states.push_back(State::Present);
        }
    }
    return result;
}

/// The same for lines: each one is a text of its own.
inline RecordColumns lineByLine(const std::string& text, const std::vector<Field>& fields,
                                const ReadOptions& options) {
    std::deque<rapidjson::Document> lines;
    tree::NodeVector records{tree::make_dom_ptr(), {}};
    RecordColumns result;
    std::size_t record = 0;
    std::size_t lineBegin = 0;
    for (std::size_t end = 0; lineBegin < text.size(); lineBegin = end + 1) {
        end = std::min(text.find('\n', lineBegin), text.size());
        try {
            // A byte-order mark is one at the start of the text only.
            const std::string before = lineBegin == 0 ? "" : "\n";
            lines.push_back(core::parse_lines(
                u"source", before + text.substr(lineBegin, end - lineBegin), options.syntax));
            for (rapidjson::Value& value : lines.back().GetArray()) {
                records.nodes.push_back(&value);
                ++record;
            }
        } catch (const core::ParseError& error) {
            core::ParseErrorFields bad = error.fields();
            bad.byte -= lineBegin == 0 ? 0 : 1;
            const std::string front = text.substr(0, lineBegin + bad.byte);
            bad.byte += lineBegin;
            bad.record = record++;
            core::TextPosition position;
            position.advance(front);
            const auto place = position.place(text.substr(front.size()).starts_with('\n'));
            bad.line = place.line;
            bad.column = place.column;
            if (options.bad_lines == BadLines::Raise) {
                throw core::ParseError(bad);
            }
            if (++result.bad_lines <= 100) {
                result.bad_line_list.push_back(bad);
            }
        }
    }
    result.columns = select(records, fields);
    result.records = records.nodes.size();
    return result;
}

/// What comes of a text by the slow way.
inline std::string expectedOutcome(const std::string& text, const std::vector<Field>& fields,
                                   const ReadOptions& options) {
    return outcomeOf([&] {
        return options.form == Form::Lines ? lineByLine(text, fields, options)
                                           : wholeDocument(text, fields, options);
    });
}

/// The same in blocks.
inline std::string outcomeInBlocks(const std::string& text, const std::vector<Field>& fields,
                                   const ReadOptions& options) {
    std::string outcome =
        outcomeOf([&] { return read_columns(Source::memory(text, "source"), fields, options); });
    if (const std::size_t record = outcome.find(", record ");
        record != std::string::npos && options.form == Form::Document) {
        outcome.replace(record, outcome.size(), ")"); // which the whole does not know
    }
    return outcome;
}

} // namespace fuzz::blocks
