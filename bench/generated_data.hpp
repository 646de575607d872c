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

/// Outlines on a map: nested arrays of coordinate pairs with so many digits behind the point, 15
/// and 17 significant ones where these are 13 and 15.
std::string coordinates(std::size_t count, int decimals = 13);

/// One object of three long arrays: vertices of a surface with ten significant digits, their
/// colours, all the same, and small integers.
std::string mesh(std::size_t vertices);

/// Performances with prices and seats: objects of two or three members, arrays that are mostly
/// empty, integers of nine digits.
std::string performances(std::size_t count);

/// Statuses with their authors: long keys, web addresses, texts in Japanese of 100 bytes and more.
std::string statuses(std::size_t count);

/// The same text with every element and member on a line of its own.
std::string indented(const std::string& compact, std::size_t spaces);

} // namespace bench
