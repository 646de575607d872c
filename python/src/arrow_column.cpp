#include "arrow_column.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace ostrajson {

namespace {

using ostra::io::json::columns::Block;
using ostra::io::json::columns::Column;
using ostra::io::json::columns::Kind;
using ostra::io::json::columns::Layout;
using ostra::io::json::columns::State;

static_assert(std::endian::native == std::endian::little);

/// What a buffer of no bytes may point to, for consumers that do not like null.
alignas(64) constexpr std::int64_t nothing = 0;

/// Packs bytes into bits, the first one the lowest.
/// @param toOnes  makes 1 or 0 of each of eight bytes at once.
template <class ToOnes>
std::shared_ptr<const std::vector<std::uint8_t>> pack(const void* bytes, std::size_t count,
                                                      const ToOnes& toOnes) {
    // Whole words of 64 bytes, as Arrow likes buffers to be.
    auto bits = std::make_shared<std::vector<std::uint8_t>>((count + 511) / 512 * 64);
    const auto* const from = static_cast<const char*>(bytes);
    for (std::size_t i = 0; i < count; i += 8) {
        std::uint64_t eight = 0;
        std::memcpy(&eight, from + i, std::min<std::size_t>(8, count - i));
        // Each byte's one moves to its place in the highest byte; no two meet, so none carries.
        (*bits)[i / 8] = static_cast<std::uint8_t>((toOnes(eight) * 0x0102'0408'1020'4080U) >> 56U);
    }
    return bits;
}

template <class Owner>
void addBuffer(ArrowParts& parts, const void* data, Owner owner) {
    parts.buffers.push_back(data != nullptr ? data : &nothing);
    parts.owners.push_back(std::move(owner));
}

/// Sets which values are missing: a bitmap if any is.
void addValidity(ArrowParts& parts, std::span<const State> states) {
    parts.missing =
        std::count_if(states.begin(), states.end(), [](State s) { return s != State::Present; });
    if (parts.missing == 0) {
        parts.buffers.push_back(nullptr);
        return;
    }
    constexpr std::uint64_t ones = 0x0101'0101'0101'0101U;
    const auto bits = pack(states.data(), states.size(), [](std::uint64_t eight) {
        return ((eight | eight >> 1U) & ones) ^ ones; // states are 0, 1 and 2
    });
    addBuffer(parts, bits->data(), bits);
}

std::span<const State> all(const Block<State>& states) {
    return {states.data(), states.size()};
}

std::span<const State> valueStates(const Column& column) {
    return all(column.layout == Layout::Scalar ? column.states : column.element_states);
}

const char* formatOf(Kind kind) {
    switch (kind) {
    case Kind::Int64:
        return "l";
    case Kind::Uint64:
        return "L";
    case Kind::Double:
        return "g";
    case Kind::Boolean:
        return "b";
    case Kind::Text:
    case Kind::Json:
        break;
    }
    return "U";
}

/// The values alone, whatever rows they lie in.
ArrowParts valuesOf(const SharedColumn& column, bool isFilled, ArrowValues other) {
    ArrowParts parts;
    parts.length = static_cast<std::int64_t>(column->value_count());
    addValidity(parts, isFilled ? std::span<const State>() : valueStates(*column));
    if (!other.format.empty()) {
        parts.format = std::move(other.format);
        const auto values = std::make_shared<const std::vector<std::byte>>(std::move(other.values));
        addBuffer(parts, values->data(), values);
        return parts;
    }
    parts.format = formatOf(column->kind);
    if (column->kind == Kind::Boolean) {
        const auto bits = pack(column->values.data(), column->values.size(),
                               [](std::uint64_t eight) { return eight; });
        addBuffer(parts, bits->data(), bits);
        return parts;
    }
    if (column->kind == Kind::Text || column->kind == Kind::Json) {
        addBuffer(parts, column->offsets.data(), column);
        parts.extension = column->kind == Kind::Json ? "arrow.json" : "";
    }
    addBuffer(parts, column->values.data(), column);
    return parts;
}

/// Puts values into the rows of a column.
ArrowParts inRows(const SharedColumn& column, std::string name, bool isFilled, ArrowParts values) {
    if (column->layout == Layout::Scalar) {
        values.name = std::move(name);
        return values;
    }
    values.name = "item";
    ArrowParts rows;
    rows.name = std::move(name);
    rows.length = static_cast<std::int64_t>(column->rows);
    const bool isFull = isFilled && column->layout == Layout::Fixed;
    addValidity(rows, isFull ? std::span<const State>() : all(column->states));
    if (column->layout == Layout::Fixed) {
        rows.format = "+w:" + std::to_string(column->width);
    } else {
        rows.format = "+L";
        addBuffer(rows, column->lists.data(), column);
    }
    rows.children.push_back(std::move(values));
    return rows;
}

/// All of a column of texts but the texts.
SharedColumn copyShape(const Column& column) {
    auto copy = std::make_shared<Column>();
    copy->kind = column.kind;
    copy->layout = column.layout;
    copy->rows = column.rows;
    copy->width = column.width;
    copy->lists.append(column.lists.data(), column.lists.size());
    copy->states.append(column.states.data(), column.states.size());
    copy->element_states.append(column.element_states.data(), column.element_states.size());
    copy->offsets.push_back(0);
    return copy;
}

void appendText(Column& column, std::string_view text) {
    column.values.append(reinterpret_cast<const std::byte*>(text.data()), text.size());
    column.offsets.push_back(static_cast<std::int64_t>(column.values.size()));
}

} // namespace

Encoded encode(const Column& column) {
    Encoded encoded{{}, std::make_shared<Column>()};
    Column& texts = *encoded.texts;
    texts.kind = Kind::Text;
    texts.offsets.push_back(0);
    std::unordered_map<std::string_view, std::int32_t> known;
    encoded.codes.reserve(column.value_count());
    const std::span<const State> states = valueStates(column);
    for (std::size_t i = 0; i < column.value_count(); ++i) {
        if (states[i] != State::Present) {
            encoded.codes.push_back(-1);
            continue;
        }
        const std::string_view text = column.text(i);
        const auto [at, isNew] = known.try_emplace(text, static_cast<std::int32_t>(texts.rows));
        if (isNew) {
            if (texts.rows == static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
                throw std::length_error("more distinct texts than 32-bit codes");
            }
            appendText(texts, text);
            texts.states.push_back(State::Present);
            ++texts.rows;
        }
        encoded.codes.push_back(at->second);
    }
    return encoded;
}

SharedColumn filled(const Column& column, std::string_view text) {
    auto copy = copyShape(column);
    const std::span<const State> states = valueStates(column);
    for (std::size_t i = 0; i < column.value_count(); ++i) {
        appendText(*copy, states[i] == State::Present ? column.text(i) : text);
    }
    return copy;
}

SharedColumn withoutObjects(const Column& column) {
    auto copy = copyShape(column);
    for (std::size_t i = 0; i < column.rows; ++i) {
        const bool isObject = column.text(i).starts_with('{');
        copy->states[i] = isObject ? State::Null : copy->states[i];
        appendText(*copy, isObject ? std::string_view() : column.text(i));
    }
    return copy;
}

ArrowParts toArrow(const SharedColumn& column, std::string name, bool isFilled, ArrowValues other) {
    return inRows(column, std::move(name), isFilled, valuesOf(column, isFilled, std::move(other)));
}

ArrowParts toArrowDictionary(const SharedColumn& column, std::string name, bool isFilled) {
    Encoded encoded = encode(*column);
    ArrowParts values;
    values.format = "i";
    values.length = static_cast<std::int64_t>(encoded.codes.size());
    addValidity(values, isFilled ? std::span<const State>() : valueStates(*column));
    const auto codes = std::make_shared<const std::vector<std::int32_t>>(std::move(encoded.codes));
    addBuffer(values, codes->data(), codes);
    values.dictionary = std::make_shared<const ArrowParts>(toArrow(encoded.texts, {}, false));
    return inRows(column, std::move(name), isFilled, std::move(values));
}

ArrowParts toArrowTable(std::vector<ArrowParts> columns, std::size_t rows) {
    ArrowParts table;
    table.format = "+s";
    table.isNullable = false;
    table.length = static_cast<std::int64_t>(rows);
    table.buffers.push_back(nullptr);
    table.children = std::move(columns);
    return table;
}

} // namespace ostrajson
