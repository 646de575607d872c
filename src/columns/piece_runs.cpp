#include "columns/piece_column.hpp"

#include "base/raw_value.hpp"
#include "document/serialise.hpp"
#include "node_content/number_class.hpp"

#include <cstring>

namespace ostra::io::json::columns {

namespace {

using rapidjson::Value;

/// Beyond, an integer has to be looked at more closely.
constexpr std::uint64_t allExact = std::uint64_t{1} << 53U;

} // namespace

[[gnu::noinline]] void PieceColumn::noteInteger(const Value& value, std::size_t row,
                                                std::size_t element) {
    if (value.IsDouble()) { // a huge one
        if (!data_.marks.inexact.set()) {
            data_.marks.inexact = {row, element, FoundValue::of(value, inArray_)};
        }
        return;
    }
    const bool negative = !value.IsUint64();
    if (negative && !data_.marks.negative.set()) {
        data_.marks.negative = {row, element, FoundValue::of(value, inArray_)};
    }
    if (!data_.marks.inexact.set()) {
        const auto bits =
            negative ? static_cast<std::uint64_t>(value.GetInt64()) : value.GetUint64();
        if (!tree::fitsMantissa(negative ? 0 - bits : bits)) {
            data_.marks.inexact = {row, element, FoundValue::of(value, inArray_)};
        }
    }
}

/// @param convert  `(value, to, i)`: whether value `i` is of the kind; it is in `to` then.
template <class T, class Source, class Convert>
std::size_t PieceColumn::takePlain(const Source& source, std::size_t count, Block<State>& states,
                                   const Convert& convert) {
    const std::size_t before = data_.values.size();
    const std::size_t statesBefore = states.size();
    State* const state = states.extend(count);
    std::byte* const to = data_.values.extend(count * sizeof(T));
    std::size_t i = 0;
    for (; i < count; ++i) {
        const Value* const value = source[i];
        T converted{};
        if (value == nullptr) {
            state[i] = State::Absent;
        } else if (convert(*value, converted, i)) {
            state[i] = State::Present;
        } else if (value->IsNull()) {
            state[i] = State::Null;
        } else {
            break;
        }
        std::memcpy(to + i * sizeof(T), &converted, sizeof(T));
    }
    data_.values.setSize(before + i * sizeof(T));
    states.setSize(statesBefore + i);
    return i;
}

/// Numbers whose class is not known yet; marks on the way what they rule out.
///
/// Flattened: RapidJSON's getters are calls otherwise, which take as long as all the rest.
template <class Source>
[[gnu::flatten]] std::size_t PieceColumn::takeNumbers(const Source& source, std::size_t count,
                                                      Block<State>& states) {
    switch (data_.held) {
    case Held::Signed:
        return takePlain<std::int64_t>(
            source, count, states, [this](const Value& value, std::int64_t& to, std::size_t i) {
                if (value.IsDouble() || !value.IsInt64()) {
                    return false;
                }
                to = value.GetInt64();
                if (static_cast<std::uint64_t>(to) > allExact) { // or negative
                    noteInteger(value, data_.rows + i * Source::rowStep, data_.elements + i);
                }
                return true;
            });
    case Held::Unsigned:
        return takePlain<std::uint64_t>(
            source, count, states, [this](const Value& value, std::uint64_t& to, std::size_t i) {
                if (value.IsDouble() || !value.IsUint64()) {
                    return false;
                }
                to = value.GetUint64();
                if (to > allExact) {
                    noteInteger(value, data_.rows + i * Source::rowStep, data_.elements + i);
                }
                return true;
            });
    case Held::Double:
        return takePlain<double>(
            source, count, states, [this](const Value& value, double& to, std::size_t i) {
                if (!value.IsNumber()) {
                    return false;
                }
                to = value.GetDouble();
                if (!value.IsDouble() || base::RawValue::isBigInteger(value)) {
                    noteInteger(value, data_.rows + i * Source::rowStep, data_.elements + i);
                }
                return true;
            });
    }
    return 0;
}

/// Most texts are held inside their values: all bytes of those are copied without a loop, and what
/// is too many is written over by the next one.
template <class Source>
std::size_t PieceColumn::takeTexts(const Source& source, std::size_t count, Block<State>& states) {
    const std::size_t before = states.size();
    State* const state = states.extend(count);
    const std::size_t endsBefore = data_.ends.size();
    std::int64_t* const ends = data_.ends.extend(count);
    std::size_t used = data_.values.size();
    std::size_t i = 0;
    for (; i < count; ++i) {
        const Value* const value = source[i];
        if (value == nullptr) {
            state[i] = State::Absent;
        } else if (value->IsString()) {
            state[i] = State::Present;
            const char* const text = value->GetString();
            const std::size_t length = value->GetStringLength();
            data_.values.setSize(used);
            data_.values.reserve(used + length + sizeof(Value));
            std::byte* const to = data_.values.data() + used;
            if (text == reinterpret_cast<const char*>(value)) {
                std::memcpy(to, text, sizeof(Value));
            } else {
                std::memcpy(to, text, length);
            }
            used += length;
        } else if (value->IsNull()) {
            state[i] = State::Null;
        } else {
            break;
        }
        ends[i] = static_cast<std::int64_t>(used);
    }
    data_.values.setSize(used);
    data_.ends.setSize(endsBefore + i);
    states.setSize(before + i);
    return i;
}

template <class Source>
std::size_t PieceColumn::takeJson(const Source& source, std::size_t count, Block<State>& states) {
    for (std::size_t i = 0; i < count; ++i) {
        const Value* const value = source[i];
        if (value != nullptr && !value->IsNull()) {
            if (hasHugeIntegers_ && holdsHugeInteger(*value)) {
                return i;
            }
            const tree::TextBuffer text = tree::serialise(*value, {});
            data_.values.append(reinterpret_cast<const std::byte*>(text.data()), text.size());
        }
        data_.ends.push_back(static_cast<std::int64_t>(data_.values.size()));
        states.push_back(value == nullptr  ? State::Absent
                         : value->IsNull() ? State::Null
                                           : State::Present);
    }
    return count;
}

/// Appends values up to the first that takes more thought.
/// @param states  where their states go.
/// @return how many were appended.
template <class Source>
std::size_t PieceColumn::takeRun(const Source& source, std::size_t count, Block<State>& states) {
    switch (data_.rule) {
    case Want::Any:
        return 0;
    case Want::Number:
        return takeNumbers(source, count, states);
    case Want::Int64:
        return takePlain<std::int64_t>(source, count, states,
                                       [](const Value& value, std::int64_t& to, std::size_t) {
                                           to = value.IsInt64() ? value.GetInt64() : 0;
                                           return value.IsInt64() && !value.IsDouble();
                                       });
    case Want::Uint64:
        return takePlain<std::uint64_t>(source, count, states,
                                        [](const Value& value, std::uint64_t& to, std::size_t) {
                                            to = value.IsUint64() ? value.GetUint64() : 0;
                                            return value.IsUint64() && !value.IsDouble();
                                        });
    case Want::Double:
        return takePlain<double>(source, count, states,
                                 [](const Value& value, double& to, std::size_t) {
                                     to = value.IsNumber() ? value.GetDouble() : 0;
                                     return value.IsNumber();
                                 });
    case Want::Boolean:
        return takePlain<std::uint8_t>(source, count, states,
                                       [](const Value& value, std::uint8_t& to, std::size_t) {
                                           to = value.IsTrue() ? 1 : 0;
                                           return value.IsBool();
                                       });
    case Want::Text:
        return takeTexts(source, count, states);
    case Want::Json:
        return takeJson(source, count, states);
    }
    return 0;
}

template std::size_t PieceColumn::takeRun(const Rows&, std::size_t, Block<State>&);
template std::size_t PieceColumn::takeRun(const Elements&, std::size_t, Block<State>&);

} // namespace ostra::io::json::columns
