#pragma once

/// The one parallel loop: every operation that shares work among threads goes through here, those
/// of the library and those of its embedded host.

#include <atomic>
#include <cstddef>
#include <pthread.h>

#ifdef TVIOJSONTREE_PLAIN_THREADS
#include <algorithm>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>
#else
#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <oneapi/tbb/partitioner.h>
#include <oneapi/tbb/task_arena.h>
#include <oneapi/tbb/task_group.h>
#endif

namespace base {

namespace detail {
inline std::atomic<bool> workersLost = false;
}

/// Whether this process was forked from one that had run a parallel loop: the worker threads stayed
/// behind, though oneTBB counts on them. Such a process works on the thread that it has.
inline bool workersLost() noexcept {
    static const int registered = pthread_atfork(
        nullptr, nullptr, [] { detail::workersLost.store(true, std::memory_order_relaxed); });
    static_cast<void>(registered);
    return detail::workersLost.load(std::memory_order_relaxed);
}

#ifndef TVIOJSONTREE_PLAIN_THREADS

/// @return whether a parallel loop may run on more than the calling thread.
inline bool severalThreads() {
    return !workersLost() && tbb::this_task_arena::max_concurrency() > 1 &&
           tbb::global_control::active_value(tbb::global_control::max_allowed_parallelism) > 1;
}

namespace detail {

/// The context is isolated: bound to the caller's, a host that cancels its own tasks would cut our
/// loop short without a word. The arena isolation keeps the waiting caller from taking up unrelated
/// tasks of the host, which might want a lock that the caller holds.
///
/// If there is no memory for a worker thread, oneTBB throws that it cannot create one; the calling
/// thread then does it all, as it does in a forked child.
template <class Body>
void shareAmongThreads(std::size_t count, const Body& body) {
    std::atomic<bool> begun = false;
    try {
        tbb::task_group_context context(tbb::task_group_context::isolated);
        tbb::this_task_arena::isolate([&] {
            tbb::parallel_for(
                tbb::blocked_range<std::size_t>(0, count, 1),
                [&](const tbb::blocked_range<std::size_t>& range) {
                    begun.store(true, std::memory_order_relaxed);
                    body(range.begin(), range.end());
                },
                tbb::auto_partitioner(), context);
        });
        return;
    } catch (...) {
        if (begun) {
            throw;
        }
    }
    body(std::size_t{0}, count);
}

} // namespace detail

#else

inline bool severalThreads() {
    return true;
}

namespace detail {

/// On plain threads, for the race detector (see cmake/BuildFlags.cmake).
template <class Body>
void shareAmongThreads(std::size_t count, const Body& body) {
    constexpr std::size_t maxThreads = 5;
    constexpr std::size_t rangesPerThread = 4;
    const std::size_t ranges = std::min(count, maxThreads * rangesPerThread);
    std::atomic<std::size_t> next = 0;
    std::exception_ptr failure;
    std::mutex failureMutex;
    const auto work = [&] {
        for (std::size_t r = next++; r < ranges; r = next++) {
            try {
                body(count / ranges * r + std::min(r, count % ranges),
                     count / ranges * (r + 1) + std::min(r + 1, count % ranges));
            } catch (...) {
                next = ranges;
                const std::lock_guard lock(failureMutex);
                failure = failure ? failure : std::current_exception();
            }
        }
    };
    {
        std::vector<std::jthread> threads;
        for (std::size_t t = 1; t < std::min(ranges, maxThreads); ++t) {
            threads.emplace_back(work);
        }
        work(); // the calling thread takes part
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
}

} // namespace detail

#endif

/// Calls `body(begin, end)` for disjoint sub-ranges that together cover [0, count), on several
/// threads, and returns when all calls have returned. Nothing is called if `count` is 0.
///
/// An exception in a call cancels those not yet begun and is rethrown here, once.
template <class Body>
void parallelLoop(std::size_t count, const Body& body) {
    if (count != 0 && !workersLost()) {
        detail::shareAmongThreads(count, body);
    } else if (count != 0) {
        body(std::size_t{0}, count);
    }
}

} // namespace base
