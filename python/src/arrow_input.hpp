#pragma once

/// Arrow arrays that others share with us.

#include "arrow_interface.hpp"

#include <nanobind/nanobind.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ostrajson {

namespace nb = nanobind;

/// What an object gives by Arrow's PyCapsule interface; released with this.
class ArrowInput {
public:
    /// @throws nb::python_error  what the object raises; a ValueError with a stream's own message
    ///                           if that fails; a TypeError for capsules of another kind.
    explicit ArrowInput(nb::handle object);
    ~ArrowInput();
    ArrowInput(ArrowInput&& other) noexcept
        : schema_(std::exchange(other.schema_, {})), chunks_(std::move(other.chunks_)) {}
    ArrowInput& operator=(ArrowInput&&) = delete;

    const ArrowSchema& schema() const { return schema_; }
    const std::vector<ArrowArray>& chunks() const { return chunks_; }

private:
    void releaseAll();
    void readStream(nb::handle capsule);

    ArrowSchema schema_{};
    std::vector<ArrowArray> chunks_;
};

/// The values of an array, by their positions.
///
/// Types: null, booleans, integers, floats, texts in all three layouts, dates in days, times of day
/// and timestamps; lists of all kinds, structs, dictionaries. Extension types are what they are
/// stored as.
class ArrowCells {
public:
    enum class Type : std::uint8_t {
        Null,
        Boolean,
        Signed,
        Unsigned,
        Float,
        Text,
        Json, ///< a text that is a JSON text
        Date,
        Time,
        Timestamp,
        List,
        Struct
    };

    /// The structures must outlive this.
    /// @throws nb::python_error  a TypeError for a type that is none of these.
    ArrowCells(const ArrowSchema& schema, const ArrowArray& array);

    Type type() const { return type_; }
    std::size_t size() const { return static_cast<std::size_t>(array_->length); }
    bool isMissing(std::size_t i) const;

    bool boolean(std::size_t i) const;
    /// Of a signed number; of a date in days, of a time or timestamp in ticks, `perSecond` of them.
    std::int64_t integer(std::size_t i) const;
    std::uint64_t natural(std::size_t i) const;
    double floating(std::size_t i) const;
    /// Of a float, whether its shortest digits are those of 32 bits.
    bool isSingle() const { return isDictionary_ ? children_.front().isSingle() : width_ != 8; }
    std::string_view text(std::size_t i) const;
    /// The positions of a list's first value, and of the one behind its last, in `children()`.
    std::pair<std::size_t, std::size_t> items(std::size_t i) const;
    const std::vector<ArrowCells>& children() const {
        return isDictionary_ ? children_.front().children_ : children_;
    }
    /// Where the values of a struct's row are in its children.
    std::size_t row(std::size_t i) const { return at(i); }

    std::string_view name() const; ///< UTF-8
    std::int64_t perSecond() const { return perSecond_; }
    bool isUtc() const { return isUtc_; }

private:
    ArrowCells(const ArrowSchema& schema, const ArrowArray& array, std::size_t depth);
    void setType(std::string_view format);
    bool setNumber(char code);
    bool setTime(std::string_view format);
    std::uint64_t position(std::size_t i) const;
    std::size_t at(std::size_t i) const { return i + static_cast<std::size_t>(array_->offset); }
    template <class T>
    T element(std::size_t buffer, std::size_t i) const;

    const ArrowSchema* schema_;
    const ArrowArray* array_;
    std::vector<ArrowCells> children_; // a dictionary's texts or other values, too
    Type type_ = Type::Null;
    enum class Form : std::uint8_t { Plain, Small, Large, View, Fixed, SmallView, LargeView };
    Form form_ = Form::Plain; // of texts and lists
    bool isDictionary_ = false;
    bool isUtc_ = false;
    std::size_t width_ = 0; // bytes of a number, values of a fixed list
    std::int64_t perSecond_ = 0;
};

} // namespace ostrajson
