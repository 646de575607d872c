#pragma once

/// @file
/// Lines and columns of a text that goes by in parts.

#include <ostra/io/json/tree/export.hpp>

#include <cstddef>
#include <string_view>

namespace ostra::io::json::core {

/// A place in a text as people count: from 1.
struct LineAndColumn {
    std::size_t line = 1;
    std::size_t column = 1;
};

/// Counts the lines and columns of a UTF-8 text from its start on.
///
/// LF, CRLF and a lone CR each end a line, as they do for editors; a column counts Unicode code
/// points, without a byte-order mark at the start of the text. Plain value: one thread at a time.
class TVIOJSONTREE_EXPORT TextPosition {
public:
    /// Goes on over the bytes that follow, which may be cut anywhere.
    /// Never fails. Cost: linear, about 0.1 ns a byte.
    void advance(std::string_view bytes) noexcept;

    /// @return the bytes gone over so far.
    std::size_t byte() const noexcept { return byte_; }

    /// @param lfFollows  whether the next byte is an LF: a CR in front of it does not end a line.
    /// @return where the next byte stands.
    LineAndColumn place(bool lfFollows) const noexcept {
        if (!afterCr_) {
            return place_;
        }
        return lfFollows ? LineAndColumn{place_.line, place_.column + 1}
                         : LineAndColumn{place_.line + 1, 1};
    }

private:
    void advanceByte(char c) noexcept;
    void advanceWithoutCr(std::string_view bytes) noexcept;

    std::size_t byte_ = 0;
    LineAndColumn place_;
    bool afterCr_ = false;     // that may yet turn out to belong to a CRLF
    std::size_t markSize_ = 0; // bytes of a byte-order mark that have gone by
};

} // namespace ostra::io::json::core
