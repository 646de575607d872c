#pragma once

/// Where finished values wait for the container that they belong to.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>

namespace ostra::io::json::core {

/// A stack of values, one behind the other. They move like bytes, as in RapidJSON itself.
///
/// Its memory, up to 1 MiB of it, stays with the thread for the next stack: most documents then
/// need none from the system.
class __attribute__((visibility("hidden"))) ValueStack {
public:
    /// Values that may be read or written behind the capacity, with any content.
    static constexpr std::size_t margin = 8;

    ValueStack() noexcept;
    ~ValueStack();
    ValueStack(const ValueStack&) = delete;
    ValueStack& operator=(const ValueStack&) = delete;

    rapidjson::Value* begin() const { return begin_; }
    std::size_t size() const { return static_cast<std::size_t>(top - begin_); }
    std::size_t room() const { return static_cast<std::size_t>(end_ - top); }

    /// Makes room for `count` more values.
    /// @throws std::bad_alloc  where memory is exhausted; the stack is as it was then.
    void require(std::size_t count) {
        if (count > room()) {
            grow(count);
        }
    }

    /// Makes room for `count` more values in one step, if memory has it.
    /// @return whether there is room.
    bool tryReserve(std::size_t count) noexcept;

    rapidjson::Value* top; ///< behind the last value

private:
    [[gnu::noinline]] void grow(std::size_t count);

    rapidjson::Value* begin_; // owned
    rapidjson::Value* end_;
};

} // namespace ostra::io::json::core
