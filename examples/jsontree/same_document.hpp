#pragma once

/// Comparing a document with its copy, by other means than those that made the copy.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <optional>
#include <string>

namespace example {

/// What a comparison met.
struct Comparison {
    std::size_t values = 0;         ///< values compared
    std::size_t widened = 0;        ///< integers that became the doubles equal to them
    std::optional<std::string> gap; ///< the JSON Pointer and nature of the first difference
};

/// Compares two documents value by value: structure, keys, strings, types and numbers must be equal
/// in order, except that an integer which a double holds exactly must have become that double.
/// Any nesting depth on any stack.
Comparison compareWithCopy(const rapidjson::Value& original, const rapidjson::Value& copy);

} // namespace example
