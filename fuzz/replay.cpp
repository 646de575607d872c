/// Runs a fuzzer over files or folders of them: the committed corpus, in every ordinary build. A
/// fault ends the process; the last line printed is then the file that shows it.

#include "support.hpp"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace {

void replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(in), {});
    (void)std::printf("%s\n", file.c_str());
    (void)std::fflush(stdout);
    // A block of exactly this size, so that reading past its end is seen.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): ends the process, as any fault
int main(int argc, char** argv) {
    std::size_t files = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            replay(argv[i]);
            ++files;
            continue;
        }
        for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
            replay(entry.path());
            ++files;
        }
    }
    fuzz::check(files > 0, "no corpus");
    return 0;
}
