#pragma once

/// One field of some consecutive records, as far as these alone decide about it.

#include "columns/number_marks.hpp"

#include <ostra/io/json/columns/field.hpp>

#include <ostra/io/json/tree/rapidjson.hpp>

#include <optional>
#include <string>
#include <vector>

namespace ostra::io::json::columns {

/// How rows lie, as far as it is known.
enum class Shape : std::uint8_t { Undecided, Scalar, List, Fixed };

/// Whether values are texts with offsets; all others have one size.
inline bool isText(Want rule) {
    return rule == Want::Text || rule == Want::Json;
}
inline std::size_t sizeOf(Want rule) {
    return rule == Want::Boolean ? 1 : 8;
}

/// What a piece knows of its rows. Rows count from its beginning.
struct Gathered {
    std::size_t rows = 0;

    Shape shape = Shape::Undecided;
    Mark shapedBy; // unset if the field's type says it
    Want rule = Want::Any;
    Mark ruledBy; // unset if the field's type says it
    NumberMarks marks;
    Held held = Held::Signed;

    /// The first row that does not fit those before it; nothing behind it is gathered.
    Mark misfit;
    bool wrongLength = false; // of that row's array

    std::size_t elements = 0;    // values, missing ones included
    Block<std::byte> values;     // once there is a rule: 8 bytes a number, 1 a boolean, or texts
    Block<std::int64_t> ends;    // texts: where each ends
    Block<std::int64_t> rowEnds; // lists: the values up to the end of each row
    Block<State> states;         // one a row
    Block<State> elementStates;  // lists and fixed widths: one a value

    void clear() noexcept;
};

class PieceColumn {
public:
    explicit PieceColumn(const ColumnType& type);

    /// Appends one row for each pointer; null stands for an absent value.
    /// @throws std::bad_alloc  it may then only be cleared or destroyed.
    void append(const rapidjson::Value* const* found, std::size_t count);

    /// Says whether what is appended from now on may hold huge integers, marked as such.
    void expectHugeIntegers(bool expected) { hasHugeIntegers_ = expected; }

    const Gathered& gathered() const { return data_; }
    void clear() noexcept;

private:
    using Value = rapidjson::Value;

    // How runs of values get at them: rows by their pointers, elements side by side.
    struct Rows {
        const Value* const* found;
        static constexpr std::size_t rowStep = 1;
        const Value* operator[](std::size_t i) const { return found[i]; }
    };
    struct Elements {
        const Value* first;
        static constexpr std::size_t rowStep = 0;
        const Value* operator[](std::size_t i) const { return first + i; }
    };
    struct Run {
        const Value* first;
        std::size_t count;
    };

    template <class Source>
    std::size_t takeRun(const Source& source, std::size_t count, Block<State>& states);
    template <class T, class Source, class Convert>
    std::size_t takePlain(const Source& source, std::size_t count, Block<State>& states,
                          const Convert& convert);
    template <class Source>
    std::size_t takeNumbers(const Source& source, std::size_t count, Block<State>& states);
    template <class Source>
    std::size_t takeTexts(const Source& source, std::size_t count, Block<State>& states);
    template <class Source>
    std::size_t takeJson(const Source& source, std::size_t count, Block<State>& states);

    void takeRow(const Value* value);
    void takeUntyped(const Value& value);
    void takeScalar(const Value& value);
    void takeFlattened(const Value& value);
    void takeElements(Run run);
    std::size_t flatten(const Value& array);
    void endRow();
    void missRow(State state);
    void mismatch(const Value& value, bool wrongLength = false);
    void refuse(const Value& value, bool wrongLength = false);
    bool shapeAs(Shape shape, const Value& value);
    void ruleBy(const Value& value);
    bool adapt(const Value& value);
    void noteInteger(const Value& value, std::size_t row, std::size_t element);
    void appendZeros(std::size_t count);
    Mark markOf(const Value& value) const;

    ColumnType type_;
    Gathered data_;
    bool hasHugeIntegers_ = false;
    bool inArray_ = false;  // where the values at hand stand
    std::vector<Run> runs_; // the scalars of an array that holds arrays or objects
    struct Rest {
        const Value* next;
        const Value* end;
    };
    std::vector<Rest> open_; // arrays around the one that is flattened
};

/// The type of a column in words: "int64", "strings", "arrays of 3".
std::string wantedText(const ColumnType& type, Shape shape, Want rule, bool length);

} // namespace ostra::io::json::columns
