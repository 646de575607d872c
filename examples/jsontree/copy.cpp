#include "commands.hpp"
#include "console.hpp"
#include "list_copy.hpp"
#include "options.hpp"
#include "same_document.hpp"

#include <stdexcept>

namespace example {

namespace tree = ostra::io::json::tree;

int copy(Arguments arguments) {
    const Options options(arguments, documentOptions());
    const auto form = writeOptions(options);
    const auto reading = readOptions(options);
    const std::u16string path = u16(options.file());
    const ostra::io::json::write::struct_::WriteStructOptions compact{
        .allowNaNInf = options.has("allow-nan"), .prettyPrint = false, .indentText = {}};

    tree::LevelReader source = tree::LevelReader::MakeFileReader(path, reading);
    tree::LevelReader first = tree::LevelReader::MakeStringReader(u"null", {});
    const CopyCounts counts = copyByLists(source, first);
    tree::LevelReader second = tree::LevelReader::MakeStringReader(u"null", {});
    copyByLists(first, second);

    print(printable(options.file()) + ", copied level by level through flat typed lists:\n  " +
          counted(counts.levels, "level") + ", " + counted(counts.doubles, "double") + ", " +
          counted(counts.uint64s, "uint64") + ", " + counted(counts.int64s, "int64") + ", " +
          counted(counts.strings, "string") + "\n");

    // What was written is read again, so that the writer and the parser are part of the proof.
    const std::u16string text = first.writeString(compact);
    const tree::DOM original = tree::read_file(path, reading);
    const tree::DOM copied = tree::read_string(text, reading);
    const Comparison comparison = compareWithCopy(original.document, copied.document);
    if (comparison.gap) {
        throw std::runtime_error("the copy differs from the original at " + *comparison.gap);
    }
    print("The copy equals the original in all " + counted(comparison.values, "value") + "; " +
          counted(comparison.widened, "integer") +
          " that a double holds exactly became doubles.\n");
    if (second.writeString(compact) != text) {
        throw std::runtime_error("a copy of the copy differs from the copy");
    }
    print("A copy of the copy is byte for byte the copy.\n");
    if (const auto output = options.value("output")) {
        first.writeFile(u16(*output), form);
    }
    return 0;
}

} // namespace example
