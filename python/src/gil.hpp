#pragma once

/// Python's global lock, given up and taken.

#include <nanobind/nanobind.h>

#include <unistd.h>

namespace ostrajson {

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
        for (;;) {
            pause();
        }
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
