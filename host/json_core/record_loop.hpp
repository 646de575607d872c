#pragma once

/// From record to record in the middle of an array or object.

#include "text_reader.hpp"

#include <ostra/io/json/core/record_reader.hpp>

#include <cstddef>

namespace ostra::io::json::core {

/// Knows what stands between the records that somebody reads one after the other, and how far they
/// can be relied on.
class __attribute__((visibility("hidden"))) RecordLoop {
public:
    /// @param window  well-formed UTF-8; outlives the loop, as `options` does.
    RecordLoop(const Window& window, const ReadJSONDocumentOptions& options, bool isObject,
               std::size_t begin, Due due);

    /// Goes on to the next record.
    /// @return whether there is one in front of the limit; otherwise the loop is at its end.
    bool goToRecord(std::size_t limit);

    /// Reads the record, or ends the loop if the window may not show all of it.
    /// @throws ParseError, std::bad_alloc
    void readRecord(TextReader& reader);

    /// Ends the loop because the next record cannot be read.
    void fail();

    Records result() const { return records_; }

private:
    bool stop(Records::Stop reason, std::size_t end);
    bool isClosing(std::size_t at) const { return window_.bytes[at] == (isObject_ ? '}' : ']'); }
    std::size_t skip(std::size_t at) const;

    const Window& window_;
    const ReadJSONDocumentOptions& options_;
    const bool isObject_;
    bool hasStopped_ = false;
    Records records_; // its `end` and `due`: where the loop is
};

} // namespace ostra::io::json::core
