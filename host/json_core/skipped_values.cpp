#include "skipped_values.hpp"

#include "string_escapes.hpp"

namespace ostra::io::json::core {

/// @param at  its opening bracket.
const char* ProjectedReader::skipContainer(const char* at) {
    __m128i seen = _mm_setzero_si128();
    std::size_t usualInFront = 0;
    std::size_t usualBehind = 0;
    skipped_.clear();
    char closing = 0; // of the container at hand; 0 outside

opening:
    if (closing != 0) {
        skipped_.push_back(closing);
    }
    closing = *at == '{' ? '}' : ']';
    at = skipSpace(at + 1, usualInFront);
    if (*at == closing) {
        goto behind;
    }

value:
    at = sureOf(at);
    if (closing == '}') {
        if (*at != '"') {
            return nullptr;
        }
        at = skipString(at + 1, seen);
        at = at == nullptr || *at == ':' ? at : skipLongSpace(at);
        if (at == nullptr || *at != ':') {
            return nullptr;
        }
        at = sureOf(skipSpace(at + 1, usualInFront));
    }
    if (*at == '[' || *at == '{') {
        goto opening;
    }
    at = skipValue(at, seen);
    if (at == nullptr) {
        return nullptr;
    }

behind:
    at = skipSpace(sureOf(at), usualBehind);
    if (*at == ',') {
        at = skipSpace(at + 1, usualInFront);
        goto value;
    }
    if (*at != closing) {
        return nullptr;
    }
    ++at;
    if (!skipped_.empty()) {
        closing = skipped_.back();
        skipped_.pop_back();
        goto behind;
    }
    seen_ = _mm_or_si128(seen_, seen);
    return sureOf(at);
}

/// @param at  after the opening quote.
const char* ProjectedReader::skipLongString(const char* at) {
    __m128i seen = seen_;
    for (;;) {
        at = sureOf(at);
        const __m128i block = loadVector(at);
        seen = _mm_or_si128(seen, block);
        const std::uint32_t special = specialInString(block); // the zeros behind the text are
        if (special == 0) {
            at += sizeof block;
            continue;
        }
        at += lowestBit(special);
        if (*at == '"') {
            seen_ = seen;
            return sureOf(at + 1);
        }
        if (*at != '\\') {
            return nullptr;
        }
        char character[longestEscape];
        char* to = character;
        at = readEscape(at, to);
        if (at == nullptr) {
            return nullptr;
        }
    }
}

} // namespace ostra::io::json::core
