#include "text_reader.hpp"

#include "parse_error.hpp"
#include "utf8.hpp"

#include <algorithm>

namespace ostra::io::json::core {

namespace {

/// Names a character that one cannot see, or could take for another: a NUL, a no-break space, a
/// typographic quote. Empty for printable ASCII.
std::string describeUnusual(std::string_view text) {
    const char32_t c = firstCodePoint(text);
    if (c >= 0x20 && c < 0x7F) {
        return {};
    }
    return ", found U+" + hexadecimal(c, 4);
}

} // namespace

TextReader::TextReader(const std::u16string& sourceName, std::string_view text,
                       const ReadJSONDocumentOptions& options, ValueBuilder& builder)
    : sourceName_(sourceName), options_(options), builder_(builder), begin_(text.data()),
      end_(text.data() + text.size()), at_(begin_) {}

void TextReader::start() {
    at_ += byteOrderMarkSize({begin_, static_cast<std::size_t>(end_ - begin_)});
    skipSpace();
}

bool TextReader::readTo(std::size_t limit) {
    bool due = true;
    do {
        readValue();
        due = moveToNextValue();
    } while (due && position() < limit);
    return due;
}

bool TextReader::adopt(const Elements& elements, ValueBuilder& values) {
    builder_.append(values, elements.count);
    levels_.back().count += elements.count - 1; // the last one is counted like one read here
    at_ = begin_ + elements.end;
    return moveToNextValue();
}

void TextReader::finish() {
    skipSpace();
    if (!atEnd()) {
        failExpected("the end of the text");
    }
}

Elements TextReader::readElements(std::size_t limit) noexcept {
    Elements elements;
    try {
        while (position() < limit && !readTo(limit)) {
            ++elements.count;
            elements.end = position();
            skipSpace();
            if (!atCharacter(',')) {
                break;
            }
            ++at_;
            skipSpace();
        }
    } catch (const std::exception&) { // see the contract
    }
    return elements;
}

/// Reads a scalar or an empty container, going down into containers to find it.
void TextReader::readValue() {
    while (atCharacter('[') || atCharacter('{')) {
        const bool isObject = *at_ == '{';
        openLevel(isObject);
        if (atCharacter(isObject ? '}' : ']')) {
            closeLevel();
            return;
        }
        if (isObject) {
            readKey();
        }
    }
    if (atCharacter('"')) {
        readString();
    } else if (atCharacter('-') || atDigit()) {
        readNumber();
    } else {
        readWord();
    }
}

/// After a value: closes what ends here.
///
/// @return whether another value follows, then with the text position before it.
bool TextReader::moveToNextValue() {
    while (!levels_.empty()) {
        Level& level = levels_.back();
        ++level.count;
        skipSpace();
        const char closing = level.isObject ? '}' : ']';
        if (atCharacter(',')) {
            const char* const comma = at_++;
            skipSpace();
            if (!atCharacter(closing)) {
                if (level.isObject) {
                    readKey();
                }
                return true;
            }
            if (!options_.allowTrailingCommas) {
                fail(comma, std::string("trailing comma before '") + closing + '\'');
            }
        } else if (!atCharacter(closing)) {
            failExpected(std::string("',' or '") + closing + '\'');
        }
        closeLevel();
    }
    return false;
}

void TextReader::openLevel(bool isObject) {
    if (isObject) {
        builder_.startObject();
    } else {
        builder_.startArray();
    }
    levels_.push_back({0, isObject});
    ++at_;
    skipSpace();
}

void TextReader::closeLevel() {
    const Level level = levels_.back();
    levels_.pop_back();
    ++at_;
    if (level.isObject) {
        builder_.endObject(level.count);
    } else {
        builder_.endArray(level.count);
    }
}

void TextReader::readKey() {
    if (!atCharacter('"')) {
        failExpected(levels_.back().count == 0 ? "a key in double quotes or '}'"
                                               : "a key in double quotes");
    }
    readString();
    skipSpace();
    if (!atCharacter(':')) {
        failExpected("':'");
    }
    ++at_;
    skipSpace();
}

/// Skips comments and the white space between them.
void TextReader::skipComments() {
    while (atCharacter('/')) {
        skipComment();
        at_ = std::find_if_not(at_, end_, isSpace);
    }
}

void TextReader::skipComment() {
    const char* const begin = at_++;
    if (atCharacter('/')) {
        at_ = std::find_if(at_, end_, [](char c) { return c == '\n' || c == '\r'; });
        return;
    }
    if (!atCharacter('*')) {
        failExpected("'/' or '*' after '/'");
    }
    const std::string_view rest(at_ + 1, static_cast<std::size_t>(end_ - at_ - 1));
    const std::size_t closing = rest.find("*/");
    if (closing == std::string_view::npos) {
        fail(begin, "unexpected end of text in the comment that starts here");
    }
    at_ += closing + 3;
}

void TextReader::fail(const char* position, const std::string& reason) const {
    throwParseError(sourceName_, {begin_, static_cast<std::size_t>(end_ - begin_)},
                    static_cast<std::size_t>(position - begin_), reason);
}

void TextReader::failExpected(const std::string& what) const {
    if (atEnd()) {
        fail(at_, "unexpected end of text, expected " + what);
    }
    const std::string_view rest(at_, static_cast<std::size_t>(end_ - at_));
    if (!options_.allowComments && (rest.starts_with("//") || rest.starts_with("/*"))) {
        fail(at_, "comments are not allowed");
    }
    fail(at_, "expected " + what + describeUnusual(rest));
}

} // namespace ostra::io::json::core
