/// A text, read by the fast reader, in one go and in chunks: against the plain one.

#include "oracle/identical.hpp"
#include "support.hpp"

namespace {

using namespace fuzz;

/// The fast reader may leave to the plain one only what that one refuses, or scalars.
void checkStrictly(const std::string& text, const Outcome& plain) {
    rapidjson::Document document;
    const bool read = core::readStrictly(text, text.size() + 1, document);
    const bool isContainer =
        plain.document && (plain.document->IsArray() || plain.document->IsObject());
    check(read == isContainer, "what the fast reader takes");
    check(!read || identical(document, *plain.document), "a text read by the fast reader");
}

} // namespace

/// The first byte chooses the options, the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::uint8_t choice = data[0];
    const ReadOptions options = {.allowComments = (choice & 1U) != 0,
                                 .allowTrailingCommas = (choice & 2U) != 0,
                                 .allowNaNInf = (choice & 4U) != 0};
    const std::string text(data + 1, data + size);
    checkStrictly(text, readPlainly(text, {}));
    // Text behind which there is more than the fast reader reads from a copy.
    const std::string longer = '[' + text + ',' + std::string(4096, ' ') + "0]";
    checkStrictly(longer, readPlainly(longer, {}));

    const Outcome whole = readPlainly(text, options);
    for (const std::size_t chunkSize : {std::size_t{5}, std::size_t{16}, std::size_t{50}, size}) {
        // Short chunks make wrong guesses.
        check(readInChunks(text, options, chunkSize) == whole, "a text read in chunks");
    }
    check(outcomeOf([&] { return core::readPlainly(u"source", text, options, 16); }) == whole,
          "a text read in chunks by the plain reader");
    return 0;
}
