#ifndef TVIOJSONTREE_PLATFORM_JSON_CORE_HPP
#define TVIOJSONTREE_PLATFORM_JSON_CORE_HPP

/// What the host's JSON core library (libtviojsoncore) gives us: the parser, and the meaning of
/// selectors and node names.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <optional>
#include <string>
#include <vector>

namespace ostra::io::json::core {

/// What a JSON text may contain beyond RFC 8259. The defaults are strict.
struct ReadJSONDocumentOptions {
    bool allowComments = false;       ///< `//` to the end of the line and `/* */`, as white space
    bool allowTrailingCommas = false; ///< one comma before a closing bracket or brace
    bool allowNaNInf = false;         ///< the bare words NaN, Infinity, Inf, each with optional `-`
};

/// A parsed JSON Pointer (RFC 6901); its tokens live on the plain heap.
using JSONPointer = rapidjson::GenericPointer<rapidjson::Value, rapidjson::CrtAllocator>;

/// Parses a UTF-8 JSON text.
///
/// @param sourceName  names the source in error messages (a path, or empty).
/// @param bytes       the text; not modified, and not referred to by the result.
/// @param options     what the text may contain beyond RFC 8259.
/// @return the document; it owns its allocator, and all its strings are copies.
/// @throws std::exception  if the text is refused; `what()` names source, line, column, byte
///                         offset and reason.
/// The embedded core reads texts from 2 MiB on several of oneTBB's threads.
rapidjson::Document parse_json_document(const std::u16string& sourceName,
                                        const std::vector<char>& bytes,
                                        const ReadJSONDocumentOptions& options);

/// Parses a selector.
///
/// @param selector  a JSON Pointer as UTF-8 text (RFC 6901, or its URI fragment form).
/// @return the parsed pointer, always valid.
/// @throws std::exception  if the selector is not a JSON Pointer; `what()` quotes it.
JSONPointer validate_selector(const std::string& selector);

/// Finds the value below `node` that a node name designates: that of the first member with this
/// key, depth first in document order.
///
/// @return the value, or null if no member below `node` has this key.
rapidjson::Value* resolve_node_name(rapidjson::Value& node, const std::string& name);

/// As `resolve_node_name`, but answers with the selector that leads from `node` to that very value.
///
/// @return the selector; empty if there is no such value, or if an earlier member with the
///         same key hides it from every selector.
std::optional<std::string> resolve_node_name_to_selector(const rapidjson::Value& node,
                                                         const std::string& name);

} // namespace ostra::io::json::core

#endif
