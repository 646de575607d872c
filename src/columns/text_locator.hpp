#pragma once

/// Lines and columns of places in a text, for errors.

#include "columns/byte_source.hpp"

#include <ostra/io/json/core/text_position.hpp>

#include <algorithm>
#include <cstddef>

namespace ostra::io::json::columns {

/// Counts lines on request only: reads the text once more, or, when it cannot be read
/// again, before it is forgotten.
class TextLocator {
public:
    explicit TextLocator(ByteSource& source) : source_(source) {}

    /// @param offset  not in front of any earlier one.
    void advanceTo(std::size_t offset) {
        constexpr std::size_t step = std::size_t{256} << 10U;
        while (position_.byte() < offset) {
            const std::size_t at = position_.byte();
            const std::string_view bytes = source_.read(at, std::min(step, offset - at), buffer_);
            if (bytes.empty()) {
                return;
            }
            position_.advance(bytes);
        }
    }

    /// @param offset  as for `advanceTo`.
    core::LineAndColumn locate(std::size_t offset) {
        advanceTo(offset);
        return position_.place(source_.read(offset, 1, buffer_) == "\n");
    }

private:
    ByteSource& source_;
    core::TextPosition position_;
    ReadBuffer buffer_;
};

} // namespace ostra::io::json::columns
