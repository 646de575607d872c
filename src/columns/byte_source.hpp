#pragma once

/// Text at any offset, whatever it comes from.

#include <ostra/io/json/columns/read_columns.hpp>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ostra::io::json::columns {

/// Memory that its owner keeps for one read after the other.
class ReadBuffer {
public:
    /// @return at least `size` bytes, with any content.
    /// @throws std::bad_alloc
    char* require(std::size_t size) {
        if (size > size_) {
            bytes_.reset(); // not both at once
            size_ = 0;
            bytes_ = std::make_unique_for_overwrite<char[]>(size);
            size_ = size;
        }
        return bytes_.get();
    }

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t size_ = 0;
};

/// A text of bytes that need not be in memory.
class ByteSource {
public:
    ByteSource() = default;
    virtual ~ByteSource();
    ByteSource(const ByteSource&) = delete;
    ByteSource& operator=(const ByteSource&) = delete;

    /// Reads a part. May be called from several threads at once.
    /// @return bytes from `offset` on, `size` or as many as there are; in the source itself or in
    ///         `buffer`.
    /// @throws std::runtime_error, std::bad_alloc
    virtual std::string_view read(std::size_t offset, std::size_t size, ReadBuffer& buffer) = 0;

    /// @return bytes in all, if that is known.
    virtual std::optional<std::size_t> size() const = 0;

    /// Promises that nothing in front of a place will be read again.
    virtual void discard(std::size_t /*before*/) {}

    /// @return whether what has been discarded cannot be read again.
    virtual bool forgets() const { return false; }
};

/// @throws std::system_error  if a file cannot be opened.
std::unique_ptr<ByteSource> openSource(const Source& source);

/// @return what names the source in errors.
const std::string& nameOf(const Source& source);

} // namespace ostra::io::json::columns
