#include <ostra/io/json/columns/field.hpp>

#include <utility>

namespace ostra::io::json::columns {

namespace {

std::string messageOf(const std::string& field, std::size_t row, const std::string& found,
                      const std::string& wanted) {
    return (field.empty() ? "row " : "field '" + field + "', row ") + std::to_string(row) + ": " +
           found + " where the column holds " + wanted;
}

} // namespace

ColumnConflict::ColumnConflict(std::string field, std::size_t row, std::string found,
                               std::string wanted)
    : std::runtime_error(messageOf(field, row, found, wanted)), field_(std::move(field)), row_(row),
      found_(std::move(found)), wanted_(std::move(wanted)) {}

ColumnConflict::~ColumnConflict() = default;

} // namespace ostra::io::json::columns
