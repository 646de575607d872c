#pragma once

/// Work that other threads have for the Python thread that called.

#include <nanobind/nanobind.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>

namespace ostrajson {

/// Runs an operation on a thread of its own, while the calling thread runs the errands that the
/// operation's threads have in Python.
///
/// A file object's `read` is such an errand. On one of the operation's threads it could not be
/// interrupted while it waits for data, since signal handlers run on the main thread alone, and
/// file objects that belong to a thread (those of databases, say) would refuse it. The way there
/// and back takes some microseconds, for a stretch of text that takes hundreds to read.
class Errands {
public:
    /// Runs `operation()`; to be called with the GIL. Signal handlers run within 50 milliseconds.
    /// @throws whatever the first errand that failed threw, or a signal handler; else whatever the
    ///         operation threw; std::system_error if no thread can be had.
    void serve(const std::function<void()>& operation);

    /// Has an errand run on the calling thread, with the GIL; to be called without it, by any
    /// thread of the operation.
    /// @throws columns::Cancelled  after an errand, or a signal handler, has failed.
    void call(const std::function<void()>& errand);

private:
    struct Waiting {
        const std::function<void()>* errand;
        bool isDone;
    };

    void wait();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Waiting*> queue_;
    std::exception_ptr failure_; // of an errand
    bool isCancelled_ = false;
    bool hasEnded_ = false;
};

} // namespace ostrajson
