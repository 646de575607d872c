#include "strict_reader.hpp"

#include "token_scan.hpp"
#include "utf8.hpp"
#include "white_space.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <type_traits>

namespace ostra::io::json::core {

namespace {

using rapidjson::Value;

/// What a container that is open has where its value will be. Read and written word by word: as a
/// whole, the compiler passed it through vector registers, and each load waited for several stores.
struct OpenContainer {
    std::uint64_t link;       // distance to its parent in bytes, with the `Parent` in the last bits
    std::uint64_t usualSpace; // of the parent
    std::uint64_t position;   // of its bracket in the text
};
static_assert(sizeof(OpenContainer) == sizeof(Value));

/// In what a container stands.
enum Parent : std::uint64_t {
    outermost = 0, // in nothing
    inArray = 1,
    inObject = 2,
    unbegun = 3, // is an array itself whose begin was not read
};
/// In front of elements whose array the text had begun before, there is the place of that.
constexpr std::size_t firstElement = 1;

constexpr std::uint64_t parentBits = 3; // values are apart by multiples of 8 bytes

OSTRA_INLINE std::uint64_t linkOf(const Value* place) {
    return loadWord<std::uint64_t>(reinterpret_cast<const char*>(place) +
                                   offsetof(OpenContainer, link));
}

OSTRA_INLINE std::size_t usualSpaceAround(const Value* place) {
    return loadWord<std::uint64_t>(reinterpret_cast<const char*>(place) +
                                   offsetof(OpenContainer, usualSpace));
}

OSTRA_INLINE std::size_t positionOfContainer(const Value* place) {
    return loadWord<std::uint64_t>(reinterpret_cast<const char*>(place) +
                                   offsetof(OpenContainer, position));
}

OSTRA_INLINE void storeContainer(Value* place, const OpenContainer& container) {
    char* const to = reinterpret_cast<char*>(place);
    std::memcpy(to, &container.link, sizeof container.link);
    std::memcpy(to + 8, &container.usualSpace, sizeof container.usualSpace);
    std::memcpy(to + 16, &container.position, sizeof container.position);
}

template <class Place>
OSTRA_INLINE Place* parentOf(Place* place, std::uint64_t link) {
    using Byte = std::conditional_t<std::is_const_v<Place>, const char, char>;
    return reinterpret_cast<Place*>(reinterpret_cast<Byte*>(place) - (link & ~parentBits));
}

/// Moves the values behind an open container into storage of their own.
OSTRA_INLINE void closeContainer(Value* container, const Value* top, ValueStorage& storage,
                                 std::uint64_t word, std::size_t valuesEach) {
    constexpr std::size_t few = 16 * sizeof(Value); // copied here at half the cost of a call
    const auto size = static_cast<std::size_t>(reinterpret_cast<const char*>(top) -
                                               reinterpret_cast<const char*>(container + 1));
    if (size == 0) {
        storeValue(container, std::uint64_t{0}, word);
        return;
    }
    char* const values = storage.allocate(size);
    if (size <= few) {
        copyFewValues(values, container + 1, size);
    } else {
        std::memcpy(values, static_cast<const void*>(container + 1), size);
    }
    const auto count = static_cast<std::int64_t>(size / (valuesEach * sizeof(Value)));
    storeValue(container, _mm_set1_epi64x(count), word | reinterpret_cast<std::uintptr_t>(values));
}

} // namespace

StrictReader::StrictReader(std::string_view text, ValueBuilder& builder)
    : builder_(builder), stack_(builder.stack()), storage_(builder.storage()), limit_(text.data()),
      end_(text.data() + text.size()), origin_(text.data()), textSize_(text.size()),
      at_(text.data()) {}

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
        stack_.require(firstElement);
        storeContainer(stack_.top, {.link = unbegun, .usualSpace = 0, .position = 0});
        stack_.top += firstElement;
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
    } catch (const std::exception&) { // see the contract
    }
    return elements;
}

/// @return whether the text can be read without a look for its end at every byte.
bool StrictReader::prepare() {
    if (textSize_ == 0) {
        return false;
    }
    if (textSize_ <= tailCapacity) {
        at_ = enterTail(at_);
        return true;
    }
    // Digits are read one by one as long as there are any.
    return digitAt(end_ - 1) > 9;
}

/// @return as `prepare`.
bool StrictReader::goToRoot() {
    const std::size_t mark = byteOrderMarkSize({at_, textSize_});
    if (!prepare()) {
        return false;
    }
    at_ = skipSpace(at_ + mark, usualSpace_);
    return true;
}

bool StrictReader::nothingFollows() const {
    return std::all_of(at_, end_, isSpace);
}

/// Goes on in a copy of the rest of the text, with zeros behind it.
/// @param at  at most `tailCapacity` in front of the end.
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

/// At a place that is not in front of the limit: looks whether reading may go on, and how far.
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
    // Each value takes a byte at least; up to two are made behind the limit.
    constexpr std::size_t beyond = 2;
    constexpr std::size_t worthGrowing = 1024;
    const auto rest = static_cast<std::size_t>(end_ - at_);
    stack_.require(std::min(rest, worthGrowing) + beyond);
    std::size_t way = std::min(inTail_ ? rest : rest - scanAhead, stack_.room() - beyond);
    // Behind the place to stop it goes from token to token, to the next element.
    way = std::min(way, stopPosition_ - std::min(stopPosition_, position()));
    limit_ = at_ + way;
    return Stop::none;
}

// All states are labels of one long function, since what they share, the place in the text and on
// the stack, stays in registers only so; and a state that knows what comes before it and behind it
// is told by the branch predictor from all others.
StrictReader::Stop StrictReader::run(Due due) {
    const char* at = at_;
    Value* top = stack_.top;
    Value* container = stack_.begin() + container_;
    std::size_t usualSpace = usualSpace_;
    std::uint64_t link = 0;
    __m128i seen = _mm_setzero_si128();

    const auto suspend = [&]() __attribute__((always_inline)) {
        at_ = at;
        stack_.top = top;
        container_ = static_cast<std::size_t>(container - stack_.begin());
        usualSpace_ = usualSpace;
        seen_ = _mm_or_si128(seen_, seen);
    };
    const auto mayGoOn = [&](bool elementDue, Stop& stop) __attribute__((always_inline)) {
        suspend();
        stop = lookAround(elementDue);
        at = at_;
        top = stack_.top;
        container = stack_.begin() + container_;
        return stop == Stop::none;
    };
    const auto open = [&](std::uint64_t parent) __attribute__((always_inline)) {
        const auto distance = static_cast<std::uint64_t>(reinterpret_cast<char*>(top) -
                                                         reinterpret_cast<char*>(container));
        storeContainer(top, {distance | parent, usualSpace, positionOf(at)});
        container = top++;
        at = skipSpace(at + 1, usualSpace);
    };
    Stop stop = Stop::none;

    switch (due) {
    case Due::element:
        goto element;
    case Due::behindElement:
        goto behindElement;
    default:
        break;
    }

    if (at >= limit_ && !mayGoOn(false, stop)) {
        return stop;
    }
    container = top;
    if (*at == '[') {
        open(outermost);
        goto arrayBegun;
    }
    if (*at == '{') {
        open(outermost);
        goto objectBegun;
    }
    return Stop::notStrict;

arrayBegun:
    if (*at == ']') {
        goto endOfArray;
    }

element:
    if (at >= limit_ && !mayGoOn(true, stop)) [[unlikely]] {
        return stop;
    }
    if (mayBeginNumber(*at)) {
        at = readNumber(at, top);
        if (at == nullptr) [[unlikely]] {
            return Stop::notStrict;
        }
        ++top;
        goto behindElement;
    }
    switch (*at) {
    case '"':
        at = readString(at + 1, top, seen);
        break;
    case '{':
        open(inArray);
        goto objectBegun;
    case '[':
        open(inArray);
        goto arrayBegun;
    case 't':
    case 'f':
    case 'n':
        at = readLiteral(at, top);
        break;
    default:
        return Stop::notStrict;
    }
    if (at == nullptr) [[unlikely]] {
        return Stop::notStrict;
    }
    ++top;

behindElement:
    if (*at != ',') {
        if (*at != ']') {
            std::size_t usualOutside = usualSpaceAround(container);
            at = skipSpace(at, usualOutside);
            if (*at == ',') {
                goto commaInArray;
            }
            if (*at != ']') [[unlikely]] {
                return Stop::notStrict;
            }
        }
        goto endOfArray;
    }
commaInArray:
    at = skipSpace(at + 1, usualSpace);
    goto element;

endOfArray:
    link = linkOf(container);
    usualSpace = usualSpaceAround(container);
    if ((link & parentBits) == unbegun) [[unlikely]] {
        suspend();
        return Stop::atEnd;
    }
    closeContainer(container, top, storage_, base::RawValue::arrayWord, 1);
    goto behindContainer;

objectBegun:
    if (*at == '}') {
        goto endOfObject;
    }

key:
    if (at >= limit_ && !mayGoOn(false, stop)) [[unlikely]] {
        return stop;
    }
    if (*at != '"') [[unlikely]] {
        return Stop::notStrict;
    }
    at = readString(at + 1, top, seen);
    if (at == nullptr) [[unlikely]] {
        return Stop::notStrict;
    }
    ++top;
    if (*at != ':') [[unlikely]] {
        std::size_t usual = 0;
        at = skipSpace(at, usual);
        if (*at != ':') {
            return Stop::notStrict;
        }
    }
    ++at;
    if (static_cast<unsigned char>(*at) <= ' ') {
        std::size_t usual = 0;
        at = *at == ' ' && static_cast<unsigned char>(at[1]) > ' ' ? at + 1 : skipSpace(at, usual);
    }
    switch (*at) {
    case '"':
        at = readString(at + 1, top, seen);
        break;
    case '{':
        open(inObject);
        goto objectBegun;
    case '[':
        open(inObject);
        goto arrayBegun;
    case 't':
    case 'f':
    case 'n':
        at = readLiteral(at, top);
        break;
    default:
        at = readNumber(at, top);
    }
    if (at == nullptr) [[unlikely]] {
        return Stop::notStrict;
    }
    ++top;

behindMember:
    if (*at != ',') {
        if (*at != '}') {
            std::size_t usualOutside = usualSpaceAround(container);
            at = skipSpace(at, usualOutside);
            if (*at == ',') {
                goto commaInObject;
            }
            if (*at != '}') [[unlikely]] {
                return Stop::notStrict;
            }
        }
        goto endOfObject;
    }
commaInObject:
    at = skipSpace(at + 1, usualSpace);
    goto key;

endOfObject:
    link = linkOf(container);
    usualSpace = usualSpaceAround(container);
    closeContainer(container, top, storage_, base::RawValue::objectWord, 2);

behindContainer:
    ++at;
    top = container + 1;
    container = parentOf(container, link);
    if ((link & parentBits) == outermost) [[unlikely]] {
        suspend();
        due_ = Due::nothing;
        return Stop::atEnd;
    }
    if (at >= limit_ && !mayGoOn(false, stop)) [[unlikely]] {
        return stop;
    }
    if ((link & parentBits) == inArray) {
        goto behindElement;
    }
    goto behindMember;
}

} // namespace ostra::io::json::core
