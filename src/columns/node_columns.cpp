#include "columns/field_plan.hpp"
#include "columns/ordered_pieces.hpp"
#include "columns/piece.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

#include <algorithm>
#include <array>
#include <stdexcept>

namespace ostra::io::json::columns {

namespace {

using rapidjson::Value;

/// Rows per piece: their columns stay in the second cache, and dealing them costs nothing.
constexpr std::size_t chunkSize = 1024;

std::size_t chunksFor(std::size_t rows) {
    return (rows + chunkSize - 1) / chunkSize;
}

/// For each chunk of a miss mask, the number of the first node that belongs to it.
/// @throws std::invalid_argument  unless the mask's zeros are as many as the nodes.
std::vector<std::size_t> firstNodes(const matrix::typed_vector<bool>& missing, std::size_t nodes) {
    std::vector<std::size_t> first(chunksFor(missing.size()));
    std::size_t found = 0;
    for (std::size_t chunk = 0; chunk < first.size(); ++chunk) {
        first[chunk] = found;
        const bool* const begin = missing.data() + chunk * chunkSize;
        const std::size_t count = std::min(chunkSize, missing.size() - chunk * chunkSize);
        found += static_cast<std::size_t>(std::count(begin, begin + count, false));
    }
    if (found != nodes) {
        throw std::invalid_argument("a miss mask with " + std::to_string(found) + " zeros for " +
                                    std::to_string(nodes) + " nodes");
    }
    return first;
}

/// Appends nodes, which lie far apart, a few at a time: others are prefetched in between.
/// @param nodes  null for an absent one.
void appendNodes(Piece& piece, std::span<Value* const> nodes) {
    constexpr std::size_t batch = 16;
    constexpr std::size_t distance = 64;
    for (std::size_t begin = 0; begin < nodes.size(); begin += batch) {
        const auto rest = nodes.subspan(begin);
        const auto ahead = rest.subspan(std::min(distance, rest.size()));
        for (const Value* const node : ahead.first(std::min(batch, ahead.size()))) {
            if (node != nullptr) {
                tree::prefetchNode<tree::Access::Read>(node);
            }
        }
        piece.impl().appendFound(rest.data(), std::min(batch, rest.size()));
    }
}

} // namespace

Column get_column(const tree::NodeVector& nodes, const ColumnType& type,
                  const matrix::typed_vector<bool>* missing) {
    const std::array fields = {Field{"", "", type}};
    const std::shared_ptr<const FieldPlan> plan = makePlan(fields);
    const std::size_t rows = missing != nullptr ? missing->size() : nodes.nodes.size();
    const std::vector<std::size_t> first =
        missing != nullptr ? firstNodes(*missing, nodes.nodes.size()) : std::vector<std::size_t>();
    Joined joined(plan, rows);
    OrderedPieces(plan, joined, chunksFor(rows)).run([&](Piece& piece, std::size_t chunk) {
        const std::size_t begin = chunk * chunkSize;
        const std::size_t count = std::min(chunkSize, rows - begin);
        if (missing == nullptr) {
            appendNodes(piece, std::span(nodes.nodes).subspan(begin, count));
            return;
        }
        std::array<Value*, chunkSize> found;
        Value* const* next = nodes.nodes.data() + first[chunk];
        for (std::size_t i = 0; i < count; ++i) {
            found[i] = missing->data()[begin + i] ? nullptr : *next++;
        }
        appendNodes(piece, std::span(found).first(count));
    });
    return std::move(joined.take(false).front());
}

std::vector<Column> select(const tree::NodeVector& records, std::span<const Field> fields) {
    const std::shared_ptr<const FieldPlan> plan = makePlan(fields);
    Joined joined(plan, records.nodes.size());
    OrderedPieces(plan, joined, chunksFor(records.nodes.size()))
        .run([&](Piece& piece, std::size_t chunk) {
            const auto rest = std::span(records.nodes).subspan(chunk * chunkSize);
            piece.append(rest.first(std::min(chunkSize, rest.size())));
        });
    return joined.take(false);
}

} // namespace ostra::io::json::columns
