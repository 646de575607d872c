/// JSON Lines, read in blocks: against one line after another.

#include "oracle/read_model.hpp"
#include "support.hpp"

#include <ostra/io/json/columns/text_io.hpp>

namespace {

using namespace fuzz::blocks;

/// The document of all lines has the records that the columns are of.
void checkDocument(const std::string& text, const ReadOptions& options, bool isRefused) {
    try {
        const fuzz::tree::DOM dom = read_lines(text, {.syntax = options.syntax});
        fuzz::check(!isRefused, "a line that only some readers refuse");
        const std::string lines(write_lines(dom.document, true).view());
        fuzz::core::ReadJSONDocumentOptions words;
        words.allowNaNInf = true;
        const fuzz::tree::DOM again = read_lines(lines, {.syntax = words});
        fuzz::check(write_lines(again.document, true).view() == lines,
                    "lines written and read again");
    } catch (const fuzz::core::ParseError&) {
        fuzz::check(isRefused, "a line that only some readers take");
    }
}

} // namespace

/// The first byte chooses the options, the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1 || size > fuzz::longestInput) {
        return 0;
    }
    ReadOptions options;
    options.syntax = {.allowComments = (data[0] & 1U) != 0,
                      .allowTrailingCommas = (data[0] & 2U) != 0,
                      .allowNaNInf = (data[0] & 4U) != 0};
    options.form = Form::Lines;
    options.huge_integers = HugeIntegers::AsDouble;
    const std::string text(data + 1, data + size);
    for (const BadLines bad : {BadLines::Raise, BadLines::Skip}) {
        options.bad_lines = bad;
        for (const std::vector<Field>& fields : allFields()) {
            const std::string expected = expectedOutcome(text, fields, options);
            for (const std::size_t blockSize : {1U, 16U, 100U, 4096U}) {
                options.block_size = blockSize;
                options.threads = blockSize == 16 ? 3 : 1;
                fuzz::check(outcomeInBlocks(text, fields, options) == expected,
                            "lines read in blocks");
            }
            if (bad == BadLines::Raise) {
                checkDocument(text, options, expected.starts_with("refused"));
            }
        }
    }
    return 0;
}
