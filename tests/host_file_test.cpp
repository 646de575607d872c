// The embedded host's file reading and writing.

#include "platform/file_io.hpp"
#include "support/failure.hpp"
#include "support/files.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace {

namespace fs = std::filesystem;
using test::contentOf;
using test::u16;
using test::writeBytes;

std::string readWhole(const std::string& path) {
    const std::vector<char> bytes = ostra::io::common::file::readall(u16(path));
    return {bytes.begin(), bytes.end()};
}

void writeWhole(const std::string& path, const std::string& bytes) {
    ostra::io::common::file::writeall(u16(path), bytes.data(), bytes.size());
}

std::string readComplaint(const std::string& path) {
    return test::messageOf<std::system_error>([&] { readWhole(path); });
}

std::string writeComplaint(const std::string& path, const std::string& bytes = "new") {
    return test::messageOf<std::system_error>([&] { writeWhole(path, bytes); });
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    return status;
}

std::string pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>(i * 31 + (i >> 12));
    }
    return bytes;
}

class HostFile : public testing::Test {
protected:
    test::TemporaryFolder folder;
};

TEST_F(HostFile, WritesAndReadsWholeFiles) {
    const std::string path = folder / "größer 漢.json";
    for (const std::size_t size : {0UL, 1UL, 262143UL, 262144UL, 262145UL, 1000007UL, 3UL}) {
        writeWhole(path, pattern(size));
        EXPECT_TRUE(contentOf(path) == pattern(size)) << size;
        EXPECT_TRUE(readWhole(path) == pattern(size)) << size;
    }
    ostra::io::common::file::writeall(u16(path), nullptr, 0);
    EXPECT_EQ(readWhole(path), "");
    EXPECT_THAT(namesIn(folder / ""), testing::ElementsAre("größer 漢.json"));
}

TEST_F(HostFile, ReadsAndWritesWhatHasNoSize) {
    const std::string fifo = folder / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::thread writer([&] { writeWhole(fifo, pattern(700001)); });
    EXPECT_TRUE(readWhole(fifo) == pattern(700001));
    writer.join();
    EXPECT_TRUE(fs::is_fifo(fifo));
    EXPECT_THAT(readWhole("/proc/self/status"), testing::StartsWith("Name:"));
    EXPECT_EQ(readWhole("/dev/null"), "");
}

TEST_F(HostFile, FailuresNamePathAndReason) {
    writeBytes(folder / "file", "old");
    fs::create_symlink("loop", folder / "loop");
    const std::string nul = (folder / "file") + std::string("\0.json", 6);
    struct Case {
        std::string path, shown, reading, writing;
    };
    const std::string missing = ": No such file or directory";
    const std::string isFolder = ": Is a directory";
    const std::string notFolder = ": Not a directory";
    const std::string loop = ": Too many levels of symbolic links";
    const std::string invalid = " followed by a NUL character: Invalid argument";
    const std::vector<Case> cases{{"", "", missing, missing},
                                  {folder / "none", folder / "none", missing, ""},
                                  {folder / "none/x", folder / "none/x", missing, missing},
                                  {folder / "", folder / "", isFolder, isFolder},
                                  {folder / ".", folder / ".", isFolder, isFolder},
                                  {folder / "file/x", folder / "file/x", notFolder, notFolder},
                                  {folder / "file/", folder / "file/", notFolder, notFolder},
                                  {folder / "loop", folder / "loop", loop, loop},
                                  {nul, folder / "file", invalid, invalid},
                                  {"/dev/full", "/dev/full", "", ": No space left on device"}};
    for (const Case& each : cases) {
        if (!each.reading.empty()) {
            EXPECT_EQ(readComplaint(each.path), "cannot read '" + each.shown + "'" + each.reading);
        }
        if (!each.writing.empty()) {
            EXPECT_EQ(writeComplaint(each.path),
                      "cannot write '" + each.shown + "'" + each.writing);
        }
    }
    EXPECT_EQ(contentOf(folder / "file"), "old");
    EXPECT_THAT(namesIn(folder / ""), testing::UnorderedElementsAre("file", "loop"));
}

TEST_F(HostFile, ReplacesTheFileBehindLinksAndKeepsItsAccess) {
    fs::create_directory(folder / "data");
    writeBytes(folder / "data/file", "old");
    ASSERT_EQ(chmod((folder / "data/file").c_str(), 0614), 0);
    const bool isRoot = geteuid() == 0;
    if (isRoot) {
        ASSERT_EQ(chown((folder / "data/file").c_str(), 65534, 65533), 0);
    }
    fs::create_symlink("data/file", folder / "inner");
    fs::create_symlink(folder / "inner", folder / "outer");
    fs::create_symlink("data/fresh", folder / "dangling");

    writeWhole(folder / "outer", "new");
    EXPECT_EQ(contentOf(folder / "data/file"), "new");
    EXPECT_TRUE(fs::is_symlink(folder / "outer") && fs::is_symlink(folder / "inner"));
    const struct stat status = statusOf(folder / "data/file");
    EXPECT_EQ(status.st_mode & 07777U, 0614U);
    if (isRoot) {
        EXPECT_EQ(status.st_uid, 65534U);
        EXPECT_EQ(status.st_gid, 65533U);
    }

    const mode_t mask = umask(027);
    writeWhole(folder / "dangling", "made");
    umask(mask);
    EXPECT_EQ(contentOf(folder / "data/fresh"), "made");
    EXPECT_EQ(statusOf(folder / "data/fresh").st_mode & 07777U, 0640U);
    EXPECT_THAT(namesIn(folder / "data"), testing::UnorderedElementsAre("file", "fresh"));
}

/// Gives up root's rights for a while, since nothing is denied to root.
class OrdinaryUser {
public:
    OrdinaryUser() : before_(geteuid()) {
        if (before_ == 0) {
            EXPECT_EQ(seteuid(65534), 0);
        }
    }
    ~OrdinaryUser() { EXPECT_EQ(seteuid(before_), 0); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

private:
    uid_t before_;
};

TEST_F(HostFile, RespectsPermissions) {
    const std::string closed = folder / "closed";
    fs::create_directory(closed);
    const std::string open = closed + "/open";
    const std::string guarded = folder / "guarded";
    writeBytes(open, "old");
    writeBytes(guarded, "old");
    ASSERT_EQ(chmod(open.c_str(), 0666), 0);
    ASSERT_EQ(chmod(guarded.c_str(), 0000), 0);
    ASSERT_EQ(chmod(closed.c_str(), 0555), 0);
    ASSERT_EQ(chmod((folder / "").c_str(), 0777), 0);
    {
        const OrdinaryUser user;
        EXPECT_EQ(writeComplaint(open),
                  "cannot write '" + open + "' (its folder takes no new file): Permission denied");
        EXPECT_EQ(writeComplaint(closed + "/new"),
                  "cannot write '" + closed + "/new': Permission denied");
        EXPECT_EQ(writeComplaint(guarded), "cannot write '" + guarded + "': Permission denied");
        EXPECT_EQ(readComplaint(guarded), "cannot read '" + guarded + "': Permission denied");
    }
    ASSERT_EQ(chmod(closed.c_str(), 0755), 0);
    ASSERT_EQ(chmod(guarded.c_str(), 0600), 0);
    EXPECT_EQ(contentOf(open) + contentOf(guarded), "oldold");
    EXPECT_THAT(namesIn(closed), testing::ElementsAre("open"));
}

/// The signal that goes with the failure has its default action: to end this process.
TEST_F(HostFile, FailedWriteLeavesTheOldFile) {
    const std::string path = folder / "file";
    writeBytes(path, "old");
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit little{4096, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &little), 0);
    const std::string overOld = writeComplaint(path, pattern(100000));
    const std::string fresh = writeComplaint(folder / "fresh", pattern(100000));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(overOld, "cannot write '" + path + "': File too large");
    EXPECT_EQ(fresh, "cannot write '" + (folder / "fresh") + "': File too large");
    EXPECT_EQ(contentOf(path), "old");
    EXPECT_THAT(namesIn(folder / ""), testing::ElementsAre("file"));
}

class Pipe {
public:
    explicit Pipe(int flags) { EXPECT_EQ(pipe2(ends_.data(), flags | O_CLOEXEC), 0); }
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void closeEnd(std::size_t end) { ::close(std::exchange(ends_[end], -1)); }
    std::string path(std::size_t end) const { return "/dev/fd/" + std::to_string(ends_[end]); }

private:
    std::array<int, 2> ends_{};
};

TEST_F(HostFile, OpenDescriptorIsWrittenWhereItStands) {
    const std::string path = folder / "log";
    const int log = ::open(path.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    fs::create_symlink("/proc/self/fd/" + std::to_string(log), folder / "link");
    ASSERT_EQ(::write(log, "head ", 5), 5);
    writeWhole(folder / "link", "body");
    ASSERT_EQ(::write(log, " tail", 5), 5);
    ::close(log);
    EXPECT_EQ(contentOf(path), "head body tail");

    Pipe full(O_NONBLOCK); // a writer that does not wait for room
    std::string received;
    std::thread reader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        received = readWhole(full.path(0));
    });
    writeWhole(full.path(1), pattern(700001));
    full.closeEnd(1);
    reader.join();
    EXPECT_TRUE(received == pattern(700001));
}

TEST_F(HostFile, ClosedPipeIsAnError) {
    Pipe pipe(0);
    pipe.closeEnd(0);
    const std::string path = pipe.path(1);
    EXPECT_EQ(writeComplaint(path), "cannot write '" + path + "': Broken pipe");
    sigset_t waiting;
    sigpending(&waiting);
    EXPECT_EQ(sigismember(&waiting, SIGPIPE), 0);
}

} // namespace
