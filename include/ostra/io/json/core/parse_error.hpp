#pragma once

/// @file
/// The error of the embedded JSON core, with its parts as data.

#include <ostra/io/json/tree/export.hpp>

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

namespace ostra::io::json::core {

/// Where a JSON text was refused, and why.
struct ParseErrorFields {
    std::string source;                ///< names the source, UTF-8; empty for a text in memory
    std::size_t line = 1;              ///< from 1; LF, CRLF and a lone CR each end a line
    std::size_t column = 1;            ///< from 1, in Unicode code points, without byte-order mark
    std::size_t byte = 0;              ///< from 0, from the start of the source
    std::optional<std::size_t> record; ///< from 0; empty when the text is not read by records
    std::string reason;                ///< what is wrong, without control characters
};

/// A text that is not JSON (RFC 8259, with the options that were given).
///
/// `what()` reads `stations.json:12:7: expected ',' or '}' (byte 311)`, and
/// `log.jsonl:12:7: expected ',' or '}' (byte 311, record 11)` where records are read. Copies share
/// nothing with the text.
class TVIOJSONTREE_EXPORT ParseError : public std::runtime_error {
public:
    explicit ParseError(ParseErrorFields fields);
    ~ParseError() override;
    ParseError(const ParseError&) = default;
    ParseError& operator=(const ParseError&) = default;

    /// @return the parts of the message; live as long as the error.
    const ParseErrorFields& fields() const noexcept { return fields_; }

private:
    ParseErrorFields fields_;
};

} // namespace ostra::io::json::core
