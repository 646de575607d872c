#pragma once

/// Copying a document through the cursor's flat typed lists alone.

#include <ostra/io/json/tree/level_reader.hpp>

#include <cstddef>

namespace example {

/// What a copy carried across.
struct CopyCounts {
    std::size_t levels = 0;
    std::size_t doubles = 0;
    std::size_t uint64s = 0;
    std::size_t int64s = 0;
    std::size_t strings = 0;
};

/// Makes the value that `copy` stands on equal to the one that `source` stands on.
///
/// Every level goes across as key names, value types, number types, doubles, unsigned and signed
/// integers and strings, exactly as a numerical host without any JSON type of its own would do it.
/// An integer that a double holds exactly travels as a double and is one afterwards (1 is written
/// 1.0); everything else stays the same. Both readers end where they stood. Any nesting depth.
CopyCounts copyByLists(ostra::io::json::tree::LevelReader& source,
                       ostra::io::json::tree::LevelReader& copy);

} // namespace example
