#pragma once

/// The stack on which finished values wait for the end of their container.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>

namespace ostra::io::json::core {

/// A stack of values. They are moved like bytes, as in RapidJSON itself.
///
/// Up to 1 MiB of its memory is kept by the thread for its next stack, so that most documents need
/// not allocate one.
class __attribute__((visibility("hidden"))) ValueStack {
public:
    ValueStack() noexcept;
    ~ValueStack();
    ValueStack(const ValueStack&) = delete;
    ValueStack& operator=(const ValueStack&) = delete;

    rapidjson::Value* begin() const { return begin_; }
    std::size_t size() const { return static_cast<std::size_t>(top - begin_); }
    std::size_t room() const { return static_cast<std::size_t>(end_ - top); }

    /// Makes room for `count` more values.
    /// @throws std::bad_alloc  if memory is exhausted; the stack is unchanged then.
    void require(std::size_t count) {
        if (count > room()) {
            grow(count);
        }
    }

    /// Makes room for exactly `count` more values if there is memory for it.
    /// @return whether there is room.
    bool tryReserve(std::size_t count) noexcept;

    rapidjson::Value* top; ///< after the last value

private:
    [[gnu::noinline]] void grow(std::size_t count);

    rapidjson::Value* begin_; // owned
    rapidjson::Value* end_;
};

} // namespace ostra::io::json::core
