#include "document_builder.hpp"

#include <new>

namespace ostra::io::json::core {

void DocumentBuilder::requireMemory(std::size_t size) {
    // Compilers may leave out a new-expression that is deleted at once, but not these calls.
    ::operator delete(::operator new(size));
}

} // namespace ostra::io::json::core
