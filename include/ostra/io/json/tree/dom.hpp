#pragma once

/// @file
/// The parsed JSON document, and whole documents in and out of strings and files.
///
/// Threads: a `DOM` has no lock. Any number of threads may read an unchanging document; a writer
/// needs exclusive access. Distinct documents are independent. A long text is read (as the JSON
/// core decides: by the embedded one from 2 MiB on) and written (from 256 KiB on) on several of
/// oneTBB's worker threads; the call returns when all of it is done.

#include <ostra/io/json/tree/export.hpp>
#include <ostra/io/json/tree/rapidjson.hpp>

#include "platform/json_core.hpp"
#include "platform/json_write.hpp"

#include <memory>
#include <string>
#include <vector>

namespace ostra::io::json::tree {

/// A parsed JSON document: the bytes that were parsed and the tree built from them.
///
/// Every value of the tree lives in the document's pool allocator, which frees nothing before the
/// document dies: overwriting a value keeps its old contents in memory until then. Moving a `DOM`
/// keeps pointers to its values valid, except the one to the root, which is `document` itself.
struct DOM {
    /// The UTF-8 bytes that were parsed (with a file's byte-order mark, if it has one); empty in a
    /// document that was never read.
    std::vector<char> buffer;

    /// The tree; null in a document that was never read. New values are allocated from
    /// `document.GetAllocator()`.
    rapidjson::Document document;
};

/// Makes an empty document for node vectors to share.
///
/// @return the document; its root is null, its `buffer` empty, its use count 1. Move-assign a `DOM`
///         returned by `read_string` or `read_file` into it.
/// @throws std::bad_alloc
/// Cost: one allocation for document and reference count together.
TVIOJSONTREE_EXPORT std::shared_ptr<DOM> make_dom_ptr();

/// Parses a JSON text held in memory.
///
/// @param text     the text, UTF-16.
/// @param options  what the text may contain beyond RFC 8259; the defaults are strict.
/// @return the document; independent of `text`.
/// @throws std::exception     if the JSON core refuses the text: `what()` gives line, column,
///                            byte offset (in the UTF-8 form) and reason. Nothing else happens.
/// @throws std::length_error  if the UTF-8 form exceeds the maximum size of a vector.
/// @throws std::bad_alloc     if memory is exhausted.
/// Cost: linear; one conversion to UTF-8, one copy of its bytes, one parse. Any nesting depth on
/// any stack.
TVIOJSONTREE_EXPORT DOM read_string(const std::u16string& text,
                                    const core::ReadJSONDocumentOptions& options);

/// Parses a JSON file (UTF-8, with or without a byte-order mark).
///
/// @param path     the file's path, UTF-16; it names the source in error messages.
/// @param options  as for `read_string`.
/// @return the document; `buffer` holds exactly the file's bytes.
/// @throws std::exception  if the file cannot be read (`what()` gives path and reason) or the
///                         JSON core refuses its text (path, line, column, byte offset, reason).
/// @throws std::bad_alloc  if memory is exhausted.
/// Cost: linear; the file is read once and parsed where it lies.
TVIOJSONTREE_EXPORT DOM read_file(const std::u16string& path,
                                  const core::ReadJSONDocumentOptions& options);

/// Writes a whole document as JSON text.
///
/// The text is RFC 8259 JSON without byte-order mark or trailing newline. Strings escape the quote,
/// the backslash and control characters only. A double is written with the fewest digits that read
/// back to the same bits (of those, the closest), always with a fraction or an exponent; integers
/// in decimal. With `prettyPrint` every element and member has its own line, indented per level by
/// the first UTF-8 byte of `indentText`, repeated once per byte of it: two tabs give two tabs, an
/// empty text gives none.
///
/// @param dom      the document; its root is written.
/// @param options  form of the text; `allowNaNInf` writes non-finite doubles as the words NaN,
///                 Infinity and -Infinity instead of null.
/// @return the text, UTF-16.
/// @throws std::bad_alloc, std::length_error  if memory or the string's maximum is exhausted.
/// Cost: linear in the text. Any nesting depth on any stack.
TVIOJSONTREE_EXPORT std::u16string write_string(const DOM& dom,
                                                const write::struct_::WriteStructOptions& options);

/// Writes a whole document as UTF-8 JSON text into a file; the text is that of `write_string`.
///
/// @param dom      the document; its root is written.
/// @param path     the file's path, UTF-16.
/// @param options  as for `write_string`.
/// @throws std::exception  if the file cannot be written; `what()` gives path and reason, and a
///                         file that stood there before is as it was.
/// @throws std::bad_alloc  if memory is exhausted; no file is touched.
/// Cost: linear in the text.
TVIOJSONTREE_EXPORT void write_file(const DOM& dom, const std::u16string& path,
                                    const write::struct_::WriteStructOptions& options);

} // namespace ostra::io::json::tree
