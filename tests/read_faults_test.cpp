/// A failing machine while columns are read: the N-th allocation, or the N-th read of a file or
/// pipe, fails, for every N. This program brings its own `pread` and `read`.

#include "fuzz/oracle/read_model.hpp"
#include "support/failing_machine.hpp"
#include "support/files.hpp"

#include <ostra/io/json/columns/find_fields.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <dlfcn.h>
#include <new>
#include <unistd.h>

namespace {

int readError = EIO; // of the read that fails

/// Fails, or goes on to the definition of the same name that comes after ours, with few bytes.
template <class Function, class... Offset>
ssize_t readSome(Function* next, int file, void* to, std::size_t size, Offset... offset) {
    if (test::failsNow(test::reads)) {
        errno = readError;
        return -1;
    }
    return next(file, to, std::min<std::size_t>(size, 700), offset...);
}

} // namespace

// NOLINTBEGIN: the standard's names and signatures
extern "C" {
__attribute__((visibility("default"))) ssize_t pread(int file, void* to, std::size_t size,
                                                     off_t offset) {
    static const auto next = reinterpret_cast<decltype(&pread)>(dlsym(RTLD_NEXT, "pread"));
    return readSome(next, file, to, size, offset);
}
__attribute__((visibility("default"))) ssize_t read(int file, void* to, std::size_t size) {
    static const auto next = reinterpret_cast<decltype(&read)>(dlsym(RTLD_NEXT, "read"));
    return readSome(next, file, to, size);
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

/// A pipe that holds a text, as a file to read.
class Pipe {
public:
    explicit Pipe(const std::string& text) {
        if (::pipe(ends_) != 0 ||
            ::write(ends_[1], text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
            throw std::runtime_error("no pipe");
        }
        ::close(ends_[1]);
    }
    ~Pipe() { ::close(ends_[0]); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(ends_[0]); }

private:
    int ends_[2];
};

/// Reads all in batches, with faults while it reads.
std::string readAll(const Source& source, const ReadOptions& options, test::Fault kind, long n) {
    // NOLINTNEXTLINE(bugprone-unused-return-value)
    ColumnReader reader(source, someFields(), options, {.records = 25});
    std::string all;
    all.reserve(100'000);
    for (;;) {
        std::optional<RecordColumns> batch;
        try {
            test::left = n;
            const test::Faults failing(kind);
            batch = reader.next();
        } catch (...) {
            EXPECT_FALSE(reader.next()); // it has no more, and says so
            throw;
        }
        n = test::left; // goes on counting in the next batch
        if (!batch) {
            return all;
        }
        all += columnText(*batch);
    }
}

/// Finds all fields, with faults meanwhile.
std::string findAll(const Source& source, const ReadOptions& options, test::Fault kind, long n) {
    std::vector<FoundField> found;
    {
        test::left = n;
        const test::Faults failing(kind);
        found = find_fields(source, {}, options);
    }
    std::string all;
    for (const FoundField& field : found) {
        all += field.pointer + ' ';
    }
    return all;
}

void tryAllFaults(test::Fault kind, std::size_t threads, long atLeast, bool piped = false,
                  decltype(readAll)* action = readAll) {
    const test::TemporaryFolder folder;
    for (const Case& one : cases()) {
        SCOPED_TRACE(one.name);
        const std::string path = folder / "text";
        test::writeBytes(path, one.text);
        ReadOptions options = one.options;
        options.threads = threads;
        const auto read = [&](test::Fault fault, long n) {
            std::optional<Pipe> pipe;
            if (piped) {
                pipe.emplace(one.text);
            }
            return action(Source::file(pipe ? pipe->path() : path), options, fault, n);
        };
        const std::string expected = read(test::noFault, 0);
        read(test::noFault, 0); // wakes oneTBB, not to fail at that
        const long before = test::living;
        long failures = 0;
        bool failed = true;
        for (long n = 1; failed; ++n) {
            try {
                EXPECT_EQ(read(kind, n), expected) << n;
                failed = test::left <= 0; // one fault, and nobody needed what it was about
            } catch (const std::bad_alloc&) {
                ++failures;
            } catch (const std::system_error& error) {
                EXPECT_EQ(error.code().value(), EIO);
                ++failures;
            }
            ASSERT_FALSE(testing::Test::HasFailure()) << n;
            if (threads == 1) {
                ASSERT_EQ(test::living, before) << n;
            }
        }
        EXPECT_GE(failures, atLeast);
    }
}

TEST(ReadFaults, AllocationsReachTheCaller) {
    tryAllFaults(test::news, 1, 20);
    tryAllFaults(test::news, 1, 20, false, findAll);
#ifndef TVIOJSONTREE_PLAIN_THREADS // which may take memory when work is half done
    tryAllFaults(test::news, 3, 10);
#endif
}

TEST(ReadFaults, AllocationsOfDocumentsReachTheCaller) {
    tryAllFaults(test::mallocs, 1, test::mallocsCanFail ? 1 : 0);
}

TEST(ReadFaults, ReadsReachTheCaller) {
    for (const bool piped : {false, true}) {
        for (const std::size_t threads : {1U, 3U}) {
            readError = EIO;
            tryAllFaults(test::reads, threads, 5, piped);
            readError = EINTR; // which is not an error
            tryAllFaults(test::reads, threads, 0, piped);
        }
    }
}

} // namespace
