#include "utf8.hpp"

#include <simdjson.h>

namespace ostra::io::json::core {

namespace {

unsigned byteAt(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]);
}

/// @return the length of the well-formed sequence at `i`, 0 if there is none.
std::size_t sequenceLength(std::string_view text, std::size_t i) {
    const unsigned lead = byteAt(text, i);
    if (lead < 0x80) {
        return 1;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return 0;
    }
    const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (text.size() - i < length) {
        return 0;
    }
    // Only the second byte's range depends on the lead: this excludes overlong forms, surrogates
    // and what lies above U+10FFFF.
    const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    const unsigned second = byteAt(text, i + 1);
    if (second < lowest || second > highest) {
        return 0;
    }
    for (std::size_t k = 2; k < length; ++k) {
        if ((byteAt(text, i + k) & 0xC0U) != 0x80U) {
            return 0;
        }
    }
    return length;
}

} // namespace

bool isWellFormedUtf8(std::string_view text) {
    return simdjson::validate_utf8(text);
}

std::size_t findMalformedUtf8(std::string_view text) {
    if (isWellFormedUtf8(text)) {
        return text.size();
    }
    std::size_t i = 0;
    while (i < text.size()) {
        const std::size_t length = sequenceLength(text, i);
        if (length == 0) {
            break;
        }
        i += length;
    }
    return i;
}

std::size_t incompleteTail(std::string_view text) {
    for (std::size_t size = 1; size <= 3 && size <= text.size(); ++size) {
        const unsigned byte = byteAt(text, text.size() - size);
        if ((byte & 0xC0U) != 0x80U) { // a lead
            const std::size_t length = byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
            return size < length ? size : 0;
        }
    }
    return 0;
}

char32_t firstCodePoint(std::string_view text) {
    const unsigned lead = byteAt(text, 0);
    const std::size_t length = sequenceLength(text, 0);
    if (length <= 1) {
        return lead;
    }
    char32_t codePoint = lead & (0x7FU >> length);
    for (std::size_t k = 1; k < length; ++k) {
        codePoint = codePoint << 6U | (byteAt(text, k) & 0x3FU);
    }
    return codePoint;
}

void appendUtf8(std::string& text, char32_t codePoint) {
    const auto tail = [&](unsigned shift) {
        text += static_cast<char>(0x80U | ((codePoint >> shift) & 0x3FU));
    };
    if (codePoint < 0x80) {
        text += static_cast<char>(codePoint);
    } else if (codePoint < 0x800) {
        text += static_cast<char>(0xC0U | codePoint >> 6U);
        tail(0);
    } else if (codePoint < 0x10000) {
        text += static_cast<char>(0xE0U | codePoint >> 12U);
        tail(6);
        tail(0);
    } else {
        text += static_cast<char>(0xF0U | codePoint >> 18U);
        tail(12);
        tail(6);
        tail(0);
    }
}

} // namespace ostra::io::json::core
