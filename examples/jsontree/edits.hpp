#pragma once

/// Changing many records of a document in place.

#include <ostra/io/json/tree/node_vector.hpp>

#include <cstddef>
#include <map>
#include <string>
#include <variant>

namespace example {

/// Multiplies the numbers that a selector finds; they are doubles afterwards.
struct Scale {
    std::string selector;
    double factor;
};

/// Gives records other keys; their order and values stay.
struct Rename {
    std::map<std::string, std::string> names; ///< old to new
};

/// Gives the arrays that a selector finds this many elements.
struct Resize {
    std::string selector;
    std::size_t count;
};

using Edit = std::variant<Scale, Rename, Resize>;

/// @param text  an edit as typed: `scale:SELECTOR=FACTOR`, `rename:OLD=NEW,...` or
///              `resize:SELECTOR=N`.
/// @throws std::runtime_error  if it is not one of these.
Edit parseEdit(const std::string& text);

/// Applies an edit and prints the column or the keys concerned before and after.
void apply(const Edit& edit, ostra::io::json::tree::NodeVector& records);

} // namespace example
