#pragma once

/// @file
/// `NodeVectorData`: the scalar content of many nodes as host arrays.

#include <ostra/io/json/tree/export.hpp>

#include "platform/numeric_array.hpp"
#include "platform/string_array.hpp"

#include <cstdint>
#include <memory>
#include <string>

namespace ostra::io::json::tree {

/// An owned numeric host array.
template <class T>
using NumericArray = std::unique_ptr<matrix::typed_vector<T>, matrix::detail::qxDestroy_deleter>;

/// An owned host array of strings.
using StringArray = std::unique_ptr<Tarvel::String::String>;

/// The content of n nodes, made by `NodeVector::get_data` and taken by `NodeVector::set_data`.
///
/// Arrays and nodes are tied by position only: the j-th string node owns `strings[j]`, the j-th
/// number node owns `number_types[j]`, and a number node of class c owns the next unused element of
/// the array of that class. An edited record must keep this correspondence. Arrays that
/// the library makes are real and k x 1, even when empty (0 x 1).
///
/// Threads and lifetime: a plain value, independent of the document and of the nodes.
struct NodeVectorData {
    TVIOJSONTREE_EXPORT static const std::string class_name; ///< "NodeVectorData"
    /// "ostra.io.json.internal.NodeVectorData"
    TVIOJSONTREE_EXPORT static const std::string packaged_class_name;

    NumericArray<std::uint8_t> types;        ///< `rapidjson::Type` per node
    NumericArray<std::uint8_t> number_types; ///< `LevelReader::NumberType` per number node
    StringArray strings;                     ///< text per string node
    NumericArray<double> doubles;            ///< numbers of class `Double`
    NumericArray<std::uint64_t> uint64s;     ///< numbers of class `Uint64`
    NumericArray<std::int64_t> int64s;       ///< numbers of class `Int64`
};

} // namespace ostra::io::json::tree
