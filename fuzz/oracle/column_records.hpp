#pragma once

/// Records whose fields hold what columns are made of, and the model applied to all of their
/// fields.

#include "column_model.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

namespace fuzz {

using columns::Field;

/// Records and fields by decisions of a `Source`, which has `below(limit)`.
template <class Source>
class ColumnRecords {
public:
    using Pool = rapidjson::Document::AllocatorType;

    ColumnRecords(Source& source, Pool& pool) : source_(source), pool_(pool) {
        for (std::size_t& flavour : flavours_) {
            flavour = source_.below(flavourCount);
        }
        wildness_ = source_.below(3) == 0 ? 2 : source_.below(2) == 0 ? 30 : 255;
    }

    /// Mostly objects with most of the keys in one of few orders, some of them twice.
    Value record() {
        if (oneIn(wildness_)) {
            return any();
        }
        Value object(rapidjson::kObjectType);
        const std::size_t first = oneIn(wildness_) ? source_.below(keys().size()) : 0;
        for (std::size_t k = 0; k < keys().size(); ++k) {
            const std::size_t key = (first + k) % keys().size();
            if (oneIn(8)) {
                continue;
            }
            object.AddMember(name(key), field(key), pool_);
            if (oneIn(wildness_)) {
                object.AddMember(name(key), any(), pool_);
            }
        }
        return object;
    }

    std::vector<Field> fields() {
        static const std::array<std::string, 12> pointers = {
            "/a",       "/b",     "/nested/a", "/nested/b", "/nested",
            "/c/0",     "/c/1/0", "/c/-",      "",          "/a key of more than 21 bytes",
            "/missing", "/c"};
        std::vector<Field> result;
        for (std::size_t n = source_.below(5) + 1; n > 0; --n) {
            result.push_back(
                {"f" + std::to_string(n), pointers[source_.below(pointers.size())], type()});
        }
        return result;
    }

private:
    static const std::array<std::string, 5>& keys() {
        static const std::array<std::string, 5> all = {"a", "nested", "c",
                                                       "a key of more than 21 bytes", "b"};
        return all;
    }
    static constexpr std::size_t flavourCount = 12;

    bool oneIn(std::size_t n) { return source_.below(n) == 0; }

    /// A key of a document that was read, or one that somebody put there.
    Value name(std::size_t key) {
        const std::string& text = keys()[key];
        return oneIn(16) ? Value(rapidjson::StringRef(text.data(), text.size()))
                         : Value(text.data(), text.size(), pool_);
    }

    ColumnType type() {
        ColumnType type;
        if (oneIn(2)) {
            type.want = static_cast<Want>(source_.below(8));
        }
        if (oneIn(3)) {
            type.layout = oneIn(2) ? Layout::List : Layout::Fixed;
            type.width = type.layout == Layout::Fixed ? source_.below(3) + 1 : 1;
        }
        type.mismatch = oneIn(3) ? Mismatch::Missing : Mismatch::Refuse;
        return type;
    }

    Value field(std::size_t key) {
        if (oneIn(6)) {
            return Value();
        }
        if (oneIn(wildness_)) {
            return any();
        }
        const std::size_t flavour = flavours_[key];
        if (key == 1) {
            Value object(rapidjson::kObjectType);
            object.AddMember(name(0), ofFlavour(flavour), pool_);
            if (!oneIn(4)) {
                object.AddMember(name(4), ofFlavour(flavours_[0]), pool_);
            }
            return object;
        }
        return ofFlavour(flavour);
    }

    Value ofFlavour(std::size_t flavour) {
        if (flavour >= 8) { // arrays
            Value array(rapidjson::kArrayType);
            for (std::size_t n = source_.below(4); n > 0; --n) {
                Value element = oneIn(8)           ? Value()
                                : oneIn(wildness_) ? any()
                                                   : ofFlavour(flavours_[0] % 8);
                array.PushBack(element, pool_);
            }
            return array;
        }
        static const std::array<std::int64_t, 6> integers = {
            0, 1, -7, 1L << 53U, (1L << 53U) + 1, -(1L << 53U) - 1};
        static const std::array<std::uint64_t, 4> above = {1UL << 63U, ~0UL, 5,
                                                           (1UL << 63U) + 2048};
        static const std::array<double, 5> reals = {0.0, -0.0, 2.0, 0.1, 1e300};
        switch (flavour) {
        case 0:
            return Value(integers[source_.below(2)]);
        case 1:
            return Value(integers[source_.below(integers.size())]);
        case 2:
            return Value(above[source_.below(above.size())]);
        case 3:
            return Value(reals[source_.below(reals.size())]);
        case 4:
            return oneIn(4) ? Value(reals[source_.below(reals.size())])
                            : Value(integers[source_.below(4)]);
        case 5:
            return oneIn(4) ? Value(above[3]) : Value(integers[source_.below(4)]);
        case 6:
            return Value(oneIn(2));
        default: {
            const std::string text(source_.below(3) * 11, oneIn(2) ? 'x' : '\0');
            return Value(text.data(), text.size(), pool_);
        }
        }
    }

    Value any() {
        switch (source_.below(5)) {
        case 0: {
            Value object(rapidjson::kObjectType);
            object.AddMember(name(0), ofFlavour(source_.below(8)), pool_);
            return object;
        }
        case 1: {
            Value outer(rapidjson::kArrayType);
            outer.PushBack(ofFlavour(source_.below(flavourCount)), pool_);
            outer.PushBack(ofFlavour(8), pool_);
            return outer;
        }
        default:
            return ofFlavour(source_.below(flavourCount));
        }
    }

    Source& source_;
    Pool& pool_;
    std::array<std::size_t, 5> flavours_{};
    std::size_t wildness_ = 255; // how seldom something unusual is
};

/// The model for all fields of records.
class PlainSelection {
public:
    explicit PlainSelection(const std::vector<Field>& fields) : fields_(fields) {
        for (const Field& field : fields) {
            columns_.emplace_back(field.type);
        }
    }

    void add(Value& record) {
        for (std::size_t f = 0; f < fields_.size(); ++f) {
            std::vector<std::string> tokens;
            check(splitSelector(fields_[f].pointer, tokens), "a pointer");
            columns_[f].add(follow(&record, tokens));
        }
    }

    /// The conflict of the first row that has one; of its fields, the first.
    std::optional<PlainConflict> conflict(std::string& field) const {
        std::optional<PlainConflict> first;
        for (std::size_t f = 0; f < fields_.size(); ++f) {
            const auto& one = columns_[f].conflict;
            if (one && (!first || one->row < first->row)) {
                first = one;
                field = fields_[f].name;
            }
        }
        return first;
    }

    void compare(const std::vector<Column>& columns, bool keep) {
        check(columns.size() == fields_.size(), "number of columns");
        for (std::size_t f = 0; f < columns.size(); ++f) {
            columns_[f].compare(columns[f], keep);
        }
    }

    /// Compares with what `run` gives or throws.
    template <class Run>
    void compareOutcome(const Run& run) {
        std::string field;
        const auto expected = conflict(field);
        try {
            const std::vector<Column> columns = run();
            check(!expected, "a conflict that was not found");
            compare(columns, false);
        } catch (const columns::ColumnConflict& error) {
            compareConflict(error);
        }
    }

    void compareConflict(const columns::ColumnConflict& error) const {
        std::string field;
        const auto expected = conflict(field);
        check(expected.has_value(), error.what());
        check(error.field() == field && error.row() == expected->row &&
                  error.found() == expected->found && error.wanted() == expected->wanted,
              error.what());
    }

private:
    std::vector<Field> fields_;
    std::vector<PlainColumn> columns_;
};

} // namespace fuzz
