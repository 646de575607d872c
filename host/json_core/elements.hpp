#pragma once

#include <cstddef>

namespace ostra::io::json::core {

/// Elements of an array that were read from the middle of a text.
struct Elements {
    std::size_t count = 0;
    std::size_t end = 0;  // position behind the last of them
    bool nextDue = false; // whether the comma behind it has been read, too, up to the next element
};

} // namespace ostra::io::json::core
