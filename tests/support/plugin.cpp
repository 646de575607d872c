/// A shared object that uses the library, for a program that does not.

#include <ostra/io/json/tree/level_reader.hpp>

namespace tree = ostra::io::json::tree;

extern "C" [[gnu::visibility("default")]] std::size_t countNumbers() {
    return tree::LevelReader::MakeStringReader(u"[1, 2, 3]", {}).listDoubles().size();
}
