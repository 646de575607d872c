/// A text, read in chunks: against the same reader in one go.

#include "json_core/chunked_reading.hpp"
#include "support.hpp"

namespace {

using namespace fuzz;

/// What comes of a text: the same written anew, or the refusal.
std::string outcome(const std::string& text, const ReadOptions& options, std::size_t chunkSize) {
    tree::DOM dom;
    try {
        dom.document = core::readInChunks(u"source", text, options, chunkSize);
    } catch (const std::runtime_error& error) {
        return std::string("refused: ") + error.what();
    }
    return u8(
        tree::write_string(dom, {.allowNaNInf = true, .prettyPrint = false, .indentText = {}}));
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
    const std::string whole = outcome(text, options, text.size() + 1);
    for (const std::size_t chunkSize : {5U, 16U, 50U}) { // short chunks make wrong guesses
        check(outcome(text, options, chunkSize) == whole, "a text read in chunks");
    }
    return 0;
}
