#include "value_builder.hpp"

namespace ostra::io::json::core {

void ValueBuilder::reserveFor(std::size_t count, std::size_t likely) noexcept {
    if (count > stack_.room()) {
        stack_.tryReserve(std::max(count, likely));
    }
}

void ValueBuilder::append(ValueBuilder& other, std::size_t first, std::size_t count) {
    stack_.require(count);
    std::memcpy(static_cast<void*>(stack_.top),
                static_cast<const void*>(other.stack_.begin() + first),
                count * sizeof(rapidjson::Value));
    stack_.top += count;
    other.storage_.handOver();
    other.stack_.top = other.stack_.begin();
}

void ValueBuilder::discard() noexcept {
    storage_.discard();
    stack_.top = stack_.begin();
}

void* ValueBuilder::takeLast(std::size_t count) {
    if (count == 0) {
        return nullptr;
    }
    char* const storage = storage_.allocate(count * sizeof(rapidjson::Value));
    stack_.top -= count;
    std::memcpy(storage, static_cast<const void*>(stack_.top), count * sizeof(rapidjson::Value));
    return storage;
}

} // namespace ostra::io::json::core
