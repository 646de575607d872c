#include "document/reading.hpp"

#include <ostra/io/json/tree/level_reader.hpp>

namespace ostra::io::json::tree {

const std::string LevelReader::class_name = "LevelReader";
const std::string LevelReader::packaged_class_name = "ostra.io.json.internal.LevelReader";

namespace {

/// Ordinary documents are not nested deeper, so that descending never allocates.
constexpr std::size_t usualDepth = 64;

} // namespace

LevelReader::LevelReader(FromText, const std::u16string& text,
                         const core::ReadJSONDocumentOptions& options)
    : current(&dom.document) {
    readText(dom, text, options);
    parents.reserve(usualDepth);
}

LevelReader::LevelReader(FromFile, const std::u16string& path,
                         const core::ReadJSONDocumentOptions& options)
    : current(&dom.document) {
    readFile(dom, path, options);
    parents.reserve(usualDepth);
}

LevelReader::~LevelReader() = default;

LevelReader LevelReader::MakeStringReader(const std::u16string& text,
                                          const core::ReadJSONDocumentOptions& options) {
    return {FromText(), text, options};
}

std::unique_ptr<LevelReader>
LevelReader::MakeStringReaderPtr(const std::u16string& text,
                                 const core::ReadJSONDocumentOptions& options) {
    return std::unique_ptr<LevelReader>(new LevelReader(FromText(), text, options));
}

LevelReader LevelReader::MakeFileReader(const std::u16string& path,
                                        const core::ReadJSONDocumentOptions& options) {
    return {FromFile(), path, options};
}

std::unique_ptr<LevelReader>
LevelReader::MakeFileReaderPtr(const std::u16string& path,
                               const core::ReadJSONDocumentOptions& options) {
    return std::unique_ptr<LevelReader>(new LevelReader(FromFile(), path, options));
}

} // namespace ostra::io::json::tree
