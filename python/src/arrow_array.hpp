#pragma once

/// Arrow arrays that consumers share with us.

#include "arrow_interface.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ostrajson {

/// An array and its type.
///
/// The owners of its memory are C++ objects alone. So releasing an array needs no Python: it may
/// happen on any thread, while that thread or one that it waits for holds the GIL, and after the
/// interpreter has ended.
struct ArrowParts {
    std::string format;
    std::string name;
    std::string extension;  ///< the name of an extension type; empty if it is none
    bool isNullable = true; ///< whether any array of this type may have missing values
    std::int64_t length = 0;
    std::int64_t missing = 0;
    std::vector<const void*> buffers;
    std::vector<std::shared_ptr<const void>> owners;
    std::vector<ArrowParts> children;
    std::shared_ptr<const ArrowParts> dictionary;
};

/// Fills in a schema that shares nothing with us.
/// @throws std::bad_alloc  nothing is to be released then.
void exportSchema(const ArrowParts& parts, ArrowSchema* out);

/// Fills in an array that shares its memory with us.
/// @throws std::bad_alloc  nothing is to be released then.
void exportArray(const ArrowParts& parts, ArrowArray* out);

/// Fills in a stream of one array.
/// @throws std::bad_alloc  nothing is to be released then.
void exportStream(std::shared_ptr<const ArrowParts> parts, ArrowArrayStream* out);

} // namespace ostrajson
