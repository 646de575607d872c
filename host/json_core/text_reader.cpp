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
                       const ReadJSONDocumentOptions& options, ValueBuilder& builder,
                       BigIntegerRule bigIntegers)
    : sourceName_(sourceName), options_(options), bigIntegers_(bigIntegers), builder_(builder),
      begin_(text.data()), end_(text.data() + text.size()), at_(begin_) {}

void TextReader::start() {
    at_ = skipSpace(at_ + byteOrderMarkSize({begin_, static_cast<std::size_t>(end_ - begin_)}));
}

void TextReader::readTo(std::size_t limit) {
    const char* at = at_;
    do {
        at = goToNextValue(readValue(at));
    } while (valueDue() && static_cast<std::size_t>(at - begin_) < limit);
    at_ = at;
}

void TextReader::adopt(const Elements& elements, ValueBuilder& values) {
    builder_.append(values, 0, elements.count);
    levels_.back().count += elements.count - 1; // the last one is counted like one read here
    at_ = goToNextValue(begin_ + elements.end);
}

void TextReader::finish() {
    at_ = skipSpace(at_);
    if (at_ != end_) {
        failExpected(at_, "the end of the text");
    }
}

Elements TextReader::readElements(std::size_t limit) noexcept {
    Elements elements;
    try {
        while (position() < limit) {
            readTo(limit);
            if (valueDue()) { // in the middle of an element
                break;
            }
            ++elements.count;
            elements.end = position();
            at_ = skipSpace(at_);
            if (!isAt(at_, ',')) {
                break;
            }
            at_ = skipSpace(at_ + 1);
        }
    } catch (const std::exception&) { // see the contract
    }
    return elements;
}

/// Reads a scalar or an empty container, going down into containers to find it.
const char* TextReader::readValue(const char* at) {
    while (isAt(at, '[') || isAt(at, '{')) {
        const bool isObject = *at == '{';
        at = openLevel(at);
        if (isAt(at, isObject ? '}' : ']')) {
            return closeLevel(at);
        }
        if (isObject) {
            at = readKey(at);
        }
    }
    if (isAt(at, '"')) {
        return readString(at);
    }
    return isAt(at, '-') || isDigitAt(at) ? readNumber(at) : readWord(at);
}

/// After a value: closes what ends here, and goes to the next value unless the outermost level has
/// been closed.
const char* TextReader::goToNextValue(const char* at) {
    while (!levels_.empty()) {
        Level& level = levels_.back();
        ++level.count;
        at = skipSpace(at);
        const char closing = level.isObject ? '}' : ']';
        if (isAt(at, ',')) {
            const char* const comma = at;
            at = skipSpace(at + 1);
            if (!isAt(at, closing)) {
                return level.isObject ? readKey(at) : at;
            }
            if (!options_.allowTrailingCommas) {
                fail(comma, std::string("trailing comma before '") + closing + '\'');
            }
        } else if (!isAt(at, closing)) {
            failExpected(at, std::string("',' or '") + closing + '\'');
        }
        at = closeLevel(at);
    }
    return at;
}

const char* TextReader::openLevel(const char* at) {
    const bool isObject = *at == '{';
    if (isObject) {
        builder_.startObject();
    } else {
        builder_.startArray();
    }
    levels_.push_back({0, isObject});
    return skipSpace(at + 1);
}

const char* TextReader::closeLevel(const char* at) {
    const Level level = levels_.back();
    levels_.pop_back();
    if (level.isObject) {
        builder_.endObject(level.count);
    } else {
        builder_.endArray(level.count);
    }
    return at + 1;
}

const char* TextReader::readKey(const char* at) {
    if (!isAt(at, '"')) {
        failExpected(at, levels_.back().count == 0 ? "a key in double quotes or '}'"
                                                   : "a key in double quotes");
    }
    at = skipSpace(readString(at));
    if (!isAt(at, ':')) {
        failExpected(at, "':'");
    }
    return skipSpace(at + 1);
}

/// Skips comments and the white space between them.
const char* TextReader::skipComments(const char* at) const {
    while (isAt(at, '/')) {
        at = std::find_if_not(skipComment(at), end_, isSpace);
    }
    return at;
}

const char* TextReader::skipComment(const char* at) const {
    const char* const begin = at++;
    if (isAt(at, '/')) {
        return std::find_if(at, end_, [](char c) { return c == '\n' || c == '\r'; });
    }
    if (!isAt(at, '*')) {
        failExpected(at, "'/' or '*' after '/'");
    }
    const std::string_view rest(at + 1, static_cast<std::size_t>(end_ - at - 1));
    const std::size_t closing = rest.find("*/");
    if (closing == std::string_view::npos) {
        fail(begin, "unexpected end of text in the comment that starts here");
    }
    return at + closing + 3;
}

void TextReader::fail(const char* at, const std::string& reason) const {
    throwParseError(sourceName_, {begin_, static_cast<std::size_t>(end_ - begin_)},
                    static_cast<std::size_t>(at - begin_), reason);
}

void TextReader::failExpected(const char* at, const std::string& what) const {
    if (at == end_) {
        fail(at, "unexpected end of text, expected " + what);
    }
    const std::string_view rest(at, static_cast<std::size_t>(end_ - at));
    if (!options_.allowComments && (rest.starts_with("//") || rest.starts_with("/*"))) {
        fail(at, "comments are not allowed");
    }
    fail(at, "expected " + what + describeUnusual(rest));
}

} // namespace ostra::io::json::core
