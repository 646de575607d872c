#include "descriptor.hpp"

#include "platform/text_conversion.hpp"

#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ostra::io::common::file::detail {
namespace {

/// Holds back, in this thread, the signals that a failing `write` raises beside its error code, and
/// discards them: their default action ends the process. The process's own handlers stay as they
/// are, and signals that were already waiting before still wait afterwards.
class WriteSignals {
public:
    WriteSignals() noexcept {
        sigset_t waiting;
        sigset_t raised;
        sigpending(&waiting);
        sigemptyset(&raised);
        sigemptyset(&discarded_);
        for (const int signal : {SIGPIPE, SIGXFSZ}) {
            sigaddset(&raised, signal);
            if (sigismember(&waiting, signal) == 0) {
                sigaddset(&discarded_, signal);
            }
        }
        pthread_sigmask(SIG_BLOCK, &raised, &before_);
    }

    ~WriteSignals() {
        const timespec atOnce{};
        int taken = 0;
        do {
            taken = sigtimedwait(&discarded_, nullptr, &atOnce);
        } while (taken > 0 || (taken < 0 && errno == EINTR));
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

    WriteSignals(const WriteSignals&) = delete;
    WriteSignals& operator=(const WriteSignals&) = delete;

private:
    sigset_t before_{};
    sigset_t discarded_{};
};

} // namespace

void Attempt::fail(int error, const char* note) const {
    throw std::system_error(error, std::generic_category(),
                            std::string("cannot ") + verb + " '" + path + "'" + note);
}

Attempt beginAttempt(const char* verb, const std::u16string& path) {
    Attempt attempt{verb, fl::i18n::ustring_to_utf8(path)};
    const std::size_t nul = attempt.path.find('\0');
    if (nul != std::string::npos) {
        attempt.path.resize(nul);
        attempt.fail(EINVAL, " followed by a NUL character");
    }
    return attempt;
}

Descriptor::~Descriptor() {
    close();
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}

int Descriptor::close() noexcept {
    const int number = std::exchange(number_, -1);
    // An interrupted close has closed all the same: repeating it could close another thread's file.
    return number < 0 || ::close(number) == 0 || errno == EINTR ? 0 : errno;
}

Descriptor openFile(const char* path, int flags, unsigned mode) noexcept {
    int number = -1;
    do {
        number = ::open(path, flags | O_CLOEXEC | O_NOCTTY, mode);
    } while (number < 0 && errno == EINTR);
    return Descriptor(number);
}

int writeFully(int descriptor, const char* data, std::size_t size) noexcept {
    const WriteSignals signals;
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written > 0) {
            data += written;
            size -= static_cast<std::size_t>(written);
        } else if (written == 0) {
            return EIO;
        } else if (errno == EAGAIN) {
            pollfd room{descriptor, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

} // namespace ostra::io::common::file::detail
