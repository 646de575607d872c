#pragma once

/// The file that a command reads, perhaps more than once.

#include <ostra/io/json/columns/read_columns.hpp>

#include <cstdio>
#include <memory>
#include <string>

namespace example {

/// A file, or a pipe of which what has been read is kept in a temporary file.
class Input {
public:
    explicit Input(std::string path);

    /// @return all of it, from the start; for one reading call at a time.
    /// What reads from it throws std::system_error if the copy cannot be made.
    ostra::io::json::columns::Source source();

private:
    struct Close {
        void operator()(std::FILE* file) const { (void)std::fclose(file); }
    };
    using File = std::unique_ptr<std::FILE, Close>;

    std::size_t readAt(std::size_t offset, char* to, std::size_t size);

    std::string path_;
    File pipe_; // null for a file that can be read again
    File copy_;
    std::size_t copied_ = 0;
};

} // namespace example
