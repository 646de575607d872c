/// One variable for every type and free function of the public headers. Their debug information
/// says how the library and its callers pass them to each other: that of the library itself says it
/// in megabytes, between everything internal.

#include <ostra/io/json/tree/level_reader.hpp>
#include <ostra/io/json/tree/node_vector.hpp>
#include <ostra/io/json/tree/platform/file_io.hpp>
#include <ostra/io/json/tree/platform/text_conversion.hpp>

#pragma GCC visibility push(default)

using namespace ostra::io::json;

tree::DOM* document;
tree::LevelReader* levelReader;
tree::NodeVector* nodeVector;
tree::NodeVectorData* nodeVectorData;
core::ReadJSONDocumentOptions* readOptions;
write::struct_::WriteStructOptions* writeOptions;
foundation::core::except::IMsgIDException* exceptionInterface;
foundation::core::except::BaseMsgID* message;
OSTRA::io::json::common::InvalidJSONPointer* invalidPointer;
OSTRA::string::MissingNotSupported* missing;
matrix::typed_vector<double>* numericArray;
Tarvel::String::String* stringArray;

decltype(&tree::make_dom_ptr) makeDomPtr;
decltype(&tree::read_string) readString;
decltype(&tree::read_file) readFile;
decltype(&tree::write_string) writeString;
decltype(&tree::write_file) writeFile;
