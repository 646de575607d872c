#include "arrow_text.hpp"

#include "arguments.hpp"
#include "arrays.hpp"
#include "errors.hpp"
#include "python_values.hpp"

#include <optional>
#include <utility>
#include <vector>

namespace ostrajson {

namespace {

/// All chunks of a column, one after the other.
class Cells {
public:
    explicit Cells(const ArrowInput& input) {
        for (const ArrowArray& chunk : input.chunks()) {
            chunks_.emplace_back(input.schema(), chunk);
            size_ += chunks_.back().size();
        }
    }

    std::size_t size() const { return size_; }

    template <class Visit>
    void visit(const Visit& visit) const {
        std::size_t row = 0;
        for (const ArrowCells& chunk : chunks_) {
            for (std::size_t i = 0; i < chunk.size(); ++i) {
                visit(row++, chunk, i);
            }
        }
    }

private:
    std::vector<ArrowCells> chunks_;
    std::size_t size_ = 0;
};

template <class T, class Get>
nb::object toArray(const Cells& cells, const Get& get) {
    std::vector<T> values(cells.size());
    cells.visit([&](std::size_t row, const ArrowCells& chunk, std::size_t i) {
        values[row] = chunk.isMissing(i) ? T() : static_cast<T>(get(chunk, i));
    });
    return toNumPy(std::move(values));
}

nb::object toTexts(const Cells& cells) {
    std::vector<std::optional<std::string_view>> texts(cells.size());
    cells.visit([&](std::size_t row, const ArrowCells& chunk, std::size_t i) {
        if (!chunk.isMissing(i)) {
            texts[row] = chunk.text(i);
        }
    });
    return textArray(
        texts.size(), [&](std::size_t i) { return texts[i]; }, nb::none());
}

/// The values: an array of int64, uint64, double or bool, or an object array of str and None.
nb::object toArray(const ArrowInput& input, const Cells& cells) {
    // An array of no values tells the type, whether there are chunks or not.
    const ArrowArray empty{};
    const ArrowSchema& schema = input.schema();
    const bool hasChunks = !input.chunks().empty();
    if (!hasChunks && (schema.n_children != 0 || schema.dictionary != nullptr)) {
        return toTexts(cells);
    }
    switch (ArrowCells(schema, hasChunks ? input.chunks().front() : empty).type()) {
    case ArrowCells::Type::Boolean: {
        const nb::object bytes = toArray<std::uint8_t>(
            cells, [](const ArrowCells& chunk, std::size_t i) { return chunk.boolean(i); });
        return bytes.attr("view")("bool");
    }
    case ArrowCells::Type::Signed:
        return toArray<std::int64_t>(
            cells, [](const ArrowCells& chunk, std::size_t i) { return chunk.integer(i); });
    case ArrowCells::Type::Unsigned:
        return toArray<std::uint64_t>(
            cells, [](const ArrowCells& chunk, std::size_t i) { return chunk.natural(i); });
    case ArrowCells::Type::Null:
    case ArrowCells::Type::Float:
        return toArray<double>(
            cells, [](const ArrowCells& chunk, std::size_t i) { return chunk.floating(i); });
    case ArrowCells::Type::Text:
    case ArrowCells::Type::Json:
        return toTexts(cells);
    default:
        PyErr_Format(PyExc_TypeError,
                     "values: expected numbers, booleans or texts, not Arrow's type %s",
                     schema.format);
        throw nb::python_error();
    }
}

/// (values, mask) of a column.
nb::tuple columnOf(const ArrowInput& input) {
    const Cells cells(input);
    const nb::object mask = [&] {
        std::vector<std::uint8_t> missing(cells.size());
        cells.visit([&](std::size_t row, const ArrowCells& chunk, std::size_t i) {
            missing[row] = chunk.isMissing(i) ? 1 : 0;
        });
        return toNumPy(std::move(missing));
    }();
    return nb::make_tuple(toArray(input, cells), mask.attr("view")("bool"));
}

void makeInput(ArrowInput* self, nb::handle object) {
    new (self) ArrowInput(object);
}

} // namespace

void bindArrowInput(nb::module_& module) {
    nb::class_<ArrowInput>(module, "_ArrowInput")
        .def("__init__", makeInput, arg("source"))
        .def("to_numpy", [](const ArrowInput& self) { return columnOf(self); });
}

} // namespace ostrajson
