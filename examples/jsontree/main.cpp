/// `jsontree`: an example of what a binding does with the library, as a program for the terminal.

#include "commands.hpp"
#include "console.hpp"

#include <algorithm>
#include <clocale>
#include <csignal>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace std::string_literals;

const char* const help = R"(jsontree - look into JSON documents, level by level and column by column

  jsontree [show] FILE [--select POINTER] [--depth N]
      Prints the structure of the document as a tree: key names, types, sizes, short values; N
      levels deep (3), of long arrays the first elements. POINTER is a JSON Pointer such as
      /stations/0/position: the tree begins there.
      --pretty or --compact prints the value as JSON instead; --output FILE writes it to a file.

  jsontree copy FILE [--output FILE]
      Copies the document through the cursor's flat typed lists alone, counts what was carried and
      checks that nothing was lost. --output keeps the copy.

  jsontree columns FILE --records POINTER [--column SELECTOR]... [--csv FILE] [--json-lines FILE]
  jsontree columns FILE --lines [--column SELECTOR]... [--csv FILE] [--json-lines FILE]
      Reads the records of the array (or object) at POINTER, or those of JSON Lines, one a line,
      however large FILE is, and prints how many there are and the first of them. SELECTOR is a
      JSON Pointer from a record, such as /position/latitude: prints how many records have it, of
      what kind the values are, and the first of them. --csv and --json-lines write the columns.

  jsontree columns FILE --records POINTER [--column SELECTOR]... [--set EDIT]... [--output FILE]
      The same with the document in memory, and which keys the records have.
      Edits are made in the order given, and --output writes the changed document:
        --set scale:SELECTOR=FACTOR    multiplies the numbers at SELECTOR; they become doubles
        --set rename:OLD=NEW[,...]     renames keys of the records; order and values stay
        --set resize:SELECTOR=N        gives the arrays at SELECTOR N elements, new ones null

  What FILE may contain beyond strict JSON: --allow-comments, --allow-trailing-commas, --allow-nan
  (the words NaN and Infinity, also when writing; else a number that is not finite becomes null).
  Written JSON is compact, or with --pretty one element a line.

  jsontree --help | --version
  Exit status: 0, or 1 after one line on the standard error that says what is wrong.
)";

int run(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        throw std::runtime_error("which FILE? See --help");
    }
    for (const std::string& argument : arguments) {
        if (argument == "--") {
            break;
        }
        if (argument == "--help" || argument == "-h") {
            example::print(help);
            return 0;
        }
        if (argument == "--version") {
            example::print("jsontree " JSONTREE_VERSION "\n");
            return 0;
        }
    }
    const std::map<std::string, std::function<int(example::Arguments)>> commands{
        {"show", example::show}, {"copy", example::copy}, {"columns", example::columns}};
    const example::Arguments all(arguments);
    const auto command = commands.find(arguments.front());
    return command == commands.end() ? example::show(all) : command->second(all.subspan(1));
}

} // namespace

int main(int argc, char** argv) {
    // A reader that has seen enough, such as `head`, ends the program without a word.
    std::ignore = std::signal(SIGPIPE, SIG_DFL);
    // For the widths of characters. NOLINTNEXTLINE(concurrency-mt-unsafe): the only thread so far.
    std::ignore = std::setlocale(LC_CTYPE, "C.UTF-8");
    try {
        return run(std::vector<std::string>(argv + std::min(argc, 1), argv + argc));
    } catch (const std::bad_alloc&) {
        std::cerr << "jsontree: not enough memory\n";
    } catch (const std::exception& error) {
        std::cerr << "jsontree: " << example::printable(error.what()) << '\n';
    }
    return 1;
}
