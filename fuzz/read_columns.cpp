/// Records of a document, read in blocks: against the whole document and its columns.

#include "oracle/field_model.hpp"
#include "support.hpp"

/// The first byte chooses the options, the second where the records are, the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace fuzz::blocks;
    if (size < 2 || size > fuzz::longestInput) {
        return 0;
    }
    static const std::array<std::string, 6> pointers = {"", "/a", "/0", "/a/b", "/a/1", "/"};
    ReadOptions options;
    options.syntax = {.allowComments = (data[0] & 1U) != 0,
                      .allowTrailingCommas = (data[0] & 2U) != 0,
                      .allowNaNInf = (data[0] & 4U) != 0};
    options.keys = (data[0] & 8U) != 0;
    options.huge_integers = HugeIntegers::AsDouble;
    options.pointer = pointers[data[1] % pointers.size()];
    const std::string text(data + 2, data + size);
    bool isUtf8 = true;
    for (const std::vector<Field>& fields : allFields()) {
        const std::string expected = expectedOutcome(text, fields, options);
        isUtf8 = expected.find("malformed UTF-8") == std::string::npos;
        for (const std::size_t blockSize :
             {3U, 17U, 60U, 4096U}) { // short blocks make wrong guesses
            options.block_size = blockSize;
            options.threads = blockSize == 17 ? 3 : 1;
            const std::string outcome = outcomeInBlocks(text, fields, options);
            // What is not a container is found out before the rest is read, and malformed UTF-8 is
            // met in its turn.
            const bool isEarly = outcome.find("neither an array") != std::string::npos ||
                                 (!isUtf8 && outcome.starts_with("refused"));
            fuzz::check(outcome == expected || (isEarly && expected.starts_with("refused")),
                        "records read in blocks");
        }
    }
    if (options.pointer.empty() && isUtf8) {
        const std::string fields = foundSlowly(text, 3, options);
        fuzz::check(foundInBlocks(text, 3, options) == fields, "fields found in blocks");
    }
    return 0;
}
