#pragma once

#include <cstddef>

namespace ostra::io::json::core {

/// Elements of an array that were read from the middle of a text.
struct Elements {
    std::size_t count = 0;
    std::size_t end = 0;  // position after the last of them, or of the next element if that is due
    bool nextDue = false; // whether the comma after the last one has been read, too
};

} // namespace ostra::io::json::core
