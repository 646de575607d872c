#include <ostra/io/json/core/text_position.hpp>

#include "text_scan.hpp"

#include <algorithm>
#include <cstring>

namespace ostra::io::json::core {

namespace {

constexpr std::string_view mark = "\xEF\xBB\xBF";

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// @return how many code points begin there.
std::size_t countStarts(std::string_view bytes) {
    return bytes.size() - countBytes(bytes, [](__m128i some) { // the signed ones below -64
               return _mm_cmplt_epi8(some, _mm_set1_epi8(-64));
           });
}

} // namespace

void TextPosition::advance(std::string_view bytes) noexcept {
    constexpr std::size_t stretchSize = std::size_t{4} << 10U;
    std::size_t i = 0;
    for (; i < bytes.size() && byte_ < mark.size(); ++i) {
        advanceByte(bytes[i]);
    }
    while (i < bytes.size()) {
        if (afterCr_) {
            advanceByte(bytes[i++]);
            continue;
        }
        const std::string_view stretch = bytes.substr(i, stretchSize);
        const std::size_t size = std::min(stretch.find('\r'), stretch.size());
        advanceWithoutCr(stretch.substr(0, size));
        i += size;
        if (size != stretch.size()) {
            advanceByte(bytes[i++]);
        }
    }
}

/// Columns count from the last line end on: in front of it there is nothing but lines to count.
void TextPosition::advanceWithoutCr(std::string_view bytes) noexcept {
    const void* const lastEnd = ::memrchr(bytes.data(), '\n', bytes.size());
    std::size_t lineBegin = 0;
    if (lastEnd != nullptr) {
        lineBegin = static_cast<std::size_t>(static_cast<const char*>(lastEnd) + 1 - bytes.data());
        place_.line += countByte(bytes.substr(0, lineBegin), '\n');
        place_.column = 1;
    }
    place_.column += countStarts(bytes.substr(lineBegin));
    byte_ += bytes.size();
}

void TextPosition::advanceByte(char c) noexcept {
    place_ = place(c == '\n');
    afterCr_ = c == '\r';
    if (c == '\n') {
        place_ = {place_.line + 1, 1};
    } else if (!afterCr_ && !isContinuation(c)) {
        ++place_.column;
    }
    if (byte_ < mark.size() && markSize_ == byte_ && c == mark[byte_] &&
        ++markSize_ == mark.size()) {
        place_.column = 1;
    }
    ++byte_;
}

} // namespace ostra::io::json::core
