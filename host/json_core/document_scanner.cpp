#include <ostra/io/json/core/document_scanner.hpp>

#include "blank.hpp"
#include "parse_error.hpp"
#include "refusal.hpp"
#include "text_reader.hpp"
#include "utf8.hpp"
#include "value_builder.hpp"
#include "white_space.hpp"

#include <algorithm>
#include <charconv>
#include <utility>

namespace ostra::io::json::core {

namespace {

constexpr auto npos = std::string_view::npos;

bool isWordCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '$' || c == '+' || c == '-' || c == '.';
}

bool isPlainInString(char c) {
    return c != '"' && c != '\\' && static_cast<unsigned char>(c) >= 0x20;
}

/// The longest escape: two halves of a surrogate pair.
constexpr std::size_t longestEscape = 12;

/// @return whether the ordinary reader takes a text, all of it, for a value; leaves that in
///         `decoded`, if it is a string.
bool isValue(std::string_view text, const ReadJSONDocumentOptions& options,
             std::string* decoded = nullptr) {
    const std::u16string noName;
    rapidjson::Document::AllocatorType pool;
    BlockSource blocks(pool, text.size(), BlockSource::Threads::one);
    ValueBuilder values(blocks);
    TextReader reader(noName, text, options, values);
    try {
        if (reader.readValueAt(0) != text.size()) {
            return false;
        }
    } catch (const ParseError&) {
        return false;
    }
    if (decoded != nullptr && values.root().IsString()) {
        decoded->assign(values.root().GetString(), values.root().GetStringLength());
    }
    return true;
}

/// @return the size of the escape at the start of a text; 0 if it is not one.
std::size_t escapeSize(std::string_view text) {
    constexpr std::size_t unitSize = 6;
    if (text.size() < 2 || text[0] != '\\') {
        return 0;
    }
    if (text[1] != 'u') {
        return std::string_view("\"\\/bfnrt").find(text[1]) != npos ? 2 : 0;
    }
    const auto unit = [](std::string_view escape) {
        unsigned value = 0;
        const char* const end = escape.data() + escape.size();
        const bool isUnit = escape.size() == unitSize && escape.starts_with("\\u") &&
                            std::from_chars(escape.data() + 2, end, value, 16).ptr == end;
        return isUnit ? std::optional(value) : std::nullopt;
    };
    const auto first = unit(text.substr(0, unitSize));
    if (!first || (*first >= 0xDC00 && *first < 0xE000)) {
        return 0;
    }
    if (*first < 0xD800 || *first >= 0xE000) {
        return unitSize;
    }
    const auto second = unit(text.substr(unitSize, unitSize));
    return second && *second >= 0xDC00 && *second < 0xE000 ? 2 * unitSize : 0;
}

/// @return whether a text is a number, one that does not need a closer look.
bool isPlainNumber(std::string_view text) {
    constexpr std::size_t surelyInRange = 300;
    std::size_t at = text.starts_with('-') ? 1 : 0;
    const auto digits = [&] {
        const std::size_t begin = at;
        at = std::min(text.find_first_not_of("0123456789", at), text.size());
        return at - begin;
    };
    const bool zero = at < text.size() && text[at] == '0';
    const std::size_t integerDigits = digits();
    if (integerDigits == 0 || (zero && integerDigits > 1) || text.size() > surelyInRange) {
        return false;
    }
    if (at < text.size() && text[at] == '.') {
        ++at;
        if (digits() == 0) {
            return false;
        }
    }
    return at == text.size();
}

} // namespace

/// One window on the way through it.
struct DocumentScanner::Scan {
    std::string_view text; // as far as it is well-formed UTF-8
    bool isLast;
    std::size_t at = 0;
    Stop stop = Stop::NeedsMore;
};

DocumentScanner::DocumentScanner(const ReadJSONDocumentOptions& options,
                                 std::vector<std::string> path)
    : options_(options), path_(std::move(path)) {}

DocumentScanner::Stop DocumentScanner::scan(const Window& window) {
    const std::size_t visible =
        window.bytes.size() - (window.isLast ? 0 : incompleteTail(window.bytes));
    const std::size_t wellFormed = findMalformedUtf8(window.bytes.substr(0, visible));
    const bool isMalformed = wellFormed != visible;
    Scan scan{.text = window.bytes.substr(0, wellFormed), .isLast = window.isLast && !isMalformed};
    if (position_ == 0) {
        scan.at = byteOrderMarkSize(scan.text);
    }
    if (!stringBegin_ || readString(scan, 0)) {
        while (step(scan)) {
        }
    }
    if (scan.stop == Stop::NeedsMore && isMalformed) {
        scan.stop = Stop::Refused;
        refusal_ = {.offset = position_ + wellFormed,
                    .reason = malformedReason(window.bytes[wellFormed])};
    }
    position_ += scan.at;
    return scan.stop;
}

void DocumentScanner::leaveRecords(std::size_t position) {
    position_ = position;
    levels_.pop_back();
    searching_ = false;
    endValue();
}

/// Goes on by a token.
/// @return whether to go on further.
bool DocumentScanner::step(Scan& scan) {
    const std::size_t at = skipBlank(scan.text, scan.at, options_.allowComments);
    if (at == scan.text.size()) {
        return endOfWindow(scan);
    }
    scan.at = at;
    return readToken(scan);
}

bool DocumentScanner::readToken(Scan& scan) {
    const char c = scan.text[scan.at];
    if ((state_ == State::FirstOrEnd || state_ == State::CommaOrEnd) &&
        c == (levels_.back() ? '}' : ']')) {
        close(scan, scan.at + 1);
        return true;
    }
    if (isKeyDue()) {
        return c == '"' ? readString(scan, scan.at) : fail(scan);
    }
    switch (state_) {
    case State::Value:
    case State::FirstOrEnd:
        return readValue(scan);
    case State::CommaOrEnd:
        return c == ',' ? readComma(scan) : fail(scan);
    case State::Colon:
        if (c != ':') {
            return fail(scan);
        }
        ++scan.at;
        state_ = State::Value;
        return true;
    default:
        return fail(scan);
    }
}

/// Reads a comma together with what follows it, since one too many is reported where it stands.
bool DocumentScanner::readComma(Scan& scan) {
    const std::size_t next = skipBlank(scan.text, scan.at + 1, options_.allowComments);
    if (next == scan.text.size()) {
        return scan.isLast && fail(scan);
    }
    if (scan.text[next] == (levels_.back() ? '}' : ']')) {
        if (!options_.allowTrailingCommas) {
            return fail(scan);
        }
        close(scan, next + 1);
        return true;
    }
    childIndex_ += isOnPath() ? 1 : 0;
    state_ = levels_.back() ? State::Key : State::Value;
    scan.at = next;
    return true;
}

bool DocumentScanner::readValue(Scan& scan) {
    const char c = scan.text[scan.at];
    if (c == '[' || c == '{') {
        return open(scan);
    }
    if (!isTarget()) {
        return c == '"' ? readString(scan, scan.at) : readWord(scan);
    }
    const bool isRead = c == '"' ? readString(scan, scan.at) : readWord(scan);
    if (isRead || stringBegin_) {
        scan.stop = Stop::NoRecords;
    }
    return false;
}

bool DocumentScanner::open(Scan& scan) {
    const bool isRecords = isTarget();
    if (isSelected()) {
        ++onPath_;
        keyMatches_ = false;
        childIndex_ = 0;
    }
    levels_.push_back(scan.text[scan.at] == '{');
    state_ = State::FirstOrEnd;
    ++scan.at;
    if (isRecords) {
        searching_ = false;
        scan.stop = Stop::Records;
    }
    return !isRecords;
}

void DocumentScanner::close(Scan& scan, std::size_t end) {
    scan.at = end;
    if (isOnPath()) {
        searching_ = false; // what it leads to is not there: no other member or element is it
    }
    levels_.pop_back();
    endValue();
}

void DocumentScanner::endValue() {
    searching_ = searching_ && !isSelected();
    state_ = levels_.empty() ? State::End : State::CommaOrEnd;
}

/// @param from  where the string begins, or, of one that is being read, where it goes on.
bool DocumentScanner::readString(Scan& scan, std::size_t from) {
    const std::string_view text = scan.text;
    std::size_t at = stringBegin_ ? from : from + 1;
    for (;;) {
        while (at < text.size() && isPlainInString(text[at])) {
            ++at;
        }
        if (at < text.size() && text[at] == '"') {
            endString(scan, at + 1);
            return true;
        }
        if (!scan.isLast && text.size() - at < longestEscape) {
            break;
        }
        const std::size_t size = escapeSize(text.substr(at));
        if (size == 0) {
            return fail(scan);
        }
        at += size;
    }
    // A key that may lie on the path is wanted whole; a much longer one does not lie on it.
    const bool mayMatch = isKeyDue() && isOnPath() && !stringBegin_ &&
                          text.size() - from < 6 * path_[onPath_ - 1].size() + 2 * longestEscape;
    if (!mayMatch) {
        stringBegin_ = stringBegin_.value_or(position_ + from);
        scan.at = at;
    }
    return false;
}

void DocumentScanner::endString(Scan& scan, std::size_t end) {
    const bool isWhole = !stringBegin_;
    stringBegin_.reset();
    if (!isKeyDue()) {
        scan.at = end;
        endValue();
        return;
    }
    if (isOnPath()) {
        std::string key;
        keyMatches_ = isWhole &&
                      isValue(scan.text.substr(scan.at, end - scan.at), options_, &key) &&
                      key == path_[onPath_ - 1];
    }
    scan.at = end;
    state_ = State::Colon;
}

/// Reads a number or a word.
bool DocumentScanner::readWord(Scan& scan) {
    const auto* const begin = scan.text.begin() + scan.at;
    const auto* const end = std::find_if_not(begin, scan.text.end(), isWordCharacter);
    if (end == scan.text.end() && !scan.isLast) {
        return false;
    }
    const std::string_view word(begin, end);
    if (!isPlainNumber(word) && word != "true" && word != "false" && word != "null" &&
        !isValue(word, options_)) {
        return fail(scan);
    }
    scan.at += word.size();
    endValue();
    return true;
}

bool DocumentScanner::endOfWindow(Scan& scan) {
    if (scan.isLast) {
        return fail(scan);
    }
    while (scan.at != scan.text.size() && isSpace(scan.text[scan.at])) {
        ++scan.at;
    }
    return false;
}

/// Something cannot go on as it stands there: for an error, the end of the window, or that of the
/// text.
bool DocumentScanner::fail(Scan& scan) {
    const auto refusal =
        refusalIn(context(scan), {scan.text.substr(scan.at), scan.isLast}, options_);
    if (refusal) {
        scan.stop = Stop::Refused;
        const bool inFront = refusal->offset == npos; // of the window: the string's first quote
        refusal_ = {.offset = inFront ? *stringBegin_ : position_ + scan.at + refusal->offset,
                    .reason = refusal->reason};
    } else if (scan.isLast) {
        scan.stop = Stop::End;
    }
    return false;
}

/// A text whose reader then is in the scanner's state.
std::string DocumentScanner::context(const Scan& scan) const {
    const bool isObject = !levels_.empty() && levels_.back();
    std::string text;
    switch (state_) {
    case State::Value:
        text = levels_.empty() ? inFrontOfAll : isObject ? "{\"\":" : "[0,";
        break;
    case State::FirstOrEnd:
        text = isObject ? "{" : "[";
        break;
    case State::Key:
        text = "{\"\":0,";
        break;
    case State::Colon:
        text = "{\"\"";
        break;
    case State::CommaOrEnd:
        text = isObject ? "{\"\":0 " : "[0 ";
        break;
    case State::End:
        text = behindAll;
        break;
    }
    if (position_ + scan.at == 0) {
        text.clear(); // a byte-order mark may follow
    }
    return stringBegin_ ? text + '"' : text;
}

bool DocumentScanner::isSelected() const {
    if (!isOnPath() || levels_.empty()) {
        return isOnPath();
    }
    return levels_.back() ? keyMatches_ : path_[onPath_ - 1] == std::to_string(childIndex_);
}

} // namespace ostra::io::json::core
