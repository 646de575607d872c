#include "read_columns.hpp"

#include "console.hpp"
#include "input.hpp"
#include "records.hpp"
#include "table.hpp"

#include "platform/file_io.hpp"

#include <ostra/io/json/columns/text_io.hpp>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <unistd.h>

namespace example {

namespace {

using columns_api::Field;
using columns_api::RecordColumns;
namespace tree = ostra::io::json::tree;

/// A bar on the standard error, while that is a terminal and the work takes its time.
class ProgressBar {
public:
    ~ProgressBar() {
        if (isShown_) {
            (void)std::fputs("\r\033[K", stderr);
        }
    }

    bool show(const columns_api::Progress& progress) {
        const auto now = Clock::now();
        if (!isTerminal_ || now - begin_ < std::chrono::seconds(1) ||
            now - last_ < std::chrono::milliseconds(100)) {
            return true;
        }
        last_ = now;
        isShown_ = true;
        std::string line = "\r";
        if (progress.total && *progress.total != 0) {
            constexpr std::size_t width = 40;
            const double part =
                static_cast<double>(progress.bytes) / static_cast<double>(*progress.total);
            const auto done = static_cast<std::size_t>(part * width);
            line += '[' + std::string(done, '#') + std::string(width - done, ' ') + "] " +
                    std::to_string(static_cast<int>(part * 100)) + " %, ";
        }
        line += counted(progress.records, "record") + "\033[K";
        (void)std::fputs(line.c_str(), stderr);
        return true;
    }

private:
    using Clock = std::chrono::steady_clock;

    const bool isTerminal_ = ::isatty(STDERR_FILENO) == 1;
    const Clock::time_point begin_ = Clock::now();
    Clock::time_point last_;
    bool isShown_ = false;
};

columns_api::ReadOptions optionsOf(const Options& options) {
    columns_api::ReadOptions result;
    result.syntax = readOptions(options);
    result.pointer = options.value("records").value_or("");
    result.form = options.has("lines") ? columns_api::Form::Lines : columns_api::Form::Document;
    return result;
}

/// Reads all; a column that is a mixture, or of objects, is read as JSON.
RecordColumns readAll(Input& input, const Options& options, std::vector<Field> fields) {
    columns_api::ReadOptions how = optionsOf(options);
    ProgressBar bar;
    how.progress = [&bar](const columns_api::Progress& progress) { return bar.show(progress); };
    for (;;) {
        try {
            return read_columns(input.source(), fields, how);
        } catch (const columns_api::ColumnConflict& conflict) {
            const auto mixed = std::find_if(fields.begin(), fields.end(), [&](const Field& field) {
                return field.name == conflict.field() && field.type.want == columns_api::Want::Any;
            });
            if (mixed == fields.end()) {
                throw;
            }
            mixed->type.want = columns_api::Want::Json;
        }
    }
}

/// The first records as a document of their own.
void printFirst(Input& input, const Options& options) {
    constexpr std::size_t shown = 3;
    const std::vector<Field> whole = {{"record", "", {.want = columns_api::Want::Json}}};
    columns_api::ReadOptions how = optionsOf(options);
    how.huge_integers = columns_api::HugeIntegers::AsDouble;
    columns_api::ColumnReader reader(input.source(), whole, how, {.records = shown});
    std::string lines;
    if (const auto first = reader.next()) {
        for (std::size_t row = 0; row < first->records; ++row) {
            const std::string text = cellText(first->columns[0], row);
            lines += (text.empty() ? "null" : text) + '\n';
        }
    }
    const auto dom = tree::make_dom_ptr();
    *dom = columns_api::read_lines(lines);
    printTable(tree::NodeVector{dom, {&dom->document}}.get_children());
}

void printColumn(const std::string& name, const columns_api::Column& column) {
    constexpr std::size_t shownValues = 4;
    constexpr std::size_t shownCharacters = 24;
    std::size_t found = 0;
    std::string values;
    for (std::size_t row = 0; row < column.rows; ++row) {
        if (column.states[row] != columns_api::State::Absent) {
            ++found;
            if (found <= shownValues) {
                const std::string text = cellText(column, row);
                values += (found == 1 ? " " : ", ") +
                          shortened(u16(text.empty() ? "null" : text), shownCharacters);
            }
        }
    }
    values += found > shownValues ? ", …" : "";
    print(printable(name) + ": " + grouped(found) + " found, " + grouped(column.rows - found) +
          " missing" + (found == 0 ? "" : ": " + kindText(column) + values) + "\n");
}

void writeFile(const std::optional<std::string>& path, const std::string& text) {
    if (path) {
        ostra::io::common::file::writeall(u16(*path), text.data(), text.size());
    }
}

} // namespace

bool needsNoDocument(const Options& options) {
    return options.values("set").empty() && !options.has("output");
}

void readColumns(const Options& options) {
    const std::vector<std::string> selectors = options.values("column");
    std::vector<Field> fields;
    std::vector<std::string> names;
    for (const std::string& selector : selectors) {
        fields.push_back({selector, selector, {}});
        names.push_back(selector.starts_with('/') ? selector.substr(1) : selector);
    }
    if (selectors.empty() && (options.has("csv") || options.has("json-lines"))) {
        throw std::runtime_error("columns: which --column SELECTOR? See --help");
    }
    Input input(options.file());
    const RecordColumns table = readAll(input, options, fields);
    const std::string pointer = options.value("records").value_or("");
    print(printable(options.file() + (pointer.empty() ? "" : " " + pointer)) + ": " +
          counted(table.records, "record") + "\n");
    printFirst(input, options);
    for (std::size_t c = 0; c < selectors.size(); ++c) {
        print("\n");
        printColumn(selectors[c], table.columns[c]);
    }
    if (options.has("csv")) {
        writeFile(options.value("csv"), csvOf(names, table));
    }
    if (options.has("json-lines")) {
        writeFile(options.value("json-lines"), jsonLinesOf(names, table));
    }
}

} // namespace example
