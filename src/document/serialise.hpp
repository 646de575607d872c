#pragma once

/// Values to JSON text, for documents and for the cursor.

#include "document/text_buffer.hpp"
#include "platform/json_write.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <string>

namespace ostra::io::json::tree {

/// The UTF-8 text of a value; see `write_string` for its form. Strings are copied byte for byte,
/// whatever their encoding.
/// @throws std::bad_alloc
TextBuffer serialise(const rapidjson::Value& value,
                     const write::struct_::WriteStructOptions& options);

/// The texts of values that lie side by side, compact, each followed by an LF.
/// @throws std::bad_alloc
TextBuffer serialiseLines(const rapidjson::Value* values, std::size_t count, bool allowNaNInf);

/// As `serialise`, as UTF-16.
std::u16string serialiseToString(const rapidjson::Value& value,
                                 const write::struct_::WriteStructOptions& options);

/// As `serialise`, into a file.
void serialiseToFile(const rapidjson::Value& value, const std::u16string& path,
                     const write::struct_::WriteStructOptions& options);

} // namespace ostra::io::json::tree
