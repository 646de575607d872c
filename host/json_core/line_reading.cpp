#include "line_reading.hpp"

#include "parse_error.hpp"
#include "projected_reader.hpp"
#include "strict_reader.hpp"
#include "utf8.hpp"
#include "white_space.hpp"

#include <algorithm>
#include <utility>

namespace ostra::io::json::core {

namespace {

constexpr auto npos = std::string_view::npos;
const std::u16string noName;

/// The reason that a reader of texts gives, in terms of a line: its end is not that of a text.
std::string reasonInLine(std::string reason) {
    for (const std::string_view words : {"unexpected end of text", "the end of the text"}) {
        if (const std::size_t found = reason.find(words); found != npos) {
            reason.replace(found + words.size() - 4, 4, "line");
            break;
        }
    }
    return reason;
}

} // namespace

LineReading::LineReading(std::string_view text, bool isStart, const Options& options,
                         ValueBuilder& values, ValueBuilder& kept)
    : text_(text), isStart_(isStart), options_(options), values_(values), kept_(kept) {}

Lines LineReading::read(Projection* wanted) {
    if (readStrictly(wanted)) {
        return std::move(result_);
    }
    // If a byte is malformed, every line is read by itself.
    isUtf8_ = findMalformedUtf8(text_) == text_.size();
    std::size_t lineBegin = 0;
    while (lineBegin < text_.size() && (result_.badCount == 0 || options_.skipBad)) {
        if (isUtf8_) {
            lineBegin = readGoodLines(lineBegin);
        }
        if (lineBegin < text_.size()) {
            const std::size_t lineEnd = std::min(text_.find('\n', lineBegin), text_.size() - 1) + 1;
            readLineAlone(lineBegin, lineEnd);
            lineBegin = lineEnd;
        }
    }
    if (keptCount_ != 0) {
        keepFresh();
    }
    result_.hasBigIntegers = values_.hasBigIntegers();
    result_.count = keptCount_ + fresh_;
    result_.first = keptCount_ != 0 ? &kept_.root() : fresh_ != 0 ? &values_.root() : nullptr;
    return std::move(result_);
}

/// Reads everything with the fast reader, if that one takes it.
bool LineReading::readStrictly(Projection* wanted) {
    const std::string_view text = text_.substr(isStart_ ? byteOrderMarkSize(text_) : 0);
    bool isAscii = false;
    if (wanted != nullptr) {
        ProjectedReader reader(text, values_, options_.bigIntegers, *wanted,
                               ProjectedReader::Form::Lines);
        result_.count = reader.read(npos).count;
        isAscii = reader.readOnlyAscii();
    } else {
        StrictReader reader(text, values_, options_.bigIntegers);
        result_.count = reader.readLines();
        isAscii = reader.readOnlyAscii();
    }
    if (result_.count == 0 || !(isAscii || isWellFormedUtf8(text))) {
        values_.discard();
        return false;
    }
    if (wanted != nullptr) {
        result_.first = wanted->rows();
        result_.slots = wanted->slots();
    } else {
        result_.first = values_.stack().begin() + StrictReader::firstElement;
    }
    result_.hasBigIntegers = values_.hasBigIntegers();
    return true;
}

/// Reads one value after another by one reader, which costs less than one reader a line.
/// @return the start of the first line that takes a closer look; the end of the text otherwise.
std::size_t LineReading::readGoodLines(std::size_t lineBegin) {
    // Of the rest of the text: an error's position is counted from its start.
    const std::size_t origin = lineBegin;
    TextReader reader(noName, text_.substr(origin), options_.syntax, values_, options_.bigIntegers);
    std::size_t at = lineBegin;
    try {
        for (;;) {
            for (; at < text_.size() && isSpace(text_[at]); ++at) {
                lineBegin = text_[at] == '\n' ? at + 1 : lineBegin;
            }
            if (at == text_.size()) {
                return at;
            }
            const std::size_t valueBegin = at;
            at = origin + reader.readValueAt(at - origin);
            if (!endsLine(valueBegin, at)) {
                break;
            }
            ++fresh_;
        }
    } catch (const ParseError&) { // reported when the line is read alone
    }
    keepFresh();
    return lineBegin;
}

/// Puts what has been read aside and drops what was only begun.
void LineReading::keepFresh() {
    if (fresh_ == 0) {
        values_.discard();
        return;
    }
    kept_.append(values_, 0, fresh_);
    keptCount_ += std::exchange(fresh_, 0);
}

/// @param at  behind a value; moved on to the end of its line.
/// @return whether value and line end together, without a line end in front.
bool LineReading::endsLine(std::size_t valueBegin, std::size_t& at) const {
    if (text_.substr(valueBegin, at - valueBegin).find('\n') != npos) {
        return false;
    }
    while (at < text_.size() && text_[at] != '\n') {
        if (!isSpace(text_[at])) {
            return false;
        }
        ++at;
    }
    return true;
}

void LineReading::readLineAlone(std::size_t begin, std::size_t end) {
    std::string_view line = text_.substr(begin, end - begin);
    const bool isFirst = isStart_ && begin == 0;
    line.remove_suffix(line.ends_with('\n') ? 1 : 0);
    try {
        if (const std::size_t malformed = findMalformedUtf8(line); malformed != line.size()) {
            throwMalformed(noName, line, malformed);
        }
        fresh_ += readValueAlone(line, isFirst) ? 1 : 0;
    } catch (const ParseError& error) {
        keepFresh();
        refuse(begin, error.fields());
    }
}

/// @return whether there is a value: not in a line of white space and comments.
bool LineReading::readValueAlone(std::string_view line, bool isFirst) {
    TextReader reader(noName, line, options_.syntax, values_, options_.bigIntegers);
    if (isFirst || byteOrderMarkSize(line) == 0) {
        reader.start();
    } else {
        reader.readValueAt(0); // which the mark is not
    }
    if (reader.position() == line.size()) {
        return false;
    }
    reader.readTo(npos);
    reader.finish();
    return true;
}

void LineReading::refuse(std::size_t lineBegin, const ParseErrorFields& error) {
    const std::size_t record = keptCount_ + result_.badCount++;
    if (result_.described.size() < options_.mostDescribed) {
        result_.described.push_back(
            {.record = record,
             .refusal = {.offset = lineBegin + error.byte, .reason = reasonInLine(error.reason)}});
    }
}

} // namespace ostra::io::json::core
