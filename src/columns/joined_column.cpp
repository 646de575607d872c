#include "columns/joined_column.hpp"

#include "base/huge_pages.hpp"

#include <algorithm>
#include <cstring>
#include <utility>

namespace ostra::io::json::columns {

namespace {

constexpr std::size_t mostLikelyRows = std::size_t{1} << 40U;

const char* nameOf(Kind kind) {
    return kind == Kind::Int64 ? "int64" : kind == Kind::Uint64 ? "uint64" : "double";
}

/// Appends offsets that count from somewhere else.
void appendShifted(Block<std::int64_t>& to, const Block<std::int64_t>& from, std::int64_t shift) {
    std::transform(from.begin(), from.end(), to.extend(from.size()),
                   [shift](std::int64_t offset) { return offset + shift; });
}

/// Reserves what may be a bad guess.
template <class T>
void reserveGuess(Block<T>& block, std::size_t count) {
    try {
        block.reserve(count);
    } catch (const std::bad_alloc&) {
        return; // it grows as it must, then
    }
}

/// Maps a block at once if it is going to be large: growing there with malloc, it would be copied
/// again and again, each time to fresh pages. Reading 100 MB to six columns: 172 to 146 ms.
template <class T>
void expectGrowth(Block<T>& block, double times) {
    if (static_cast<double>(block.size() * sizeof(T)) * times >= base::worthHugePages) {
        reserveGuess(block, base::worthHugePages / sizeof(T));
    }
}

void appendRepeated(Block<std::int64_t>& to, std::size_t count, std::int64_t offset) {
    std::fill_n(to.extend(count), count, offset);
}

} // namespace

JoinedColumn::JoinedColumn(const ColumnType& type, std::size_t likelyRows)
    : type_(type), likelyRows_(std::min(likelyRows, mostLikelyRows)) {
    forgetType();
}

std::optional<Misfit> JoinedColumn::misfit(const Gathered& piece) const {
    const std::size_t base = rowsBefore_ + column_.rows;
    const Shape shape = shape_ != Shape::Undecided ? shape_ : piece.shape;
    const Want rule = rule_ != Want::Any ? rule_ : piece.rule;
    std::optional<Misfit> first;
    const auto consider = [&](const Mark& mark, std::size_t from, const std::string& wanted) {
        if (mark.set() && (!first || from + mark.row < first->row)) {
            first = {from + mark.row, mark.value.text(), wanted};
        }
    };
    if (piece.shape != shape && piece.shape != Shape::Undecided) {
        consider(piece.shapedBy, base, wantedText(type_, shape, rule_, false));
    }
    if (piece.rule != rule && piece.rule != Want::Any) {
        consider(piece.ruledBy, base, wantedText(type_, shape, rule, false));
    }
    if (piece.rule == Want::Number && rule == Want::Number) {
        if (class_) {
            consider(piece.marks.endOf(*class_), base, nameOf(*class_));
        } else {
            NumberMarks all = marks_;
            all.append(piece.marks, column_.rows, elements_);
            consider(all.conflict(), rowsBefore_, nameOf(all.lastToEnd()));
        }
    }
    // What the piece knew when it met its misfit, and what was known before. Nothing behind it is
    // in the piece.
    consider(piece.misfit, base, wantedText(type_, shape, rule, piece.wrongLength));
    return first;
}

void JoinedColumn::append(const Gathered& piece) {
    begin();
    if (shape_ == Shape::Undecided && piece.shape != Shape::Undecided) {
        shape_ = piece.shape;
        beginRows();
    }
    if (rule_ == Want::Any && piece.rule != Want::Any) {
        rule_ = piece.rule;
        beginValues();
    }
    const bool allMissing = piece.shape == Shape::Undecided;
    if (shape_ == Shape::List) {
        const auto end = static_cast<std::int64_t>(elements_);
        if (allMissing) {
            appendRepeated(column_.lists, piece.rows, end);
        } else {
            appendShifted(column_.lists, piece.rowEnds, end);
        }
    }
    const std::size_t elements = shape_ == Shape::Scalar ? piece.rows : piece.elements;
    if (piece.rule == Want::Any) {
        appendZeros(elements);
    } else if (isText(rule_)) {
        appendShifted(column_.offsets, piece.ends,
                      static_cast<std::int64_t>(column_.values.size()));
        column_.values.append(piece.values.data(), piece.values.size());
    } else if (rule_ == Want::Number) {
        appendNumbers(piece);
    } else {
        column_.values.append(piece.values.data(), piece.values.size());
    }
    column_.states.append(piece.states.data(), piece.states.size());
    column_.element_states.append(piece.elementStates.data(), piece.elementStates.size());
    elements_ += elements;
    column_.rows += piece.rows;
}

void JoinedColumn::appendNumbers(const Gathered& piece) {
    marks_.append(piece.marks, column_.rows, elements_);
    const Held held = class_ == Kind::Double ? Held::Double : heldBy(marks_);
    if (held == Held::Double && held_ != Held::Double) {
        toDoubles(column_.values.data(), held_, elements_, column_.values.data());
    }
    held_ = held;
    const std::size_t size = piece.values.size();
    std::byte* const to = column_.values.extend(size);
    if (held == Held::Double && piece.held != Held::Double) {
        toDoubles(piece.values.data(), piece.held, size / sizeof(double), to);
    } else if (size != 0) {
        std::memcpy(to, piece.values.data(), size);
    }
}

void JoinedColumn::expect(double times) {
    expectGrowth(column_.values, times);
    expectGrowth(column_.offsets, times);
    expectGrowth(column_.lists, times);
    expectGrowth(column_.states, times);
    expectGrowth(column_.element_states, times);
}

/// What a fresh column begins with.
void JoinedColumn::begin() {
    if (begun_) {
        return;
    }
    begun_ = true;
    reserveGuess(column_.states, likelyRows_);
    beginRows();
    beginValues();
}

/// Once it is known how rows lie.
void JoinedColumn::beginRows() {
    if (shape_ == Shape::Scalar) {
        elements_ = column_.rows; // all missing so far
    } else if (shape_ == Shape::List) {
        reserveGuess(column_.lists, likelyRows_ + 1);
        appendRepeated(column_.lists, column_.rows + 1, 0);
    }
}

/// Once it is known what the values are.
void JoinedColumn::beginValues() {
    if (rule_ == Want::Any) {
        return;
    }
    if (isText(rule_)) {
        reserveGuess(column_.offsets, likelyRows_ + 1);
        column_.offsets.push_back(0);
    } else {
        reserveGuess(column_.values, likelyRows_ * sizeOf(rule_));
    }
    appendZeros(elements_);
}

/// Appends what stands for missing values; nothing as long as it is not known what the values are.
void JoinedColumn::appendZeros(std::size_t count) {
    if (rule_ == Want::Any || count == 0) {
        return;
    }
    if (isText(rule_)) {
        appendRepeated(column_.offsets, count, static_cast<std::int64_t>(column_.values.size()));
    } else {
        const std::size_t size = count * sizeOf(rule_);
        std::memset(column_.values.extend(size), 0, size);
    }
}

Kind JoinedColumn::kind() const {
    switch (rule_) {
    case Want::Number:
        return class_ ? *class_ : marks_.best();
    case Want::Int64:
        return Kind::Int64;
    case Want::Uint64:
        return Kind::Uint64;
    case Want::Boolean:
        return Kind::Boolean;
    case Want::Text:
        return Kind::Text;
    case Want::Json:
        return Kind::Json;
    case Want::Any:
    case Want::Double:
        break;
    }
    return Kind::Double;
}

Column JoinedColumn::take(bool keepType) {
    begin();
    const Shape knownShape = shape_;
    const Want knownRule = rule_;
    if (shape_ == Shape::Undecided) {
        shape_ = Shape::Scalar;
        beginRows();
    }
    if (rule_ == Want::Any) {
        rule_ = Want::Double;
        beginValues();
    }
    const bool settled = rule_ == Want::Number && (class_ || holdsValues());
    // All missing numbers are doubles; their zeros are the same in all classes.
    column_.kind = rule_ == Want::Number && !settled ? Kind::Double : kind();
    column_.layout = shape_ == Shape::List    ? Layout::List
                     : shape_ == Shape::Fixed ? Layout::Fixed
                                              : Layout::Scalar;
    column_.width = shape_ == Shape::Fixed ? type_.width : 1;
    column_.values.shrink();
    column_.offsets.shrink();
    column_.lists.shrink();
    column_.states.shrink();
    column_.element_states.shrink();
    if (!keepType) {
        forgetType();
    } else {
        shape_ = knownShape;
        rule_ = knownRule;
        if (settled) {
            class_ = column_.kind;
        }
    }
    rowsBefore_ += column_.rows;
    marks_ = NumberMarks();
    held_ = Held::Signed;
    elements_ = 0;
    begun_ = false;
    return std::exchange(column_, Column());
}

void JoinedColumn::forgetType() {
    shape_ = type_.layout == Layout::List    ? Shape::List
             : type_.layout == Layout::Fixed ? Shape::Fixed
             : type_.want == Want::Any       ? Shape::Undecided
                                             : Shape::Scalar;
    rule_ = type_.want;
    class_.reset();
}

bool JoinedColumn::holdsValues() const {
    const Block<State>& states = shape_ == Shape::Scalar ? column_.states : column_.element_states;
    return std::find(states.begin(), states.end(), State::Present) != states.end();
}

} // namespace ostra::io::json::columns
