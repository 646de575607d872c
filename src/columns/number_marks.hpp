#pragma once

/// Which class of numbers holds all numbers of a column exactly.

#include "columns/found_value.hpp"

#include <ostra/io/json/columns/column.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace ostra::io::json::columns {

inline constexpr std::size_t never = SIZE_MAX;

/// A value that decided something.
struct Mark {
    std::size_t row = never;
    std::size_t element = never; // its number among all values of all rows
    FoundValue value;

    bool set() const { return row != never; }
};

/// The first numbers that one class or another does not hold.
///
/// That is all there is to know: each class is ruled out by the first of its marks, whatever comes
/// later. So the marks of a column are those of its pieces, one after another.
struct NumberMarks {
    Mark fraction; // a double, whatever its value
    Mark negative;
    Mark above;   // an integer above 2^63 - 1
    Mark inexact; // an integer that a double does not hold exactly

    /// The first number that a class does not hold; unset if it holds all.
    const Mark& endOf(Kind kind) const {
        const Mark& integer = kind == Kind::Int64 ? above : negative;
        return kind == Kind::Double                  ? inexact
               : fraction.element <= integer.element ? fraction
                                                     : integer;
    }

    /// The class of the column, if there is one: the first one that holds all rows.
    Kind best() const {
        return !endOf(Kind::Int64).set()    ? Kind::Int64
               : !endOf(Kind::Uint64).set() ? Kind::Uint64
                                            : Kind::Double;
    }

    /// The number that leaves no class, or an unset mark.
    const Mark& conflict() const { return endOf(lastToEnd()); }

    /// The class that holds the most numbers: what the column is up to a conflict.
    Kind lastToEnd() const {
        const std::size_t longest = std::max(
            {endOf(Kind::Int64).element, endOf(Kind::Uint64).element, endOf(Kind::Double).element});
        return endOf(Kind::Int64).element == longest    ? Kind::Int64
               : endOf(Kind::Uint64).element == longest ? Kind::Uint64
                                                        : Kind::Double;
    }

    /// Adds the marks of the rows that follow so many rows and elements.
    void append(const NumberMarks& following, std::size_t rows, std::size_t elements) {
        for (Mark NumberMarks::*const mark : {&NumberMarks::fraction, &NumberMarks::negative,
                                              &NumberMarks::above, &NumberMarks::inexact}) {
            if (!(this->*mark).set() && (following.*mark).set()) {
                this->*mark = following.*mark;
                (this->*mark).row += rows;
                (this->*mark).element += elements;
            }
        }
    }
};

/// How the numbers of a column are held for the time being, 8 bytes each.
enum class Held : std::uint8_t {
    Signed,   // as std::int64_t: none is above 2^63 - 1
    Unsigned, // as std::uint64_t: some are, and none is negative
    Double,   // no class of integers holds them
};

/// How numbers with these marks are held: as integers as long as one class of them will do.
inline Held heldBy(const NumberMarks& marks) {
    switch (marks.best()) {
    case Kind::Int64:
        return Held::Signed;
    case Kind::Uint64:
        return Held::Unsigned;
    default:
        return Held::Double;
    }
}

/// Converts numbers that are held as integers to doubles, perhaps in place.
void toDoubles(const std::byte* from, Held held, std::size_t count, std::byte* to);

} // namespace ostra::io::json::columns
