#pragma once

/// Python's global lock, given up and taken.

#include <nanobind/nanobind.h>

#include <unistd.h>

namespace ostrajson {

/// Counts the operations that run without the global lock.
///
/// A program may end while daemon threads run them. Static objects, oneTBB's among them, must not
/// be destroyed under their hands: so before the interpreter ends it waits for them
/// (`endOperations`), and those that can be cancelled are.
class Running {
public:
    Running() noexcept;
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
};

/// Whether the program is ending, and the calling thread is not the one that ends it.
bool isToEnd() noexcept;

/// To be called when the interpreter is about to end, by the thread that ends it, with the global
/// lock. Waits for the operations of other threads, five seconds at most.
void endOperations();

/// Never returns: the process is about to end, and the calling thread is not to be seen again.
[[noreturn]] inline void waitForTheEnd() noexcept {
    for (;;) {
        pause();
    }
}

/// Takes the global lock, or never returns.
///
/// A thread that wants the lock after the interpreter has ended is ended in turn, up to
/// Python 3.13: its stack is unwound, which aborts the process at the first destructor, or destroys
/// objects of Python's without the lock. So it waits for the end of the process here, as
/// Python 3.14 has it do; daemon threads that read when a program ends come this way.
template <class Take>
void takeGil(const Take& take) noexcept {
    try {
        take();
    } catch (...) {
        waitForTheEnd();
    }
}

/// The calling thread, which has the lock, is without it while this exists.
class GilReleased {
public:
    GilReleased() : state_(PyEval_SaveThread()) {}
    ~GilReleased() {
        takeGil([this] { PyEval_RestoreThread(state_); });
    }
    GilReleased(const GilReleased&) = delete;
    GilReleased& operator=(const GilReleased&) = delete;

private:
    Running running_;
    PyThreadState* state_;
};

/// Any thread has the lock while this exists.
class GilHeld {
public:
    GilHeld() {
        takeGil([this] { state_ = PyGILState_Ensure(); });
    }
    ~GilHeld() { PyGILState_Release(state_); }
    GilHeld(const GilHeld&) = delete;
    GilHeld& operator=(const GilHeld&) = delete;

private:
    PyGILState_STATE state_{};
};

} // namespace ostrajson
