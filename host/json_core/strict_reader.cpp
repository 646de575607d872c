#include "strict_reader.hpp"

#include "open_container.hpp"
#include "utf8.hpp"
#include "white_space.hpp"

#include <algorithm>
#include <cstring>

namespace ostra::io::json::core {

using rapidjson::Value;

StrictReader::StrictReader(std::string_view text, ValueBuilder& builder, BigIntegerRule bigIntegers)
    : builder_(builder), bigIntegers_(bigIntegers), stack_(builder.stack()),
      storage_(builder.storage()), limit_(text.data()), end_(text.data() + text.size()),
      text_(text.data()), origin_(text.data()), textSize_(text.size()), at_(text.data()) {}

bool StrictReader::readAll() {
    return goToRoot() && run(Due::root) == Stop::atEnd && nothingFollows();
}

void StrictReader::start() {
    if (!goToRoot()) {
        throw NotStrict();
    }
}

void StrictReader::readTo(std::size_t limit) {
    stopPosition_ = limit;
    limit_ = at_;
    if (run(due_) == Stop::notStrict) {
        throw NotStrict();
    }
}

void StrictReader::adopt(const Elements& elements, ValueBuilder& values) {
    builder_.append(values, firstElement, elements.count);
    at_ += elements.end - position();
    if (!inTail_ && end_ - at_ <= static_cast<std::ptrdiff_t>(scanAhead)) {
        at_ = enterTail(at_);
    }
    due_ = elements.nextDue ? Due::element : Due::behindElement;
    readTo(position());
}

void StrictReader::finish() {
    if (!nothingFollows()) {
        throw NotStrict();
    }
}

Elements StrictReader::readElements(std::size_t limit) noexcept {
    Elements elements;
    try {
        beginElements();
        stopPosition_ = limit;
        const Stop stop = prepare() ? run(Due::element) : Stop::notStrict;
        if (stop == Stop::notStrict) {
            return elements;
        }
        elements.end = position();
        elements.nextDue = stop == Stop::atLimit;
        const Value* firstBehind = stack_.top;
        for (const Value* open = stack_.begin() + container_; open != stack_.begin();) {
            elements.end = positionOfContainer(open);
            firstBehind = open;
            open = parentOf(open, linkOf(open));
        }
        elements.count = static_cast<std::size_t>(firstBehind - stack_.begin()) - firstElement;
    } catch (const std::exception&) { // never throws: see TextReader
    }
    return elements;
}

std::size_t StrictReader::readLines() noexcept {
    const std::string_view text(at_, textSize_);
    try {
        beginElements();
        inLines_ = true;
        if (!prepare()) {
            return 0;
        }
        const char* const begin = at_;
        at_ = std::find_if_not(at_, end_, isSpace);
        lineEnds_ = countByte({begin, static_cast<std::size_t>(at_ - begin)}, '\n');
        if (run(Due::element) != Stop::atEnd || at_ != end_) {
            return 0;
        }
        // Each value has a line end behind it, so none a comma; and no other line end is in any.
        const std::size_t count = stack_.size() - firstElement;
        return count == lineGaps_ && countByte(text, '\n') == lineEnds_ ? count : 0;
    } catch (const std::exception&) { // the plain reader then fails in the same way
        return 0;
    }
}

/// Puts a place for an array that the text has begun before.
void StrictReader::beginElements() {
    stack_.require(firstElement);
    storeContainer(stack_.top, {.link = unbegun, .usualSpace = 0, .position = 0});
    stack_.top += firstElement;
}

/// Behind one of the outermost values: passes white space between `gap`, a position, and `at`.
/// @return whether there is a line end in it, or it goes to the end of the text.
bool StrictReader::passLineEnd(std::size_t gap, const char* at) {
    const std::size_t lineEnds = countByte({text_ + gap, positionOf(at) - gap}, '\n');
    lineEnds_ += lineEnds;
    ++lineGaps_;
    return lineEnds != 0 || at == end_;
}

/// @return whether the text can be read without checking for its end at every byte.
bool StrictReader::prepare() {
    if (textSize_ == 0) {
        return false;
    }
    if (textSize_ <= tailCapacity) {
        at_ = enterTail(at_);
        return true;
    }
    // Runs of digits are read up to the first other byte, which the text must therefore contain.
    return digitAt(end_ - 1) > 9;
}

/// @return as `prepare`.
bool StrictReader::goToRoot() {
    const std::size_t mark = byteOrderMarkSize({at_, textSize_});
    if (!prepare()) {
        return false;
    }
    at_ += mark;
    at_ = isSpace(*at_) ? skipLongSpace(at_) : at_;
    return true;
}

bool StrictReader::nothingFollows() const {
    return std::all_of(at_, end_, isSpace);
}

/// Switches to a copy of the rest of the text, padded with zeros.
/// @param at  at most `tailCapacity` bytes before the end.
/// @return the same place in the copy.
const char* StrictReader::enterTail(const char* at) {
    const auto size = static_cast<std::size_t>(end_ - at);
    originPosition_ = positionOf(at);
    origin_ = tail_.data();
    std::memcpy(tail_.data(), at, size);
    std::memset(tail_.data() + size, 0, tailPadding);
    end_ = origin_ + size;
    limit_ = origin_; // the old one is elsewhere
    inTail_ = true;
    return origin_;
}

/// Skips white space of any length.
const char* StrictReader::skipLongSpace(const char* at) {
    for (;;) {
        if (!inTail_ && end_ - at <= static_cast<std::ptrdiff_t>(scanAhead)) {
            at = enterTail(at);
        }
        const std::uint32_t other = notSpace(at); // in the tail, the zeros stop it
        if (other != 0) {
            return at + lowestBit(other);
        }
        at += sizeof(__m128i);
    }
}

/// Called at or past the limit: decides whether reading goes on, makes room on the stack, and sets
/// the next limit.
StrictReader::Stop StrictReader::lookAround(bool elementDue) {
    if (elementDue && position() >= stopPosition_) {
        due_ = Due::element;
        return Stop::atLimit;
    }
    if (!inTail_ && end_ - at_ <= static_cast<std::ptrdiff_t>(scanAhead)) {
        at_ = enterTail(at_);
    }
    if (at_ >= end_) {
        return Stop::notStrict;
    }
    // Every value takes at least one byte of text, so the limit also guards the stack: no push
    // needs a check of its own. Up to two values are pushed after the limit has been passed.
    constexpr std::size_t beyond = 2;
    constexpr std::size_t worthGrowing = 1024;
    const auto rest = static_cast<std::size_t>(end_ - at_);
    stack_.require(std::min(rest, worthGrowing) + beyond);
    std::size_t way = std::min(inTail_ ? rest : rest - scanAhead, stack_.room() - beyond);
    // Past the stop position every token comes here, until an array element is due.
    way = std::min(way, stopPosition_ - std::min(stopPosition_, position()));
    limit_ = at_ + way;
    return Stop::none;
}

} // namespace ostra::io::json::core
