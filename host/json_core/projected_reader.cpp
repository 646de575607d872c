#include "projected_reader.hpp"

#include "skipped_values.hpp"
#include "token_scan.hpp"

#include <cstring>
#include <utility>

namespace ostra::io::json::core {

using rapidjson::Value;

ProjectedReader::ProjectedReader(std::string_view text, ValueBuilder& builder,
                                 BigIntegerRule bigIntegers, Projection& projection, Form form)
    : StrictReader(text, builder, bigIntegers), projection_(projection), form_(form) {
    inLines_ = form == Form::Lines;
}

Elements ProjectedReader::read(std::size_t limit) noexcept {
    try {
        projection_.clearRows(projection_.slots() + (form_ == Form::Members ? 1 : 0));
        path_.resize(projection_.places());
        if (!prepare()) {
            return {};
        }
        if (inLines_) {
            at_ = skipLongSpace(at_);
            lineEnds_ = countByte({text_, position()}, '\n');
        }
        const Elements elements = readRecords(limit);
        // No other line end is in any value: see `readLines`.
        return inLines_ && countByte({text_, textSize_}, '\n') != lineEnds_ ? Elements() : elements;
    } catch (const std::exception&) { // whoever reads instead meets the same trouble
        return {};
    }
}

Elements ProjectedReader::readRecords(std::size_t limit) {
    Elements elements;
    const char* at = sureOf(at_);
    std::size_t usualInFront = 0;
    std::size_t usualBehind = 0;
    while (positionOf(at) < limit) {
        Value* row = projection_.addRow();
        if (form_ == Form::Members) {
            at = readKey(at, row++);
        }
        at = at == nullptr ? at : *at == '{' ? readRecord(at, row) : skipValue(at, seen_);
        if (at == nullptr) {
            return {};
        }
        ++elements.count;
        at = sureOf(at);
        const std::size_t gap = positionOf(at);
        at = skipSpace(at, usualBehind);
        if (inLines_) {
            if (!passLineEnd(gap, at)) {
                return {};
            }
            if (at == end_) {
                break;
            }
        } else if (*at == ',') {
            at = skipSpace(at + 1, usualInFront);
        } else if (*at == (form_ == Form::Members ? '}' : ']')) {
            elements.end = positionOf(at);
            return elements;
        } else {
            return {};
        }
        at = sureOf(at);
    }
    elements.nextDue = true;
    elements.end = positionOf(at);
    return elements;
}

/// Reads the record that begins with the brace at `at`.
const char* ProjectedReader::readRecord(const char* at, Value* row) {
    __m128i seen = _mm_setzero_si128();
    const Link* links = projection_.links();
    const Projection::State* states = projection_.states();
    std::uint32_t* const path = path_.data();
    std::size_t depth = 0;
    std::uint32_t state = 0;
    ++at;
    for (;;) {
        at = sureOf(at);
        const Link* link = links + states[state].first;
        while (!link->matches(at) && link != links) {
            link = links + link->other;
        }
        if (link != links) [[likely]] {
            at += link->size;
        } else {
            link = &unknown_;
            at = readUnknown(at, state, unknown_);
            if (at == nullptr) {
                return nullptr;
            }
            links = projection_.links();
            states = projection_.states();
        }
        if (link->kind == Projection::Kind::End) {
            if (depth == 0) {
                seen_ = _mm_or_si128(seen_, seen);
                return at;
            }
            state = path[--depth];
            continue;
        }
        if (static_cast<unsigned char>(*at) <= ' ') [[unlikely]] { // more than there was before
            at = skipLongSpace(at);
        }
        const std::uint32_t next = link->next;
        if (link->kind == Projection::Kind::Slot) {
            at = readWanted(at, row + link->where, seen);
        } else if (link->kind == Projection::Kind::Object && *at == '{') {
            path[depth++] = next;
            state = link->where;
            ++at;
            continue;
        } else {
            at = skipValue(at, seen);
        }
        if (at == nullptr) [[unlikely]] {
            return nullptr;
        }
        state = next;
    }
}

/// Reads what stands between two values of an object, or in front of its end, and learns it.
/// @param link  what it leads to.
const char* ProjectedReader::readUnknown(const char* at, std::uint32_t state, Link& link) {
    const char* const begin = at;
    const bool wasInTail = inTail_;
    const auto learn = [&](const char* end) {
        projection_.learn(state, link, {begin, static_cast<std::size_t>(end - begin)});
    };
    const auto isShort = [&](const char* end) { // and lies in one piece
        return inTail_ == wasInTail && end - begin <= static_cast<std::ptrdiff_t>(Link::longest) &&
               projection_.mayLearn(state);
    };
    at = skipLongSpace(at);
    if (*at == '}') {
        link.kind = Projection::Kind::End;
        ++at;
        if (isShort(at)) {
            learn(at);
        }
        return at;
    }
    if (state >= projection_.places()) { // not behind the opening brace
        if (*at != ',') {
            return nullptr;
        }
        at = skipLongSpace(at + 1);
    }
    Value key;
    const __m128i seenBefore = std::exchange(seen_, _mm_setzero_si128());
    at = readKey(at, &key);
    if (at == nullptr) {
        return nullptr;
    }
    const bool isAscii = readOnlyAscii(); // the key, and perhaps some bytes behind it
    seen_ = _mm_or_si128(seen_, seenBefore);
    const std::string_view name(key.GetString(), key.GetStringLength());
    const bool isLearnt = isAscii && isShort(at);
    if (!projection_.lookUp(state, name, isLearnt, link)) {
        return nullptr;
    }
    if (isLearnt) {
        learn(at);
    }
    return at;
}

/// Reads a key and goes on to its value.
const char* ProjectedReader::readKey(const char* at, Value* key) {
    if (*at != '"') {
        return nullptr;
    }
    at = readString(at + 1, key, seen_);
    if (at == nullptr) {
        return nullptr;
    }
    at = skipLongSpace(at);
    return *at == ':' ? sureOf(skipLongSpace(at + 1)) : nullptr;
}

[[gnu::always_inline]] inline const char* ProjectedReader::readWanted(const char* at, Value* to,
                                                                      __m128i& seen) {
    switch (*at) {
    case '"':
        return readString(at + 1, to, seen);
    case '{':
    case '[':
        return build(at, to);
    case 't':
    case 'f':
    case 'n':
        return readLiteral(at, to);
    default:
        return readNumber(at, to);
    }
}

/// Reads a container with all that is in it.
const char* ProjectedReader::build(const char* at, Value* to) {
    at_ = limit_ = at;
    stack_.top = stack_.begin();
    if (run(Due::root) != Stop::atEnd) {
        return nullptr;
    }
    std::memcpy(static_cast<void*>(to), static_cast<const void*>(stack_.begin()), sizeof(Value));
    limit_ = at_; // that of the machine says nothing here
    return at_;
}

const char* ProjectedReader::lookAhead(const char* at) {
    if (!inTail_ && end_ - at <= static_cast<std::ptrdiff_t>(scanAhead)) {
        at = enterTail(at);
    }
    limit_ = inTail_ ? end_ + 1 : end_ - scanAhead;
    return at;
}

} // namespace ostra::io::json::core
