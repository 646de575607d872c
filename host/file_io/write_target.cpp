#include "write_target.hpp"

#include <cerrno>
#include <charconv>
#include <system_error>
#include <utility>

namespace ostra::io::common::file::detail {
namespace {

namespace fs = std::filesystem;

/// As many symbolic links as the kernel follows.
constexpr int mostLinks = 40;

/// The number that an entry of this process's descriptor folder stands for.
std::optional<int> ownDescriptor(const fs::path& folder, const fs::path& name) {
    std::error_code ignored;
    if (folder != fs::canonical("/proc/self/fd", ignored)) {
        return std::nullopt;
    }
    const std::string& digits = name.native();
    const char* end = digits.data() + digits.size();
    int number = 0;
    const auto result = std::from_chars(digits.data(), end, number);
    return result.ec == std::errc() && result.ptr == end ? std::optional(number) : std::nullopt;
}

} // namespace

WriteTarget findWriteTarget(const Attempt& attempt) {
    if (attempt.path.empty()) {
        attempt.fail(ENOENT);
    }
    WriteTarget target{attempt.path, std::nullopt, std::nullopt};
    for (int links = 0; links <= mostLinks; ++links) {
        std::error_code error;
        const fs::path name = target.path.filename();
        const fs::path folder = fs::canonical(
            target.path.has_parent_path() ? target.path.parent_path() : fs::path("."), error);
        if (error) {
            attempt.fail(error.value());
        }
        target.path = folder / name;
        target.descriptor = ownDescriptor(folder, name);
        if (target.descriptor) {
            return target;
        }
        struct stat status {};
        if (lstat(target.path.c_str(), &status) != 0) {
            if (errno != ENOENT) {
                attempt.fail(errno);
            }
            return target;
        }
        if (S_ISDIR(status.st_mode)) {
            attempt.fail(EISDIR);
        }
        if (!S_ISLNK(status.st_mode)) {
            target.status = status;
            return target;
        }
        const fs::path link = fs::read_symlink(target.path, error);
        if (error) {
            attempt.fail(error.value());
        }
        target.path = folder / link;
    }
    attempt.fail(ELOOP);
}

} // namespace ostra::io::common::file::detail
