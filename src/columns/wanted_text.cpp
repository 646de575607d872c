#include "columns/piece_column.hpp"

namespace ostra::io::json::columns {

std::string wantedText(const ColumnType& type, Shape shape, Want rule, bool length) {
    if (length) {
        return "arrays of " + std::to_string(type.width);
    }
    switch (rule) {
    case Want::Any:
        return shape == Shape::Undecided ? "scalars or arrays of scalars"
               : shape == Shape::Scalar  ? "scalars"
                                         : "arrays of scalars";
    case Want::Number:
        return shape == Shape::Scalar ? "numbers" : "arrays of numbers";
    case Want::Int64:
        return shape == Shape::Scalar ? "int64" : "arrays of int64";
    case Want::Uint64:
        return shape == Shape::Scalar ? "uint64" : "arrays of uint64";
    case Want::Double:
        return shape == Shape::Scalar ? "double" : "arrays of double";
    case Want::Boolean:
        return shape == Shape::Scalar ? "booleans" : "arrays of booleans";
    case Want::Text:
        return shape == Shape::Scalar ? "strings" : "arrays of strings";
    case Want::Json:
        break;
    }
    return "JSON";
}

} // namespace ostra::io::json::columns
