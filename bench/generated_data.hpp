#pragma once

/// The documents that the benchmarks work on, made from a fixed random sequence.

#include <cstddef>
#include <string>

namespace bench {

/// An array of measurement records, about 180 bytes each: a 64-bit identifier above 2^53, a
/// sequence number, a name, a nested position, an array of tags, and keys that some records lack.
std::string records(std::size_t count);

/// Short messages: many short strings, some not ASCII or escaped, small integers, nested objects.
std::string messages(std::size_t count);

/// A product catalogue: many small integers under few, often repeated keys.
std::string catalogue(std::size_t count);

/// Outlines on a map: nested arrays of coordinate pairs with 15 significant digits.
std::string coordinates(std::size_t count);

} // namespace bench
