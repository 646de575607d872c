/// A machine without memory: the N-th allocation fails, for every N and every operation.
///
/// This program brings its own `operator new`, and, where no sanitizer has its own, its own
/// `malloc`: RapidJSON takes its memory from there.

#include "support/operations.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define OWN_MALLOC
#endif

namespace {

// An operation's own threads count too where `operator new` is concerned; `malloc` counts on its
// calling thread only, since oneTBB's and the C library's threads call it for themselves.
std::atomic<long> allocationsLeft = 0; // until one fails; not counting where it is 0 or less
std::atomic<bool> failOn = false;      // whether all further ones fail as well
std::atomic<long> living = 0;          // blocks of `operator new`
std::atomic<bool> armed = false;
bool mallocToo = true;
thread_local bool caller = false; // whether `malloc` counts: not in `operator new`

bool failsNow() {
    if (!armed) {
        return false;
    }
    const long left = --allocationsLeft;
    return left == 0 || (left < 0 && failOn);
}

void* take(std::size_t size) {
    if (failsNow()) {
        return nullptr;
    }
    const bool callerBefore = std::exchange(caller, false);
    void* const block = std::malloc(size == 0 ? 1 : size);
    caller = callerBefore;
    living += block != nullptr ? 1 : 0;
    return block;
}

// Not inlined, or GCC 12 sees `std::free` after `operator new` and takes it for a mistake.
[[gnu::noinline]] void giveBack(void* block) noexcept {
    living -= block != nullptr ? 1 : 0;
    std::free(block);
}

} // namespace

// NOLINTBEGIN: the standard's names and signatures
void* operator new(std::size_t size) {
    void* const block = take(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}
void operator delete(void* block) noexcept {
    giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
    giveBack(block);
}
#ifdef OWN_MALLOC
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_realloc(void*, std::size_t);
__attribute__((visibility("default"))) void* malloc(std::size_t size) {
    return caller && failsNow() ? nullptr : __libc_malloc(size);
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
    return caller && failsNow() ? nullptr : __libc_realloc(block, size);
}
}
#endif
// NOLINTEND

namespace {

/// Whether the allocations after the failing one fail as well.
class Allocation : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        test::beforeOperation = [] {
            armed = true;
            caller = mallocToo;
        };
        test::afterOperation = [] { caller = armed = false; };
    }
    void TearDown() override {
        test::beforeOperation = test::afterOperation = [] {};
    }
    test::TemporaryFolder folder;
};

TEST_P(Allocation, FailsCleanlyWhereverItHappens) {
    const std::string file = folder / "file.json";
    std::size_t failures = 0;
    for (const test::Operation& operation : test::operations()) {
        SCOPED_TRACE(operation.name);
        // RapidJSON's pointers do not survive a failing malloc; we ask for their memory first.
        mallocToo = operation.name.find("elector") == std::string::npos;
        allocationsLeft = 0;
        failOn = false;
        const std::set<std::string> permitted = test::permittedStates(operation, file);
        test::Subject plain(3, file);
        const std::string answer = operation.run(plain, SIZE_MAX);
        const std::string finished = plain.state();
        const long before = living;
        for (long n = 1;; ++n) {
            bool failed = false;
            {
                test::Subject subject(3, file);
                const std::vector<rapidjson::Value*> nodes = subject.nodes.nodes;
                const long livingBefore = living;
                failOn = GetParam();
                allocationsLeft = n;
                try {
                    EXPECT_EQ(operation.run(subject, SIZE_MAX), answer);
                } catch (const std::bad_alloc&) {
                    failed = true;
                    ++failures;
                    EXPECT_EQ(living, livingBefore) << n;
                }
                const std::string state = subject.state();
                ASSERT_EQ(subject.nodes.nodes, nodes) << n;
                if (failed) {
                    ASSERT_EQ(permitted.count(state), 1U) << n << ' ' << state;
                } else {
                    ASSERT_EQ(state, finished) << n;
                }
                ASSERT_FALSE(failed && n == 100'000);
            }
            EXPECT_EQ(living, before) << n;
            EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / ""), {}), 1);
            if (!failed) {
                break;
            }
        }
    }
    EXPECT_GT(failures, 4 * test::operations().size()); // or else they were not injected
}

INSTANTIATE_TEST_SUITE_P(Once, Allocation, testing::Values(false));
INSTANTIATE_TEST_SUITE_P(FromThenOn, Allocation, testing::Values(true));

} // namespace
