#pragma once

/// Where a path that is to be written leads.

#include "descriptor.hpp"

#include <filesystem>
#include <optional>
#include <sys/stat.h>

namespace ostra::io::common::file::detail {

struct WriteTarget {
    std::filesystem::path path;        ///< absolute; its last component is not a symbolic link
    std::optional<struct stat> status; ///< of what stands there; empty if nothing does
    std::optional<int> descriptor;     ///< if the path names an open file of this process
};

/// Follows the symbolic links of a path by hand: a file is replaced where it lies, not the link
/// to it, and a link may lead to a file that is still to be made.
///
/// A path like /dev/stdout is such a chain too, and ends in a descriptor of this process.
/// Following it further would find the file that the output was sent to, and replacing that one
/// would take it away from other writers.
///
/// @throws std::system_error  if the path leads nowhere, or to a folder.
WriteTarget findWriteTarget(const Attempt& attempt);

} // namespace ostra::io::common::file::detail
