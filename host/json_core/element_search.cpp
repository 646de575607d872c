#include "element_search.hpp"

#include "white_space.hpp"

#include <limits>
#include <optional>

namespace ostra::io::json::core {

namespace {

constexpr auto npos = std::string_view::npos;

/// @return the start of a string, or that of the part if it shows none; `npos` if that cannot
///         be told.
std::size_t findOutsideOfStrings(std::string_view part) {
    std::size_t quote = part.find('"');
    if (quote == npos) {
        return 0;
    }
    for (; quote != npos && quote + 1 < part.size(); quote = part.find('"', quote + 1)) {
        // Only space or one of these can follow the end of a string, so this is a start; behind a
        // backslash it could be neither.
        constexpr std::string_view afterString = ",:]}";
        const char next = part[quote + 1];
        if (!isSpace(next) && afterString.find(next) == npos &&
            (quote == 0 || part[quote - 1] != '\\')) {
            return quote;
        }
    }
    return npos;
}

/// @param begin  position of a string's first quote.
/// @return the position behind its last one, `npos` if the part shows none.
std::size_t stringEnd(std::string_view part, std::size_t begin) {
    std::size_t at = begin + 1;
    while (at < part.size() && part[at] != '"') {
        at += part[at] == '\\' ? 2 : 1;
    }
    return at < part.size() ? at + 1 : npos;
}

bool isKey(std::string_view part, std::size_t end) {
    while (end < part.size() && isSpace(part[end])) {
        ++end;
    }
    return end == part.size() || part[end] == ':';
}

/// A string whole, or any other character that is not white space.
struct Token {
    char first;
    std::size_t begin;
    std::size_t end; // `npos` if a string does not end in the part
};

/// The tokens of a part of a text, from a place outside of strings on.
class Tokens {
public:
    explicit Tokens(std::string_view part) : part_(part), at_(findOutsideOfStrings(part)) {}

    /// @return the next token; empty at the end of the part.
    std::optional<Token> next() {
        while (at_ < part_.size() && isSpace(part_[at_])) {
            ++at_;
        }
        if (at_ >= part_.size()) {
            return std::nullopt;
        }
        const std::size_t begin = at_;
        at_ = part_[begin] == '"' ? stringEnd(part_, begin) : begin + 1;
        return Token{part_[begin], begin, at_};
    }

private:
    std::string_view part_;
    std::size_t at_;
};

} // namespace

std::size_t findElement(std::string_view text, std::size_t from, std::size_t size, bool inObject) {
    const std::string_view part = text.substr(from, size);
    std::size_t best = npos;
    int bestLevel = std::numeric_limits<int>::max();
    int level = 0;
    bool afterComma = false;
    Tokens tokens(part);
    while (const std::optional<Token> token = tokens.next()) {
        const char c = token->first;
        // Members begin with a key, and only they. A string at the end of the part is undecided.
        const bool isString = c == '"';
        const bool isSeen = !isString || token->end != npos;
        const bool isElement =
            afterComma && isSeen && inObject == (isString && isKey(part, token->end));
        afterComma = c == ',';
        if (isElement && level < bestLevel) {
            best = from + token->begin;
            bestLevel = level;
        }
        level += c == '[' || c == '{' ? 1 : c == ']' || c == '}' ? -1 : 0;
    }
    return best;
}

} // namespace ostra::io::json::core
