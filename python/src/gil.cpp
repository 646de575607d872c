#include "gil.hpp"

#include <pthread.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace ostrajson {

namespace {

// Neither needs a destructor: threads may look at them until the process is gone.
std::atomic<long> running = 0;
std::atomic<bool> ending = false;
pthread_t endingThread;

} // namespace

Running::Running() noexcept {
    // The threads of a parent process do not run in a child.
    static const int registered = pthread_atfork(nullptr, nullptr, [] { running = 0; });
    static_cast<void>(registered);
    ++running;
}

Running::~Running() {
    --running;
}

bool isToEnd() noexcept {
    return ending && pthread_equal(endingThread, pthread_self()) == 0;
}

void endOperations() {
    constexpr std::chrono::milliseconds interval{2};
    constexpr std::chrono::seconds longest{5};
    endingThread = pthread_self();
    ending = true;
    PyThreadState* const state = PyEval_SaveThread();
    const auto end = std::chrono::steady_clock::now() + longest;
    while (running > 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(interval);
    }
    PyEval_RestoreThread(state);
}

} // namespace ostrajson
