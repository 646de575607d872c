#include "arrow_input.hpp"

#include "errors.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace ostrajson {

namespace {

/// Types nest, and the native stack is used for them.
constexpr std::size_t mostNested = 64;

std::int32_t length(const char*& at) {
    std::int32_t value = 0;
    std::memcpy(&value, at, sizeof(value));
    at += sizeof(value);
    return value;
}

/// The name of an extension type; empty if it is none.
std::string_view extensionOf(const ArrowSchema& schema) {
    const char* at = schema.metadata;
    for (std::int32_t pairs = at != nullptr ? length(at) : 0; pairs > 0; --pairs) {
        const auto keySize = static_cast<std::size_t>(length(at));
        const std::string_view key(at, keySize);
        at += keySize;
        const auto valueSize = static_cast<std::size_t>(length(at));
        if (key == "ARROW:extension:name") {
            return {at, valueSize};
        }
        at += valueSize;
    }
    return {};
}

bool bit(const void* bits, std::size_t i) {
    return (static_cast<const std::uint8_t*>(bits)[i / 8] >> (i % 8) & 1U) != 0;
}

/// A half-precision float; doubles hold all of them.
double fromHalf(std::uint16_t bits) {
    const auto exponent = static_cast<int>(bits >> 10U & 31U);
    const auto fraction = static_cast<int>(bits & 1023U);
    const double size = exponent == 31  ? (fraction == 0 ? HUGE_VAL : NAN)
                        : exponent == 0 ? std::ldexp(fraction, -24)
                                        : std::ldexp(fraction + 1024, exponent - 25);
    return (bits & 0x8000U) != 0 ? -size : size;
}

} // namespace

ArrowCells::ArrowCells(const ArrowSchema& schema, const ArrowArray& array)
    : ArrowCells(schema, array, 0) {}

ArrowCells::ArrowCells(const ArrowSchema& schema, const ArrowArray& array, std::size_t depth)
    : schema_(&schema), array_(&array) {
    if (depth == mostNested) {
        raiseValue("values", "Arrow types nested too deep");
    }
    setType(schema.format);
    if (schema.dictionary != nullptr) {
        children_.push_back(ArrowCells(*schema.dictionary, *array.dictionary, depth + 1));
        isDictionary_ = true;
        type_ = children_.front().type_;
        perSecond_ = children_.front().perSecond_;
        isUtc_ = children_.front().isUtc_;
        return;
    }
    for (std::int64_t i = 0; i < schema.n_children; ++i) {
        children_.push_back(ArrowCells(*schema.children[i], *array.children[i], depth + 1));
    }
    if (type_ == Type::Text && extensionOf(schema) == "arrow.json") {
        type_ = Type::Json;
    }
}

bool ArrowCells::setNumber(char code) {
    constexpr std::string_view codes = "cCsSiIlLefg";
    constexpr std::string_view widths = "11224488248";
    const std::size_t at = codes.find(code);
    if (at == std::string_view::npos) {
        return false;
    }
    width_ = static_cast<std::size_t>(widths[at] - '0');
    type_ = at >= 8 ? Type::Float : at % 2 == 0 ? Type::Signed : Type::Unsigned;
    return true;
}

bool ArrowCells::setTime(std::string_view format) {
    if (format.size() < 3 || format[0] != 't') {
        return false;
    }
    constexpr std::string_view units = "smun";
    constexpr std::int64_t perSecond[] = {1, 1000, 1'000'000, 1'000'000'000};
    const std::size_t unit = units.find(format[2]);
    if (format == "tdD") {
        type_ = Type::Date;
        width_ = 4;
        return true;
    }
    if (unit == std::string_view::npos || (format[1] != 's' && format[1] != 't')) {
        return false;
    }
    perSecond_ = perSecond[unit];
    type_ = format[1] == 's' ? Type::Timestamp : Type::Time;
    width_ = type_ == Type::Time && unit < 2 ? 4 : 8;
    isUtc_ = type_ == Type::Timestamp && format.size() > 4; // behind "tsn:"
    return true;
}

void ArrowCells::setType(std::string_view format) {
    struct Name {
        std::string_view format;
        Type type;
        Form form;
    };
    constexpr Name names[] = {
        {"n", Type::Null, Form::Plain},       {"b", Type::Boolean, Form::Plain},
        {"u", Type::Text, Form::Small},       {"U", Type::Text, Form::Large},
        {"vu", Type::Text, Form::View},       {"+l", Type::List, Form::Small},
        {"+L", Type::List, Form::Large},      {"+vl", Type::List, Form::SmallView},
        {"+vL", Type::List, Form::LargeView}, {"+s", Type::Struct, Form::Plain}};
    const auto* const known = std::find_if(std::begin(names), std::end(names),
                                           [&](const Name& one) { return one.format == format; });
    if (known != std::end(names)) {
        type_ = known->type;
        form_ = known->form;
    } else if (format.starts_with("+w:")) {
        type_ = Type::List;
        form_ = Form::Fixed;
        std::from_chars(format.data() + 3, format.data() + format.size(), width_);
    } else if (!(format.size() == 1 && setNumber(format[0])) && !setTime(format)) {
        PyErr_Format(PyExc_TypeError,
                     "expected numbers, booleans, texts, times, lists or structs, not "
                     "Arrow's type %s",
                     schema_->format);
        throw nb::python_error();
    }
}

template <class T>
T ArrowCells::element(std::size_t buffer, std::size_t i) const {
    return static_cast<const T*>(array_->buffers[buffer])[i];
}

bool ArrowCells::isMissing(std::size_t i) const {
    if (type_ == Type::Null && !isDictionary_) {
        return true;
    }
    const void* const valid = array_->n_buffers > 0 ? array_->buffers[0] : nullptr;
    if (array_->null_count != 0 && valid != nullptr && !bit(valid, at(i))) {
        return true;
    }
    return isDictionary_ && children_.front().isMissing(position(i));
}

bool ArrowCells::boolean(std::size_t i) const {
    return isDictionary_ ? children_.front().boolean(position(i)) : bit(array_->buffers[1], at(i));
}

std::int64_t ArrowCells::integer(std::size_t i) const {
    if (isDictionary_) {
        return children_.front().integer(position(i));
    }
    switch (width_) {
    case 1:
        return element<std::int8_t>(1, at(i));
    case 2:
        return element<std::int16_t>(1, at(i));
    case 4:
        return element<std::int32_t>(1, at(i));
    default:
        return element<std::int64_t>(1, at(i));
    }
}

std::uint64_t ArrowCells::natural(std::size_t i) const {
    return isDictionary_ ? children_.front().natural(position(i)) : position(i);
}

/// The number as it is held; of a dictionary, the position of the value, which is never negative.
std::uint64_t ArrowCells::position(std::size_t i) const {
    switch (width_) {
    case 1:
        return element<std::uint8_t>(1, at(i));
    case 2:
        return element<std::uint16_t>(1, at(i));
    case 4:
        return element<std::uint32_t>(1, at(i));
    default:
        return element<std::uint64_t>(1, at(i));
    }
}

double ArrowCells::floating(std::size_t i) const {
    if (isDictionary_) {
        return children_.front().floating(position(i));
    }
    return width_ == 2   ? fromHalf(element<std::uint16_t>(1, at(i)))
           : width_ == 4 ? static_cast<double>(element<float>(1, at(i)))
                         : element<double>(1, at(i));
}

std::string_view ArrowCells::text(std::size_t i) const {
    if (isDictionary_) {
        return children_.front().text(position(i));
    }
    if (form_ == Form::View) {
        // Length, then the bytes, or the first four of them, the buffer and the place in it.
        const auto* const view = static_cast<const char*>(array_->buffers[1]) + 16 * at(i);
        std::int32_t parts[4];
        std::memcpy(parts, view, sizeof(parts));
        const auto size = static_cast<std::size_t>(parts[0]);
        const auto* const far =
            size <= 12 ? nullptr : static_cast<const char*>(array_->buffers[2 + parts[2]]);
        return {far != nullptr ? far + parts[3] : view + 4, size};
    }
    const bool isSmall = form_ == Form::Small;
    const std::int64_t begin =
        isSmall ? element<std::int32_t>(1, at(i)) : element<std::int64_t>(1, at(i));
    const std::int64_t end =
        isSmall ? element<std::int32_t>(1, at(i) + 1) : element<std::int64_t>(1, at(i) + 1);
    if (begin == end) {
        return {}; // there need not be any bytes then
    }
    return {static_cast<const char*>(array_->buffers[2]) + begin,
            static_cast<std::size_t>(end - begin)};
}

std::pair<std::size_t, std::size_t> ArrowCells::items(std::size_t i) const {
    const auto number = [this](std::size_t buffer, std::size_t index) {
        const bool isSmall = form_ == Form::Small || form_ == Form::SmallView;
        return static_cast<std::size_t>(isSmall ? element<std::int32_t>(buffer, index)
                                                : element<std::int64_t>(buffer, index));
    };
    if (form_ == Form::Fixed) {
        return {at(i) * width_, (at(i) + 1) * width_};
    }
    const std::size_t begin = number(1, at(i));
    if (form_ == Form::SmallView || form_ == Form::LargeView) {
        return {begin, begin + number(2, at(i))};
    }
    return {begin, number(1, at(i) + 1)};
}

std::string_view ArrowCells::name() const {
    return schema_->name != nullptr ? schema_->name : "";
}

} // namespace ostrajson
