#include "value_stack.hpp"

#include "base/huge_pages.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace ostra::io::json::core {

namespace {

using rapidjson::Value;

constexpr std::size_t largestKept = (std::size_t{1} << 20U) / sizeof(Value) - ValueStack::margin;

/// The memory that a thread keeps. Without a destructor, for those that read at the very end of it.
struct Kept {
    Value* values = nullptr;
    std::size_t capacity = 0;
    bool ended = false;
};

constinit thread_local Kept kept; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

struct AtThreadEnd {
    AtThreadEnd() = default;
    AtThreadEnd(const AtThreadEnd&) = delete;
    AtThreadEnd& operator=(const AtThreadEnd&) = delete;
    ~AtThreadEnd() {
        std::free(kept.values);
        kept = {.values = nullptr, .capacity = 0, .ended = true};
    }
};

/// Keeps the larger one of this and what is kept already; frees the other.
void keep(Value* values, std::size_t capacity) noexcept {
    if (capacity > kept.capacity && capacity <= largestKept && !kept.ended) {
        const thread_local AtThreadEnd freed;
        std::swap(kept.values, values);
        kept.capacity = capacity;
    }
    std::free(values);
}

} // namespace

ValueStack::ValueStack() noexcept : top(kept.values), begin_(top), end_(top + kept.capacity) {
    kept.values = nullptr;
    kept.capacity = 0;
}

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
    constexpr std::size_t most = PTRDIFF_MAX / sizeof(Value) - margin;
    if (count > most - used) {
        return false;
    }
    const std::size_t bytes = (used + count + margin) * sizeof(Value);
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
