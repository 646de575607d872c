/// The strict reader's state machine.

#include "open_container.hpp"
#include "token_scan.hpp"

namespace ostra::io::json::core {

using rapidjson::Value;

// One long function whose states are labels, because only then do the position in the text and the
// top of the stack stay in registers; and because separate copies of the same test in different
// states are predicted separately.
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
            const std::size_t gap = positionOf(at); // `at` may go over to the tail
            at = skipSpace(at, usualOutside);
            if (*at == ',') {
                goto commaInArray;
            }
            if (*at != ']') [[unlikely]] {
                if (!inLines_ || (linkOf(container) & parentBits) != unbegun ||
                    !passLineEnd(gap, at)) {
                    return Stop::notStrict;
                }
                if (at == end_) {
                    suspend();
                    return Stop::atEnd;
                }
                goto element;
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
