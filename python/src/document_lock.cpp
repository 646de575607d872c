#include "document_lock.hpp"

#include "errors.hpp"
#include "gil.hpp"

#include <nanobind/nanobind.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <pthread.h>

namespace ostrajson {

namespace {

/// How often this process is a child's child. Changed by the fork handler only.
unsigned forks = 0;

/// One for all documents: threads rarely wait.
struct Waiting {
    std::mutex mutex;
    std::condition_variable changed;
};
Waiting& waiting() {
    static Waiting* const one = [] {
        static Waiting instance;
        pthread_atfork(nullptr, nullptr, [] {
            ++forks;
            new (&instance) Waiting; // a thread that has ended may have held the mutex
        });
        return &instance;
    }();
    return *one;
}

/// A signal's handler runs within this time.
constexpr std::chrono::milliseconds signalInterval{50};

void announce() {
    const std::lock_guard guard(waiting().mutex);
    waiting().changed.notify_all();
}

} // namespace

void DocumentLock::forgetOtherProcess() {
    waiting(); // registers the fork handler before there is anything to forget
    if (process_ != forks) {
        torn_ = torn_ || writing_;
        readers_ = 0;
        waitingWriters_ = 0;
        writing_ = false;
        process_ = forks;
    }
    if (torn_) {
        raise(Error::StaleNodes,
              "the document was being changed by another thread when this process was forked");
    }
}

template <class Condition>
void DocumentLock::waitUntil(const Condition& free) {
    while (!free()) {
        // Taken before the GIL is released, so that no change goes unnoticed in between, and
        // released before the GIL is taken again, which its holder may not let go of before.
        std::unique_lock guard(waiting().mutex);
        {
            const GilReleased release;
            waiting().changed.wait_for(guard, signalInterval);
            guard.unlock();
        }
        if (PyErr_CheckSignals() != 0) {
            throw nanobind::python_error();
        }
    }
}

void DocumentLock::lockShared() {
    forgetOtherProcess();
    waitUntil([this] { return !writing_ && waitingWriters_ == 0; });
    ++readers_;
}

void DocumentLock::lock() {
    forgetOtherProcess();
    ++waitingWriters_;
    try {
        waitUntil([this] { return !writing_ && readers_ == 0; });
    } catch (...) {
        --waitingWriters_;
        throw;
    }
    --waitingWriters_;
    writing_ = true;
}

void DocumentLock::unlockShared() noexcept {
    --readers_;
    announce();
}

void DocumentLock::unlock() noexcept {
    writing_ = false;
    announce();
}

} // namespace ostrajson
