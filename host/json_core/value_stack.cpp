#include "value_stack.hpp"

#include "base/huge_pages.hpp"

#include <pthread.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace ostra::io::json::core {

namespace {

using rapidjson::Value;

constexpr std::size_t largestKept = (std::size_t{1} << 20U) / sizeof(Value);

/// The memory that a thread keeps.
struct Kept {
    Value* values;
    std::size_t capacity;
    enum class State : std::uint8_t { fresh, toBeFreed, ended } state;
};

// With other TLS models, the variables of a library loaded by dlopen are allocated on a thread's
// first access, and the C library aborts if there is no memory.
[[gnu::tls_model("initial-exec")]] constinit thread_local Kept kept{};

/// Frees a thread's memory when the thread ends. Not a destructor of `kept`: registering one
/// allocates, and the C library aborts if there is no memory.
///
/// The key is never deleted: oneTBB's workers end after this library's variables are destroyed, and
/// their memory would be lost. So what contains this is linked with `-z nodelete`: the C library
/// calls freeKept whenever a thread ends.
class ThreadEnds {
public:
    ThreadEnds() noexcept : works_(::pthread_key_create(&key_, &freeKept) == 0) {}

    /// @return whether this thread's `kept` will be freed.
    bool announce() const noexcept { return works_ && ::pthread_setspecific(key_, &kept) == 0; }

private:
    static void freeKept(void* ofThread) {
        auto& gone = *static_cast<Kept*>(ofThread);
        std::free(gone.values);
        gone = {.values = nullptr, .capacity = 0, .state = Kept::State::ended};
    }

    ::pthread_key_t key_{};
    bool works_;
};

const ThreadEnds threadEnds;

/// Keeps the larger one of this memory and what the thread keeps already; frees the other.
void keep(Value* values, std::size_t capacity) noexcept {
    if (capacity > kept.capacity && capacity <= largestKept) {
        if (kept.state == Kept::State::fresh && threadEnds.announce()) {
            kept.state = Kept::State::toBeFreed;
        }
        if (kept.state == Kept::State::toBeFreed) {
            std::swap(kept.values, values);
            kept.capacity = capacity;
        }
    }
    std::free(values);
}

} // namespace

ValueStack::ValueStack() noexcept
    : top(std::exchange(kept.values, nullptr)), begin_(top),
      end_(begin_ + std::exchange(kept.capacity, 0)) {}

ValueStack::~ValueStack() {
    keep(begin_, static_cast<std::size_t>(end_ - begin_));
}

void ValueStack::grow(std::size_t count) {
    constexpr std::size_t firstCapacity = 1024;
    if (!tryReserve(std::max({firstCapacity, size(), count}))) {
        throw std::bad_alloc();
    }
}

bool ValueStack::tryReserve(std::size_t count) noexcept {
    if (count <= room()) {
        return true;
    }
    const std::size_t used = size();
    constexpr std::size_t most = PTRDIFF_MAX / sizeof(Value);
    if (count > most - used) {
        return false;
    }
    const std::size_t bytes = (used + count) * sizeof(Value);
    auto* const larger = static_cast<Value*>(std::malloc(bytes));
    if (larger == nullptr) {
        return false;
    }
    base::adviseHugePages(larger, bytes);
    if (used != 0) {
        std::memcpy(static_cast<void*>(larger), static_cast<const void*>(begin_),
                    used * sizeof(Value));
    }
    keep(begin_, static_cast<std::size_t>(end_ - begin_));
    begin_ = larger;
    top = larger + used;
    end_ = top + count;
    return true;
}

} // namespace ostra::io::json::core
