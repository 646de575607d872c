#pragma once

/// A failing machine: the N-th allocation, or the N-th call of something else, fails.
///
/// A program with failing_machine.cpp in it brings its own `operator new` and, if no sanitizer has
/// its own, `malloc`, `realloc` and `mmap`. The libraries find them before all others.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool mallocsCanFail = false;
#else
inline constexpr bool mallocsCanFail = true;
#endif

/// What can fail; several are added up.
enum Fault : unsigned {
    noFault = 0,
    news = 1, // on all threads
    // On the thread that lets them fail: oneTBB's and the C library's threads need theirs.
    mallocs = 2, // outside of `operator new`
    reallocs = 4,
    mappings = 8,
    // Calls of functions that a test brings itself, on all threads.
    reads = 16,
    hostCalls = 32,
};

inline constexpr long never = std::numeric_limits<long>::max();
inline std::atomic<long> left = never;              // until one fails
inline std::atomic<long> living = 0;                // blocks of `operator new`
inline std::atomic<std::size_t> largest = SIZE_MAX; // block that `operator new` gives

/// Lets the `left`-th of these things fail while it lives; all further ones, too, if asked to.
class Faults {
public:
    explicit Faults(unsigned kinds, bool allFurther = false);
    ~Faults();
    Faults(const Faults&) = delete;
    Faults& operator=(const Faults&) = delete;
};

/// Counts one.
/// @return whether it is to fail.
bool failsNow(Fault kind);

} // namespace test
