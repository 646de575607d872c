#pragma once

/// @file
/// The error of the embedded JSON core, with its parts as data.

#include <ostra/io/json/tree/export.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace ostra::io::json::core {

/// Where a JSON text was refused, and why.
struct ParseErrorFields {
    std::string source;                ///< names the source, UTF-8; empty for a text in memory
    std::size_t line = 1;              ///< from 1; LF, CRLF and a lone CR each end a line
    std::size_t column = 1;            ///< from 1, in Unicode code points, without byte-order mark
    std::size_t byte = 0;              ///< from 0, from the start of the source, the mark included
    std::optional<std::size_t> record; ///< from 0; empty when the text is not read by records
    std::string reason;                ///< what is wrong, UTF-8 without control characters
};

/// A text that is not JSON (RFC 8259, with the options that were given).
///
/// `what()` reads `stations.json:12:7: expected ',' or '}' (byte 311)`, and
/// `log.jsonl:12:7: expected ',' or '}' (byte 311, record 11)` if records are read; a source
/// without a name is left out with its colon, and control characters in a name are spelt out.
/// Copies share their parts and cannot fail.
class TVIOJSONTREE_EXPORT ParseError : public std::runtime_error {
public:
    /// @throws std::bad_alloc
    explicit ParseError(ParseErrorFields fields);
    ~ParseError() override;
    ParseError(const ParseError&) noexcept = default;
    ParseError& operator=(const ParseError&) noexcept = default;

    /// @return the parts of the message; they live as long as the error or a copy of it.
    const ParseErrorFields& fields() const noexcept { return *fields_; }

private:
    std::shared_ptr<const ParseErrorFields> fields_;
};

} // namespace ostra::io::json::core
