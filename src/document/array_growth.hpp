#pragma once

/// Growing an array safely.

#include <ostra/io/json/tree/rapidjson.hpp>

namespace ostra::io::json::tree {

/// Appends nulls to `array` until it has at least `count` elements; its elements may move.
///
/// An array that has elements grows at least by half, as by RapidJSON's PushBack, so that one that
/// grows by one at a time costs no more than three times its final size; an empty one gets what it
/// needs.
///
/// RapidJSON's own growth multiplies sizes unchecked and writes through null if its pool has no
/// memory left.
///
/// @throws std::length_error  if the size in bytes overflows 64 bits; nothing changes.
/// @throws std::bad_alloc     if the pool cannot give the memory; nothing changes.
void growArray(rapidjson::Value& array, rapidjson::SizeType count,
               rapidjson::Document::AllocatorType& pool);

} // namespace ostra::io::json::tree
