#pragma once

/// The subcommands of the example program. Each takes what follows its name on the command line
/// and returns the program's exit status; errors are exceptions, which `main` turns into one line.

#include <span>
#include <string>

namespace example {

using Arguments = std::span<const std::string>;

int show(Arguments arguments);
int copy(Arguments arguments);
int columns(Arguments arguments);

} // namespace example
