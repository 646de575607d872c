#include "base/parallel_loop.hpp"
#include "base/raw_value.hpp"
#include "document/pool_pieces.hpp"
#include "nodes/distinct_nodes.hpp"
#include "nodes/visit_nodes.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

#include <simdjson.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ostra::io::json::columns {

namespace {

using rapidjson::Value;
using Nodes = std::span<Value* const>;

constexpr std::size_t chunkSize = 4096;

std::size_t chunksFor(std::size_t rows) {
    return (rows + chunkSize - 1) / chunkSize;
}

Nodes chunkOf(Nodes nodes, std::size_t chunk) {
    const Nodes rest = nodes.subspan(chunk * chunkSize);
    return rest.first(std::min(chunkSize, rest.size()));
}

bool isPresent(const ColumnView& view, std::size_t row) {
    return view.states == nullptr || view.states[row] == State::Present;
}

std::string_view textAt(const ColumnView& view, std::size_t row) {
    return {static_cast<const char*>(view.values) + view.offsets[row],
            static_cast<std::size_t>(view.offsets[row + 1] - view.offsets[row])};
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// Whether each of some present texts is UTF-8. They lie side by side, so as a rule all of them are
/// looked at in one go: then they are, unless one ends in the middle of a character and the next
/// one begins there.
bool areUtf8(const ColumnView& view, std::size_t begin, std::size_t end) {
    bool together = true;
    for (std::size_t row = begin; row < end && together; ++row) {
        const std::string_view text = textAt(view, row);
        together = text.empty() || !isContinuation(text.front());
    }
    const char* const bytes = static_cast<const char*>(view.values);
    if (together && simdjson::validate_utf8(
                        bytes + view.offsets[begin],
                        static_cast<std::size_t>(view.offsets[end] - view.offsets[begin]))) {
        return true;
    }
    for (std::size_t row = begin; row < end; ++row) {
        if (isPresent(view, row) && !simdjson::validate_utf8(textAt(view, row))) {
            return false;
        }
    }
    return true;
}

/// @throws std::invalid_argument  naming the first row with a text that is malformed.
void requireTexts(const ColumnView& view) {
    if (view.offsets == nullptr) {
        throw std::invalid_argument("texts without offsets");
    }
    for (std::size_t row = 0; row < view.rows; ++row) {
        if (view.offsets[row] < 0 || view.offsets[row + 1] < view.offsets[row]) {
            throw std::invalid_argument("offsets descend at row " + std::to_string(row));
        }
    }
    if (view.values == nullptr && view.offsets[view.rows] != 0) {
        throw std::invalid_argument("no values");
    }
    std::atomic<std::size_t> firstBad = chunksFor(view.rows);
    base::parallelLoop(chunksFor(view.rows), [&](std::size_t begin, std::size_t end) {
        for (std::size_t chunk = begin; chunk < end; ++chunk) {
            const std::size_t row = chunk * chunkSize;
            if (!areUtf8(view, row, std::min(row + chunkSize, view.rows))) {
                std::size_t bad = firstBad;
                while (chunk < bad && !firstBad.compare_exchange_weak(bad, chunk)) {
                }
                return;
            }
        }
    });
    for (std::size_t row = firstBad * chunkSize; row < view.rows; ++row) {
        if (isPresent(view, row) && !simdjson::validate_utf8(textAt(view, row))) {
            throw std::invalid_argument("the text of row " + std::to_string(row) + " is not UTF-8");
        }
    }
}

void requireFitting(const ColumnView& view, std::size_t nodes) {
    if (view.rows != nodes) {
        throw std::invalid_argument(std::to_string(view.rows) + " rows for " +
                                    std::to_string(nodes) + " nodes");
    }
    if (view.kind > Kind::Text) {
        throw std::invalid_argument("JSON texts cannot be set");
    }
    if (view.rows == 0) {
        return;
    }
    if (view.kind == Kind::Text) {
        requireTexts(view);
    } else if (view.values == nullptr) {
        throw std::invalid_argument("no values");
    }
}

/// Whether a number is the same as a double, to the bit.
bool sameBits(const Value& number, double value) {
    return std::bit_cast<std::uint64_t>(number.GetDouble()) == std::bit_cast<std::uint64_t>(value);
}

bool holds(const Value& node, double value) {
    return node.IsNumber() && sameBits(node, value);
}

bool holds(const Value& node, std::int64_t value) {
    if (node.IsDouble()) {
        const auto rounded = static_cast<double>(value);
        return sameBits(node, rounded) && rounded < 0x1p63 &&
               static_cast<std::int64_t>(rounded) == value;
    }
    return node.IsInt64() && node.GetInt64() == value;
}

bool holds(const Value& node, std::uint64_t value) {
    if (node.IsDouble()) {
        const auto rounded = static_cast<double>(value);
        return sameBits(node, rounded) && rounded < 0x1p64 &&
               static_cast<std::uint64_t>(rounded) == value;
    }
    return node.IsUint64() && node.GetUint64() == value;
}

bool holds(const Value& node, bool value) {
    return value ? node.IsTrue() : node.IsFalse();
}

bool holds(const Value& node, std::string_view text) {
    return node.IsString() && std::string_view(node.GetString(), node.GetStringLength()) == text;
}

/// Writes some rows; `valueAt(row)` is what a present one is, `make(value)` a fresh value of it.
template <class ValueAt, class Make>
void writeRows(Nodes nodes, const ColumnView& view, std::size_t firstRow, MissingRows missing,
               const ValueAt& valueAt, const Make& make) {
    tree::visitNodes<tree::Access::Write>(nodes, [&](Value& node, std::size_t i) {
        const std::size_t row = firstRow + i;
        if (isPresent(view, row)) {
            const auto value = valueAt(row);
            if (!holds(node, value)) {
                node = make(value);
            }
        } else if (missing == MissingRows::SetNull && !node.IsNull()) {
            node = Value();
        }
    });
}

/// Calls `write(begin, end)` for ranges that cover [0, count): in parallel if that is allowed.
template <class Write>
void inParallelIf(bool distinct, std::size_t count, const Write& write) {
    if (distinct) {
        base::parallelLoop(count, write);
    } else {
        write(std::size_t{0}, count); // the last row of a node that stands twice wins
    }
}

template <class T, class Written = T>
void setPlain(Nodes nodes, const ColumnView& view, MissingRows missing) {
    const auto* const values = static_cast<const unsigned char*>(view.values);
    inParallelIf(tree::provablyDistinct(nodes), nodes.size(),
                 [&](std::size_t begin, std::size_t end) {
                     writeRows(
                         nodes.subspan(begin, end - begin), view, begin, missing,
                         [values](std::size_t row) {
                             T value{};
                             std::memcpy(&value, values + row * sizeof(T), sizeof(T));
                             return static_cast<Written>(value);
                         },
                         [](Written value) { return Value(value); });
                 });
}

bool needsMemory(std::string_view text) {
    return text.size() > base::RawValue::longestInline;
}

/// Bytes of a piece that such a text takes.
std::size_t memoryOf(std::string_view text) {
    constexpr std::size_t alignment = 8;
    return (text.size() + 1 + alignment - 1) & ~(alignment - 1);
}

/// @param pool  gives the memory of a text that a value cannot hold in itself.
Value makeText(std::string_view text, tree::Pool& pool) {
    Value value;
    if (!needsMemory(text)) {
        char* const bytes = base::RawValue::inlineBytes(value);
        std::copy(text.begin(), text.end(), bytes);
        bytes[text.size()] = '\0';
        base::RawValue::setInlineString(value, text.size());
        return value;
    }
    auto* const bytes = static_cast<char*>(pool.Malloc(text.size() + 1));
    std::memcpy(bytes, text.data(), text.size());
    bytes[text.size()] = '\0';
    base::RawValue::setString(value, bytes, text.size());
    return value;
}

/// What the texts of each chunk need of the document's pool.
/// @param onlyChanges  leaves out what the nodes hold already; not to be relied on if a node
///                     stands twice.
std::vector<std::size_t> memoryNeeds(Nodes nodes, const ColumnView& view, bool onlyChanges) {
    std::vector<std::size_t> needs(chunksFor(nodes.size()));
    base::parallelLoop(needs.size(), [&](std::size_t begin, std::size_t end) {
        for (std::size_t chunk = begin; chunk < end; ++chunk) {
            std::size_t need = 0;
            const auto add = [&](const Value& node, std::size_t i) {
                const std::size_t row = chunk * chunkSize + i;
                if (isPresent(view, row) && needsMemory(textAt(view, row)) &&
                    !(onlyChanges && holds(node, textAt(view, row)))) {
                    need += memoryOf(textAt(view, row));
                }
            };
            tree::visitNodes<tree::Access::Read>(chunkOf(nodes, chunk), add);
            needs[chunk] = need;
        }
    });
    return needs;
}

void setTexts(const tree::NodeVector& vector, const ColumnView& view, MissingRows missing) {
    const Nodes nodes = vector.nodes;
    const bool distinct = tree::provablyDistinct(nodes);
    const tree::PoolPieces pieces(vector.dom->document.GetAllocator(),
                                  memoryNeeds(nodes, view, distinct));
    inParallelIf(distinct, chunksFor(nodes.size()), [&](std::size_t begin, std::size_t end) {
        for (std::size_t chunk = begin; chunk < end; ++chunk) {
            tree::Pool pool = pieces.piece(chunk);
            writeRows(
                chunkOf(nodes, chunk), view, chunk * chunkSize, missing,
                [&view](std::size_t row) { return textAt(view, row); },
                [&pool](std::string_view text) { return makeText(text, pool); });
        }
    });
}

} // namespace

void set_column(const tree::NodeVector& nodes, const ColumnView& view, MissingRows missing) {
    requireFitting(view, nodes.nodes.size());
    if (view.rows == 0) {
        return;
    }
    switch (view.kind) {
    case Kind::Int64:
        setPlain<std::int64_t>(nodes.nodes, view, missing);
        break;
    case Kind::Uint64:
        setPlain<std::uint64_t>(nodes.nodes, view, missing);
        break;
    case Kind::Double:
        setPlain<double>(nodes.nodes, view, missing);
        break;
    case Kind::Boolean:
        setPlain<std::uint8_t, bool>(nodes.nodes, view, missing);
        break;
    case Kind::Text:
        setTexts(nodes, view, missing);
        break;
    case Kind::Json:
        break;
    }
}

} // namespace ostra::io::json::columns
