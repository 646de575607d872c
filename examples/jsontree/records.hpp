#pragma once

/// Printing what node vectors hold.

#include <ostra/io/json/tree/node_vector.hpp>

#include <string>
#include <vector>

namespace example {

/// @return type and value of every node, as read from the nodes' columns.
std::vector<std::string> valueTexts(const ostra::io::json::tree::NodeVector& nodes);

/// @return the first `count` nodes, or all if there are fewer.
ostra::io::json::tree::NodeVector firstNodes(const ostra::io::json::tree::NodeVector& nodes,
                                             std::size_t count);

/// @return the names of all members of the nodes, each once.
std::vector<std::string> keysOf(const ostra::io::json::tree::NodeVector& nodes);

/// Prints on one line what a selector finds from the records: hits, misses, the first values.
void printColumn(const ostra::io::json::tree::NodeVector& records, const std::string& selector);

/// Prints a table of the first records by their keys.
void printTable(const ostra::io::json::tree::NodeVector& records);

/// Prints how many records there are, the keys they have, and a table of the first of them.
void printRecords(const ostra::io::json::tree::NodeVector& records);

} // namespace example
