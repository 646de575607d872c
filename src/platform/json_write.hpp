#ifndef TVIOJSONTREE_PLATFORM_JSON_WRITE_HPP
#define TVIOJSONTREE_PLATFORM_JSON_WRITE_HPP

/// The host's options for writing JSON text.

#include <string>

namespace ostra::io::json::write::struct_ {

/// How a value is written. The defaults give compact, strict JSON.
struct WriteStructOptions {
    bool allowNaNInf = false;       ///< write NaN, Infinity and -Infinity as words, not as null
    bool prettyPrint = false;       ///< one element or member a line, indented
    std::u16string indentText = {}; ///< its first UTF-8 byte, repeated once per byte, per level
};

} // namespace ostra::io::json::write::struct_

#endif
