#pragma once

/// The columns of a file of any size, which is never whole in memory.

#include "options.hpp"

namespace example {

/// Whether `columns` need not hold the document to do what the options say.
bool needsNoDocument(const Options& options);

/// Reads the columns, prints how many records there are, the first of them, and of each column the
/// first values; writes them into files.
void readColumns(const Options& options);

} // namespace example
