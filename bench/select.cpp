/// Fields of half a million records as columns, in one pass and field by field.

#include "generated_data.hpp"
#include "side.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

#include <array>
#include <cstring>

namespace {

using bench::require;
using bench::side;
using bench::tree::NodeVector;
namespace columns = ostra::io::json::columns;

constexpr std::size_t recordCount = 500'000;
constexpr std::array selectors = {"/id", "/seq", "/pos/x", "/pos/y", "/pos/depth", "/name"};

std::vector<columns::Field> fields() {
    std::vector<columns::Field> all;
    all.reserve(selectors.size());
    for (const char* selector : selectors) {
        all.push_back({selector, selector, {}});
    }
    return all;
}

/// Whether a column holds what a plain loop finds.
bool holds(const columns::Column& column, const NodeVector& records, const char* selector) {
    const rapidjson::Pointer pointer(selector);
    for (std::size_t i = 0; i < records.nodes.size(); ++i) {
        const rapidjson::Value* const value = pointer.Get(*records.nodes[i]);
        const bool present = value != nullptr && !value->IsNull();
        if (present != (column.states[i] == columns::State::Present)) {
            return false;
        }
        if (!present) {
            continue;
        }
        const bool same =
            column.kind == columns::Kind::Text
                ? column.text(i) == std::string_view(value->GetString(), value->GetStringLength())
            : column.kind == columns::Kind::Int64
                ? column.as<std::int64_t>()[i] == value->GetInt64()
                : column.as<double>()[i] == value->GetDouble();
        if (!same) {
            return false;
        }
    }
    return true;
}

std::vector<bench::tree::NodeVectorData> byLookups(const NodeVector& records) {
    std::vector<bench::tree::NodeVectorData> all;
    all.reserve(selectors.size());
    for (const char* selector : selectors) {
        all.push_back(records.get_children(selector).first.get_data());
    }
    return all;
}

void compareSelect(const NodeVector& records) {
    const auto taken = columns::select(records, fields());
    for (std::size_t f = 0; f < taken.size(); ++f) {
        require(holds(taken[f], records, selectors[f]), selectors[f]);
    }
    side("select/six fields/library", [&records] { return columns::select(records, fields()); });
    side("select/six fields/six lookups", [&records] { return byLookups(records); });
    side("select/six fields, one thread/library", [&records] {
        return bench::onOneThread([&] { return columns::select(records, fields()); });
    });
    side("select/six fields, one thread/six lookups",
         [&records] { return bench::onOneThread([&] { return byLookups(records); }); });
}

/// One field whose nodes were looked up before.
void compareColumn(const NodeVector& records, const char* selector, const std::string& name) {
    const NodeVector nodes = records.get_children(selector).first;
    side("select/get_column, " + name + "/library", [nodes] { return columns::get_column(nodes); });
    side("select/get_column, " + name + "/get_data", [nodes] { return nodes.get_data(); });
}

} // namespace

int main(int argc, char** argv) {
    const NodeVector records = bench::elementsOf(bench::records(recordCount));
    compareSelect(records);
    compareColumn(records, "/pos/x", "numbers");
    compareColumn(records, "/name", "strings");
    return bench::runSides(argc, argv);
}
