#include "errands.hpp"

#include "gil.hpp"

#include <ostra/io/json/columns/read_columns.hpp>

#include <cxxabi.h>

#include <chrono>
#include <thread>
#include <utility>

namespace ostrajson {

namespace nb = nanobind;

void Errands::serve(const std::function<void()>& operation) {
    const Running running;
    isCancelled_ = hasEnded_ = false;
    failure_ = nullptr;
    std::exception_ptr thrown;
    const auto work = [&] {
        try {
            operation();
        } catch (...) {
            thrown = std::current_exception();
        }
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
        changed_.notify_all();
    };
    std::thread worker(work);
    wait();
    worker.join(); // ends at once
    if (failure_ != nullptr) {
        std::rethrow_exception(std::exchange(failure_, nullptr));
    }
    if (thrown != nullptr) {
        std::rethrow_exception(thrown);
    }
}

/// Runs errands until the operation ends.
void Errands::wait() {
    constexpr std::chrono::milliseconds signalInterval{50};
    for (;;) {
        Waiting* next = nullptr;
        {
            const GilReleased released;
            std::unique_lock lock(mutex_);
            changed_.wait_for(lock, signalInterval,
                              [this] { return hasEnded_ || !queue_.empty(); });
            if (!queue_.empty()) {
                next = queue_.front();
                queue_.pop_front();
            } else if (hasEnded_) {
                return;
            }
        }
        try {
            if (failure_ == nullptr && PyErr_CheckSignals() != 0) {
                throw nb::python_error();
            }
            if (isToEnd()) {
                throw ostra::io::json::columns::Cancelled();
            }
            if (failure_ == nullptr && next != nullptr) {
                (*next->errand)();
            }
        } catch (const abi::__forced_unwind&) { // the interpreter has ended meanwhile
            waitForTheEnd();
        } catch (...) {
            failure_ = std::current_exception();
        }
        const std::lock_guard lock(mutex_);
        isCancelled_ = failure_ != nullptr;
        if (next != nullptr) {
            next->isDone = true;
        }
        changed_.notify_all();
    }
}

void Errands::call(const std::function<void()>& errand) {
    Waiting waiting{&errand, false};
    std::unique_lock lock(mutex_);
    if (!isCancelled_) {
        queue_.push_back(&waiting);
        changed_.notify_all();
        changed_.wait(lock, [&waiting] { return waiting.isDone; });
    }
    if (isCancelled_) {
        throw ostra::io::json::columns::Cancelled();
    }
}

} // namespace ostrajson
