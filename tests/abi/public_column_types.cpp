/// As public_types.cpp, for the library of columns and what the embedded core offers it.

#include <ostra/io/json/columns/find_fields.hpp>
#include <ostra/io/json/columns/node_columns.hpp>
#include <ostra/io/json/columns/read_columns.hpp>
#include <ostra/io/json/columns/text_io.hpp>
#include <ostra/io/json/core/document_scanner.hpp>
#include <ostra/io/json/core/parse_error.hpp>
#include <ostra/io/json/core/reading.hpp>
#include <ostra/io/json/core/record_reader.hpp>
#include <ostra/io/json/core/text_position.hpp>

#pragma GCC visibility push(default)

using namespace ostra::io::json;

columns::Column* column;
columns::Field* field;
columns::ColumnConflict* conflict;
columns::ColumnView* view;
columns::Source* source;
columns::Progress* progress;
columns::Cancelled* cancelled;
columns::ReadOptions* readOptions;
columns::FieldSearch* fieldSearch;
columns::FoundField* foundField;
columns::RecordColumns* recordColumns;
columns::ColumnReader* columnReader;
columns::Utf8Text* text;
columns::TextOptions* textOptions;
core::ParseError* parseError;
core::DocumentScanner* scanner;
core::RecordReader* recordReader;
core::Window* window;
core::Records* records;
core::Lines* lines;
core::WantedPlace* wanted;
core::TextPosition* position;

decltype(&columns::get_column) getColumn;
decltype(&columns::set_column) setColumn;
decltype(&columns::select) selectColumns;
decltype(&columns::find_fields) findFields;
decltype(&columns::read_columns) readColumns;
decltype(&columns::read_utf8) readUtf8;
decltype(&columns::read_lines) readLines;
decltype(&columns::write_utf8) writeUtf8;
decltype(&columns::write_lines) writeLines;
decltype(&core::parse_text) parseText;
decltype(&core::parse_lines) parseLines;
decltype(&core::findRecord) findRecord;
