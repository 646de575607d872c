#include "columns/piece_column.hpp"

#include <algorithm>
#include <cstring>

namespace ostra::io::json::columns {

namespace {

using rapidjson::Value;

bool isContainer(const Value& value) {
    return value.IsArray() || value.IsObject();
}

bool holdsContainers(const Value& array) {
    return std::any_of(array.Begin(), array.End(), isContainer);
}

void appendFilled(Block<State>& states, std::size_t count, State state) {
    std::memset(static_cast<void*>(states.extend(count)), static_cast<int>(state), count);
}

} // namespace

void Gathered::clear() noexcept {
    rows = elements = 0;
    shapedBy = ruledBy = misfit = Mark();
    marks = NumberMarks();
    held = Held::Signed;
    wrongLength = false;
    values.clear();
    ends.clear();
    rowEnds.clear();
    states.clear();
    elementStates.clear();
}

PieceColumn::PieceColumn(const ColumnType& type) : type_(type) {
    clear();
}

void PieceColumn::clear() noexcept {
    data_.clear();
    data_.rule = type_.want;
    data_.shape = type_.layout == Layout::List    ? Shape::List
                  : type_.layout == Layout::Fixed ? Shape::Fixed
                  : type_.want == Want::Any       ? Shape::Undecided
                                                  : Shape::Scalar;
}

void PieceColumn::append(const Value* const* found, std::size_t count) {
    std::size_t done = 0;
    while (done < count && !data_.misfit.set()) {
        if (data_.shape == Shape::Scalar && data_.rule != Want::Any) {
            const std::size_t taken = takeRun(Rows{found + done}, count - done, data_.states);
            data_.rows += taken;
            data_.elements += taken;
            done += taken;
        }
        if (done < count) {
            takeRow(found[done++]);
        }
    }
    data_.rows += count - done;
}

void PieceColumn::takeRow(const Value* value) {
    inArray_ = false;
    if (value == nullptr || value->IsNull()) {
        missRow(value == nullptr ? State::Absent : State::Null);
    } else if (type_.layout != Layout::Scalar) {
        takeFlattened(*value);
    } else if (type_.want == Want::Any) {
        takeUntyped(*value);
    } else {
        takeScalar(*value);
    }
}

void PieceColumn::takeUntyped(const Value& value) {
    if (value.IsObject() || (value.IsArray() && holdsContainers(value))) {
        mismatch(value);
    } else if (value.IsArray()) {
        if (shapeAs(Shape::List, value)) {
            inArray_ = true;
            takeElements({value.Begin(), value.Size()});
            endRow();
        }
    } else if (shapeAs(Shape::Scalar, value)) {
        if (data_.rule == Want::Any) {
            ruleBy(value);
        }
        takeScalar(value);
    }
}

void PieceColumn::takeScalar(const Value& value) {
    const Value* const found = &value;
    const Rows one = {&found};
    if (takeRun(one, 1, data_.states) == 1 ||
        (adapt(value) && takeRun(one, 1, data_.states) == 1)) {
        ++data_.elements;
        ++data_.rows;
    } else if (type_.want == Want::Any) {
        refuse(value); // a mixture: neither of the types is the wanted one
    } else {
        mismatch(value);
    }
}

void PieceColumn::takeFlattened(const Value& value) {
    inArray_ = value.IsArray();
    runs_.clear();
    std::size_t count = 0;
    if (inArray_ && holdsContainers(value)) {
        count = flatten(value);
    } else if (!value.IsObject()) {
        runs_.push_back(inArray_ ? Run{value.Begin(), value.Size()} : Run{&value, 1});
        count = runs_.back().count;
    }
    if (data_.shape == Shape::Fixed && count != type_.width) {
        mismatch(value, true);
        return;
    }
    for (const Run& run : runs_) {
        takeElements(run);
    }
    endRow();
}

/// Finds the scalars of an array in order: those of nested arrays too, objects are dropped.
/// @return how many there are; `runs_` says where.
std::size_t PieceColumn::flatten(const Value& array) {
    std::size_t count = 0;
    open_.clear();
    Rest rest = {array.Begin(), array.End()};
    for (;;) {
        const Value* const scalarsEnd = std::find_if(rest.next, rest.end, isContainer);
        if (scalarsEnd != rest.next) {
            runs_.push_back({rest.next, static_cast<std::size_t>(scalarsEnd - rest.next)});
            count += runs_.back().count;
        }
        if (scalarsEnd == rest.end) {
            if (open_.empty()) {
                return count;
            }
            rest = open_.back();
            open_.pop_back();
            continue;
        }
        rest.next = scalarsEnd + 1;
        if (scalarsEnd->IsArray()) {
            open_.push_back(rest);
            rest = {scalarsEnd->Begin(), scalarsEnd->End()};
        }
    }
}

void PieceColumn::takeElements(Run run) {
    while (run.count != 0 && !data_.misfit.set()) {
        const std::size_t taken = takeRun(Elements{run.first}, run.count, data_.elementStates);
        data_.elements += taken;
        run.first += taken;
        run.count -= taken;
        if (run.count == 0) {
            return;
        }
        const Value& value = *run.first;
        if (!value.IsNull() && data_.rule == Want::Any) {
            ruleBy(value);
            continue;
        }
        if (adapt(value)) {
            continue;
        }
        if (!value.IsNull() && (type_.want == Want::Any || type_.mismatch == Mismatch::Refuse)) {
            refuse(value);
            return;
        }
        data_.elementStates.push_back(State::Null);
        appendZeros(1);
        ++data_.elements;
        ++run.first;
        --run.count;
    }
}

/// Ends a row of several values, all of which are appended.
void PieceColumn::endRow() {
    if (data_.misfit.set()) {
        return;
    }
    if (data_.shape == Shape::List) {
        data_.rowEnds.push_back(static_cast<std::int64_t>(data_.elements));
    }
    data_.states.push_back(State::Present);
    ++data_.rows;
}

void PieceColumn::missRow(State state) {
    if (data_.shape == Shape::Scalar) {
        appendZeros(1);
        ++data_.elements;
    } else if (data_.shape == Shape::List) {
        data_.rowEnds.push_back(static_cast<std::int64_t>(data_.elements));
    } else if (data_.shape == Shape::Fixed) {
        appendZeros(type_.width);
        appendFilled(data_.elementStates, type_.width, state);
        data_.elements += type_.width;
    }
    data_.states.push_back(state);
    ++data_.rows;
}

/// A row of another type than the wanted one.
void PieceColumn::mismatch(const Value& value, bool wrongLength) {
    if (type_.mismatch == Mismatch::Missing) {
        missRow(State::Null);
    } else {
        inArray_ = false;
        refuse(value, wrongLength);
    }
}

void PieceColumn::refuse(const Value& value, bool wrongLength) {
    data_.misfit = markOf(value);
    data_.wrongLength = wrongLength;
    ++data_.rows;
}

/// @return whether rows may lie like this.
bool PieceColumn::shapeAs(Shape shape, const Value& value) {
    if (data_.shape == Shape::Undecided) {
        data_.shape = shape;
        data_.shapedBy = markOf(value);
        if (shape == Shape::Scalar) {
            data_.elements = data_.rows; // all missing so far
        } else {
            std::fill_n(data_.rowEnds.extend(data_.rows), data_.rows, 0);
        }
    }
    if (data_.shape != shape) {
        refuse(value);
    }
    return data_.shape == shape;
}

/// The first value decides what all are.
void PieceColumn::ruleBy(const Value& value) {
    data_.rule = value.IsNumber() ? Want::Number : value.IsString() ? Want::Text : Want::Boolean;
    data_.ruledBy = markOf(value);
    appendZeros(data_.elements); // all missing so far
}

/// Makes the column hold a number that it does not hold as its numbers are held.
/// @return whether it does now.
bool PieceColumn::adapt(const Value& value) {
    if (data_.rule != Want::Number || !value.IsNumber()) {
        return false;
    }
    Mark& mark = value.IsDouble()   ? data_.marks.fraction
                 : value.IsUint64() ? data_.marks.above
                                    : data_.marks.negative;
    mark = markOf(value);
    const Held held = heldBy(data_.marks);
    if (held == Held::Double) {
        std::byte* const values = data_.values.data();
        toDoubles(values, data_.held, data_.elements, values);
    }
    data_.held = held;
    return true;
}

/// Appends what stands for missing values; nothing before there is a rule.
void PieceColumn::appendZeros(std::size_t count) {
    if (data_.rule == Want::Any || count == 0) {
        return;
    }
    if (isText(data_.rule)) {
        const auto end = static_cast<std::int64_t>(data_.values.size());
        std::fill_n(data_.ends.extend(count), count, end);
    } else {
        if (count > PTRDIFF_MAX / 8) {
            throw std::bad_alloc();
        }
        const std::size_t bytes = count * sizeOf(data_.rule);
        std::memset(data_.values.extend(bytes), 0, bytes);
    }
}

Mark PieceColumn::markOf(const Value& value) const {
    FoundValue found = FoundValue::of(value, inArray_);
    if (data_.rule == Want::Json && hasHugeIntegers_ && holdsHugeInteger(value)) {
        found.type = FoundValue::Type::Huge; // which is a value without a text of its own
    }
    return {data_.rows, data_.elements, found};
}

} // namespace ostra::io::json::columns
