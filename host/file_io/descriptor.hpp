#pragma once

/// What reading and writing share: descriptors, paths and errors.

#include <cstddef>
#include <string>

namespace ostra::io::common::file::detail {

/// What was attempted on which file, for the message of a failure.
struct Attempt {
    const char* verb; ///< "read" or "write"
    std::string path; ///< UTF-8

    /// Throws a `std::system_error` that reads `cannot read '/data/x.json': No such file or
    /// directory`.
    /// @param error  an errno value.
    /// @param note   follows the path; says what the reason alone does not.
    [[noreturn]] void fail(int error, const char* note = "") const;
};

/// Converts a path, and refuses one with an embedded NUL: the system would open another file.
Attempt beginAttempt(const char* verb, const std::u16string& path);

/// An open file, closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor& operator=(Descriptor&&) = delete;

    /// Negative when there is no file.
    int number() const noexcept { return number_; }

    /// @return 0, or the errno value of a delayed write error that the system reports only now.
    int close() noexcept;

private:
    int number_;
};

/// `open`, never inherited by child processes, never a controlling terminal, repeated when
/// interrupted.
/// @return without a file if it fails; errno says why.
Descriptor openFile(const char* path, int flags, unsigned mode = 0) noexcept;

/// Writes all bytes, however many calls it takes, also to a descriptor that does not block.
/// Neither a reader that went away nor a limit on file sizes kills the process by its signal.
/// @return 0 or an errno value.
int writeFully(int descriptor, const char* data, std::size_t size) noexcept;

} // namespace ostra::io::common::file::detail
