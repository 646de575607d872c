/// A failing machine while columns are read: the N-th allocation, or the N-th read of a file,
/// fails, for every N.
///
/// This program brings its own `operator new`, `pread`, and, where no sanitizer has its own,
/// `malloc`: the libraries find them before all others.

#include "fuzz/oracle/read_model.hpp"
#include "support/files.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <new>
#include <unistd.h>

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define OWN_MALLOC
#endif

namespace {

enum class Fault { None, News, Mallocs, Reads };

std::atomic<Fault> fault = Fault::None;
std::atomic<long> left = 0;         // until one fails
std::atomic<long> living = 0;       // blocks of `operator new`
thread_local bool isCaller = false; // oneTBB's own threads need their memory

bool failsNow(Fault kind) {
    return fault == kind && --left == 0;
}

// Not inlined, or GCC 12 sees `std::free` after `operator new` and takes it for a mistake.
[[gnu::noinline]] void giveBack(void* block) noexcept {
    living -= block != nullptr ? 1 : 0;
    std::free(block);
}

} // namespace

// NOLINTBEGIN: the standard's names and signatures
void* operator new(std::size_t size) {
    const bool wasCaller = std::exchange(isCaller, false);
    void* const block = failsNow(Fault::News) ? nullptr : std::malloc(size == 0 ? 1 : size);
    isCaller = wasCaller;
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++living;
    return block;
}
void operator delete(void* block) noexcept {
    giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
    giveBack(block);
}
extern "C" {
#ifdef OWN_MALLOC
void* __libc_malloc(std::size_t);
__attribute__((visibility("default"))) void* malloc(std::size_t size) {
    return isCaller && failsNow(Fault::Mallocs) ? nullptr : __libc_malloc(size);
}
#endif
__attribute__((visibility("default"))) ssize_t pread(int file, void* to, std::size_t size,
                                                     off_t offset) {
    static const auto next = reinterpret_cast<decltype(&pread)>(dlsym(RTLD_NEXT, "pread"));
    if (failsNow(Fault::Reads)) {
        errno = left.load() % 2 == 0 ? EIO : EINTR;
        return -1;
    }
    return next(file, to, std::min<std::size_t>(size, 700), offset); // and never all at once
}
}
// NOLINTEND

namespace {

using namespace fuzz::blocks;

struct Case {
    const char* name;
    ReadOptions options;
    std::string text;
};

std::vector<Case> cases() {
    std::string array = R"({"front":[{"a":"a text of more than 21 bytes"}],"r":[)";
    std::string object = "{";
    std::string lines;
    for (int i = 0; i < 60; ++i) {
        const std::string record = R"({"a":)" + std::to_string(i) + R"(,"b":["x",null],"c":")" +
                                   std::string(static_cast<std::size_t>(i), 'c') + "\"}";
        array += (i == 0 ? "" : ",\n") + record;
        object += (i == 0 ? "\"" : ",\"") + std::to_string(i) + "\":" + record;
        lines += record + (i % 9 == 4 ? "\nbad\n\n" : "\n");
    }
    ReadOptions document;
    document.block_size = 900;
    document.pointer = "/r";
    ReadOptions members = document;
    members.pointer = "";
    members.keys = true;
    ReadOptions skipping = document;
    skipping.form = Form::Lines;
    skipping.pointer = "";
    skipping.bad_lines = BadLines::Skip;
    return {{"array", document, array + "],\"tail\":{}}"},
            {"object", members, object + "}"},
            {"lines", skipping, lines}};
}

/// Reads all in batches, with faults while it reads.
std::string readAll(const Source& source, const ReadOptions& options, Fault kind, long n) {
    // NOLINTNEXTLINE(bugprone-unused-return-value)
    ColumnReader reader(source, someFields(), options, {.records = 25});
    std::string all;
    all.reserve(100'000);
    for (;;) {
        isCaller = true;
        left = n;
        fault = kind;
        std::optional<RecordColumns> batch;
        try {
            batch = reader.next();
        } catch (...) {
            fault = Fault::None;
            isCaller = false;
            EXPECT_FALSE(reader.next()); // it has no more, and says so
            throw;
        }
        n = left; // goes on counting in the next batch
        fault = Fault::None;
        isCaller = false;
        if (!batch) {
            return all;
        }
        all += columnText(*batch);
    }
}

void tryAllFaults(Fault kind, std::size_t threads, long atLeast) {
    const test::TemporaryFolder folder;
    for (const Case& one : cases()) {
        SCOPED_TRACE(one.name);
        const std::string path = folder / "text";
        test::writeBytes(path, one.text);
        const Source source = Source::file(path);
        ReadOptions options = one.options;
        options.threads = threads;
        const std::string expected = readAll(source, options, Fault::None, 0);
        readAll(source, options, Fault::None, 0); // wakes oneTBB, not to fail at that
        const long before = living;
        long failures = 0;
        bool failed = true;
        for (long n = 1; failed; ++n) {
            try {
                EXPECT_EQ(readAll(source, options, kind, n), expected) << n;
                failed = left <= 0; // one fault, and nobody needed what it was about
            } catch (const std::bad_alloc&) {
                ++failures;
            } catch (const std::system_error& error) {
                EXPECT_EQ(error.code().value(), EIO);
                ++failures;
            }
            ASSERT_FALSE(testing::Test::HasFailure()) << n;
            if (threads == 1) {
                ASSERT_EQ(living, before) << n;
            }
        }
        EXPECT_GE(failures, atLeast);
    }
}

TEST(ReadFaults, AllocationsReachTheCaller) {
    tryAllFaults(Fault::News, 1, 20);
#ifndef TVIOJSONTREE_PLAIN_THREADS // which may take memory when work is half done
    tryAllFaults(Fault::News, 3, 10);
#endif
}

#ifdef OWN_MALLOC
TEST(ReadFaults, AllocationsOfDocumentsReachTheCaller) {
    tryAllFaults(Fault::Mallocs, 1, 1);
}
#endif

TEST(ReadFaults, ReadsReachTheCaller) {
    tryAllFaults(Fault::Reads, 1, 5);
    tryAllFaults(Fault::Reads, 3, 5);
}

} // namespace
