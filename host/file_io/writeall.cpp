#include "platform/file_io.hpp"

#include "descriptor.hpp"
#include "write_target.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace ostra::io::common::file {
namespace {

namespace fs = std::filesystem;
using detail::Attempt;
using detail::Descriptor;
using detail::WriteTarget;

/// Removes a file at the end of its scope, unless that was called off.
class Removal {
public:
    explicit Removal(const fs::path& path) noexcept : path_(&path) {}
    ~Removal() {
        if (path_ != nullptr) {
            unlink(path_->c_str());
        }
    }
    Removal(const Removal&) = delete;
    Removal& operator=(const Removal&) = delete;
    void callOff() noexcept { path_ = nullptr; }

private:
    const fs::path* path_;
};

/// Creates a file of a name that nobody can foresee.
/// @param temporary  becomes its path.
/// @return without a file if that fails; errno says why.
Descriptor createTemporary(const fs::path& folder, unsigned mode, fs::path& temporary) {
    for (;;) {
        std::uint64_t random = 0;
        if (getentropy(&random, sizeof random) != 0) {
            return Descriptor(-1);
        }
        std::array<char, 16> digits{};
        const auto end = std::to_chars(digits.begin(), digits.end(), random, 16).ptr;
        temporary = folder / (".tviojsontree-" + std::string(digits.begin(), end));
        Descriptor file = detail::openFile(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL, mode);
        if (file.number() >= 0 || errno != EEXIST) {
            return file;
        }
    }
}

/// Gives a new file the owner, if permitted, and the permissions of the one that it replaces. A
/// group that could not be kept must not hand its rights to ours.
/// @return 0 or an errno value.
int takeOverAccess(int descriptor, const struct stat& old) noexcept {
    mode_t mode = old.st_mode & 07777U;
    if (fchown(descriptor, old.st_uid, old.st_gid) != 0) {
        mode &= 0777U;
        if (fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) != 0) {
            mode &= 0707U | ((mode & 07U) << 3U);
        }
    }
    return fchmod(descriptor, mode) == 0 ? 0 : errno;
}

/// Puts a complete new file in place of the old one, which is as it was until the very last step.
///
/// A file that may be written in a folder that takes no new one is refused: writing it where it
/// lies could lose its contents. Further hard links keep the old contents. A process killed
/// meanwhile leaves its temporary file behind.
void replaceFile(const Attempt& attempt, const WriteTarget& target, const char* data,
                 std::size_t size) {
    const bool exists = target.status.has_value();
    // Replacing asks for no permission of the file itself, but its owner may have protected it.
    if (exists && faccessat(AT_FDCWD, target.path.c_str(), W_OK, AT_EACCESS) != 0) {
        attempt.fail(errno);
    }
    fs::path temporary;
    Descriptor file = createTemporary(target.path.parent_path(), exists ? 0600 : 0666, temporary);
    if (file.number() < 0) {
        attempt.fail(errno, exists ? " (its folder takes no new file)" : "");
    }
    Removal removal(temporary);
    int error = exists ? takeOverAccess(file.number(), *target.status) : 0;
    if (error == 0) {
        error = detail::writeFully(file.number(), data, size);
    }
    // Without this, a machine that stops soon after could show the old file's name without the
    // contents of either. Where there is nothing to lose we do not wait for the disk, as nobody
    // expects of a new file: for 100 MB that took 0.4 s, two thirds of the time of making them.
    if (error == 0 && exists && fsync(file.number()) != 0) {
        error = errno;
    }
    if (error == 0) {
        error = file.close();
    }
    if (error == 0 && std::rename(temporary.c_str(), target.path.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        attempt.fail(error);
    }
    removal.callOff();
}

void writeDirectly(const Attempt& attempt, const WriteTarget& target, const char* data,
                   std::size_t size) {
    Descriptor file = target.descriptor ? Descriptor(fcntl(*target.descriptor, F_DUPFD_CLOEXEC, 0))
                                        : detail::openFile(target.path.c_str(), O_WRONLY);
    int error = file.number() < 0 ? errno : detail::writeFully(file.number(), data, size);
    if (error == 0) {
        error = file.close();
    }
    if (error != 0) {
        attempt.fail(error);
    }
}

} // namespace

void writeall(const std::u16string& path, const char* data, std::size_t size) {
    const Attempt attempt = detail::beginAttempt("write", path);
    const WriteTarget target = detail::findWriteTarget(attempt);
    if (target.descriptor || (target.status && !S_ISREG(target.status->st_mode))) {
        writeDirectly(attempt, target, data, size);
    } else {
        replaceFile(attempt, target, data, size);
    }
}

} // namespace ostra::io::common::file
