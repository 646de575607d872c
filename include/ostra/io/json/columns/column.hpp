#pragma once

/// @file
/// One field of many records as contiguous memory that any array host can wrap without copying.
///
/// Threads: plain values; a column may be read by many threads while none changes it.

#include <ostra/io/json/columns/block.hpp>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace ostra::io::json::columns {

/// What the values of a column are.
enum class Kind : std::uint8_t {
    Int64,   ///< `std::int64_t`, 8 bytes
    Uint64,  ///< `std::uint64_t`, 8 bytes
    Double,  ///< IEEE 754 binary64, 8 bytes
    Boolean, ///< one byte, 0 or 1
    Text,    ///< UTF-8 bytes and 64-bit offsets
    Json,    ///< as `Text`: each value's own compact JSON text (RFC 8259)
};

/// How the values of a row lie.
enum class Layout : std::uint8_t {
    Scalar, ///< one value a row
    List,   ///< any number of values a row: `lists` says which
    Fixed,  ///< `width` values a row, row by row: an n x k matrix in row-major order
};

/// Whether a row or an element has a value. A missing one holds zero (an empty text) in `values`.
enum class State : std::uint8_t {
    Present = 0,
    Null = 1,   ///< null in the document, or a value of another type that counts as missing
    Absent = 2, ///< the record has no such value
};

/// A column of `rows` rows.
///
/// The number of values is `rows` for scalars, `rows * width` for fixed widths and `lists[rows]`
/// for lists; a missing row of a list holds no values, one of a fixed width holds `width` zeros.
struct Column {
    Kind kind = Kind::Double;
    Layout layout = Layout::Scalar;
    std::size_t rows = 0;
    std::size_t width = 1; ///< values a row of `Fixed`, else 1

    Block<std::byte> values;     ///< of `kind`; the bytes of all texts for `Text` and `Json`
    Block<std::int64_t> offsets; ///< `Text`, `Json`: where each text begins; one more at the end
    Block<std::int64_t> lists;   ///< `List`: where each row's values begin; one more at the end
    Block<State> states;         ///< one a row
    Block<State> element_states; ///< `List`, `Fixed`: one a value; empty for `Scalar`

    /// @return the number of values, missing ones included. Cost: constant.
    std::size_t value_count() const noexcept {
        return layout == Layout::List ? static_cast<std::size_t>(lists[rows]) : rows * width;
    }

    /// @return the values as `T`, which must be the type of `kind` (`std::uint8_t` for `Boolean`).
    template <class T>
    std::span<const T> as() const noexcept {
        return {reinterpret_cast<const T*>(values.data()), values.size() / sizeof(T)};
    }

    /// @param index  of the value, from 0, below `value_count()`.
    /// @return the UTF-8 bytes of a `Text` or `Json` value; they live as long as the column.
    std::string_view text(std::size_t index) const noexcept {
        const auto begin = static_cast<std::size_t>(offsets.data()[index]);
        const auto end = static_cast<std::size_t>(offsets.data()[index + 1]);
        return {reinterpret_cast<const char*>(values.data()) + begin, end - begin};
    }
};

} // namespace ostra::io::json::columns
