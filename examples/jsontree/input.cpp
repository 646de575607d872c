#include "input.hpp"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace example {

namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

Input::Input(std::string path) : path_(std::move(path)) {
    struct stat status {};
    if (::stat(path_.c_str(), &status) != 0 || S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)) {
        return; // the library says what is wrong with it
    }
    pipe_.reset(std::fopen(path_.c_str(), "rb"));
    if (!pipe_) {
        fail("cannot read '" + path_ + "'");
    }
    copy_.reset(std::tmpfile());
    if (!copy_) {
        fail("cannot keep a copy of '" + path_ + "'");
    }
}

ostra::io::json::columns::Source Input::source() {
    using ostra::io::json::columns::Source;
    if (!pipe_) {
        return Source::file(path_);
    }
    return Source::stream(
        [this, offset = std::size_t{0}](char* to, std::size_t size) mutable {
            const std::size_t got = readAt(offset, to, size);
            offset += got;
            return got;
        },
        path_);
}

std::size_t Input::readAt(std::size_t offset, char* to, std::size_t size) {
    const int copy = ::fileno(copy_.get());
    const bool isCopied = offset < copied_;
    ssize_t got = -1;
    do {
        got = isCopied
                  ? ::pread(copy, to, std::min(size, copied_ - offset), static_cast<off_t>(offset))
                  : ::read(::fileno(pipe_.get()), to, size);
    } while (got < 0 && errno == EINTR);
    if (got < 0) {
        fail("cannot read '" + path_ + "'");
    }
    const auto count = static_cast<std::size_t>(got);
    for (std::size_t done = 0; !isCopied && done < count;) {
        const ssize_t put = ::pwrite(copy, to + done, count - done, static_cast<off_t>(copied_));
        if (put < 0 && errno != EINTR) {
            fail("cannot keep a copy of '" + path_ + "'");
        }
        done += put < 0 ? 0 : static_cast<std::size_t>(put);
        copied_ += put < 0 ? 0 : static_cast<std::size_t>(put);
    }
    return count;
}

} // namespace example
