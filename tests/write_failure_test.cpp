/// A file that is written again and again keeps its old contents until the new ones are whole,
/// whatever happens to the writer and to the disk.

#include "support/failure.hpp"
#include "support/files.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>

namespace {

/// What waiting for the disk answers, and how often that was asked for.
struct Disk {
    int answer = 0;
    int waits = 0;
} disk;

} // namespace

/// In place of the C library's.
extern "C" [[gnu::visibility("default")]] int fsync(int /*descriptor*/) {
    ++disk.waits;
    errno = EIO;
    return disk.answer;
}

namespace {

namespace fs = std::filesystem;
using test::u16;

/// An array of `count` times the same digit.
test::tree::DOM documentOf(int digit, std::size_t count) {
    test::tree::DOM dom;
    dom.document.SetArray();
    for (std::size_t i = 0; i < count; ++i) {
        dom.document.PushBack(digit, dom.document.GetAllocator());
    }
    return dom;
}

std::ptrdiff_t entriesIn(const std::string& folder) {
    return std::distance(fs::directory_iterator(folder), {});
}

TEST(KilledWriter, LeavesTheOldFileOrTheNewOne) {
    const test::TemporaryFolder folder;
    const std::string path = folder / "file.json";
    const test::tree::DOM documents[] = {documentOf(1, 300'000), documentOf(2, 400'000)};
    const std::string texts[] = {test::textOf(documents[0]), test::textOf(documents[1])};
    test::tree::write_file(documents[0], u16(path), {});
    std::size_t leftovers = 0;
    for (int round = 0; round < 25; ++round) {
        const pid_t writer = fork();
        ASSERT_GE(writer, 0);
        if (writer == 0) {
            for (int i = 1;; ++i) {
                test::tree::write_file(documents[i % 2], u16(path), {});
            }
        }
        int status = 0;
        while (entriesIn(folder / "") == 1) { // until it begins to write the next file
            ASSERT_EQ(waitpid(writer, &status, WNOHANG), 0); // it does not end by itself
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100 * round));
        kill(writer, SIGKILL);
        ASSERT_EQ(waitpid(writer, &status, 0), writer);
        const std::string found = test::contentOf(path);
        ASSERT_TRUE(found == texts[0] || found == texts[1]) << found.size();
        for (const auto& entry : fs::directory_iterator(folder / "")) {
            if (entry.path() != path) {
                EXPECT_TRUE(entry.path().filename().string().starts_with(".tviojsontree-"));
                fs::remove(entry.path());
                ++leftovers;
            }
        }
    }
    EXPECT_GT(leftovers, 0U); // or else none was killed at work
}

TEST(FullDisk, LeavesTheOldFileAndNothingBeside) {
    const test::TemporaryFolder folder;
    const std::string small = folder / "disk";
    fs::create_directory(small);
    if (mount("none", small.c_str(), "tmpfs", 0, "size=256k") != 0) {
        GTEST_SKIP() << "mounting a small disk takes root's rights";
    }
    const std::string path = small + "/file.json";
    test::tree::write_file(documentOf(1, 5), u16(path), {});
    const auto fill = [&] { test::tree::write_file(documentOf(2, 200'000), u16(path), {}); };
    EXPECT_EQ(test::messageOf(fill), "cannot write '" + path + "': No space left on device");
    EXPECT_EQ(test::contentOf(path), "[1,1,1,1,1]");
    EXPECT_EQ(entriesIn(small), 1);
    EXPECT_EQ(umount(small.c_str()), 0);
}

TEST(Disk, IsWaitedForWhereThereIsAFileToLose) {
    const test::TemporaryFolder folder;
    const std::string path = folder / "file.json";
    disk = {.answer = -1};
    test::tree::write_file(documentOf(1, 5), u16(path), {});
    EXPECT_EQ(disk.waits, 0);
    const auto replace = [&] { test::tree::write_file(documentOf(2, 5), u16(path), {}); };
    EXPECT_EQ(test::messageOf(replace), "cannot write '" + path + "': Input/output error");
    EXPECT_EQ(test::contentOf(path), "[1,1,1,1,1]");
    EXPECT_EQ(entriesIn(folder / ""), 1);
    disk = {};
    replace();
    EXPECT_EQ(disk.waits, 1);
    EXPECT_EQ(test::contentOf(path), "[2,2,2,2,2]");
}

} // namespace
