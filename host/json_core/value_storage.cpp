#include "value_storage.hpp"

#include <new>

namespace ostra::io::json::core {

void ValueStorage::addBlock(std::size_t size) {
    constexpr std::size_t overhead = sizeof(Block) + margin + alignment;
    constexpr std::size_t largest = PTRDIFF_MAX - overhead;
    if (size > largest) {
        throw std::bad_alloc();
    }
    const std::span<char> block = source_.take(size + overhead);
    releaseRest();
    last_ = ::new (block.data()) Block{last_, block.size()};
    free_ = block.data() + sizeof(Block);
    end_ = block.data() + (block.size() - margin) / alignment * alignment;
}

void ValueStorage::releaseRest() noexcept {
    if (free_ != nullptr) {
        char* const block = reinterpret_cast<char*>(last_);
        const auto used = static_cast<std::size_t>(free_ - block);
        source_.giveBack({free_, last_->size - used});
        last_->size = used;
        free_ = end_ = nullptr;
    }
}

void ValueStorage::discard() noexcept {
    releaseRest();
    while (last_ != nullptr) {
        Block* const block = last_;
        last_ = block->previous;
        source_.giveBack({reinterpret_cast<char*>(block), block->size});
    }
}

} // namespace ostra::io::json::core
