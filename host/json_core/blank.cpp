#include "blank.hpp"

#include "white_space.hpp"

#include <algorithm>

namespace ostra::io::json::core {

std::size_t skipBlank(std::string_view text, std::size_t at, bool allowComments) {
    for (;;) {
        while (at < text.size() && isSpace(text[at])) {
            ++at;
        }
        if (!allowComments || at == text.size() || text[at] != '/') {
            return at;
        }
        const std::string_view rest = text.substr(at);
        if (rest == "/") {
            return text.size();
        }
        if (rest[1] != '/' && rest[1] != '*') {
            return at;
        }
        const std::size_t end =
            rest[1] == '/' ? rest.find_first_of("\n\r") : rest.find("*/", 2) + 2;
        if (end < 2 || end > rest.size()) { // npos, with or without what was added
            return text.size();
        }
        at += end;
    }
}

} // namespace ostra::io::json::core
