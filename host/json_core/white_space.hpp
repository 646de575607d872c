#pragma once

/// White space as JSON has it (RFC 8259, section 2).

namespace ostra::io::json::core {

constexpr bool isSpace(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}

} // namespace ostra::io::json::core
