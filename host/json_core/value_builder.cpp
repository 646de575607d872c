#include "value_builder.hpp"

#include "base/huge_pages.hpp"

#include <algorithm>
#include <cstdlib>

namespace ostra::io::json::core {

ValueBuilder::~ValueBuilder() {
    releaseRest();
    std::free(stack_);
}

void ValueBuilder::expect(std::size_t count, std::size_t likely) noexcept {
    if (count > static_cast<std::size_t>(limit_ - top_)) {
        resizeStack(static_cast<std::size_t>(top_ - stack_) + std::max(count, likely));
    }
}

void ValueBuilder::append(ValueBuilder& other, std::size_t count) {
    if (count > static_cast<std::size_t>(limit_ - top_)) {
        growStack(count);
    }
    std::memcpy(static_cast<void*>(top_), static_cast<const void*>(other.stack_),
                count * sizeof(rapidjson::Value));
    top_ += count;
    other.releaseRest();
    other.used_.clear(); // belongs to the values
    other.top_ = other.stack_;
}

void ValueBuilder::releaseRest() noexcept {
    if (!used_.empty()) {
        const auto rest = static_cast<std::size_t>(blockEnd_ - free_);
        blocks_.giveBack(used_.back().last(rest));
        used_.back() = used_.back().first(used_.back().size() - rest);
        blockEnd_ = free_;
    }
}

void ValueBuilder::discard() noexcept {
    releaseRest();
    for (const std::span<char> block : used_) {
        blocks_.giveBack(block);
    }
    used_.clear();
    top_ = stack_;
}

void ValueBuilder::setLongString(rapidjson::Value& value, std::string_view text) {
    char* copy = allocate(text.size() + 1);
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    base::RawValue::setString(value, copy, text.size());
}

void ValueBuilder::growStack(std::size_t more) {
    constexpr std::size_t firstCapacity = 256;
    const auto used = static_cast<std::size_t>(top_ - stack_);
    if (!resizeStack(std::max({firstCapacity, 2 * used, used + more}))) {
        throw std::bad_alloc();
    }
}

bool ValueBuilder::resizeStack(std::size_t capacity) noexcept {
    const auto used = static_cast<std::size_t>(top_ - stack_);
    void* const stack = base::moveToLarger(stack_, used * sizeof(rapidjson::Value),
                                           capacity * sizeof(rapidjson::Value));
    if (stack == nullptr) {
        return false;
    }
    stack_ = static_cast<rapidjson::Value*>(stack);
    top_ = stack_ + used;
    limit_ = stack_ + capacity;
    return true;
}

void ValueBuilder::addBlock(std::size_t size) {
    used_.reserve(used_.size() + 1); // a block in hand is not to be lost
    const std::span<char> block = blocks_.take(size);
    releaseRest();
    used_.push_back(block);
    free_ = block.data();
    blockEnd_ = free_ + block.size();
}

} // namespace ostra::io::json::core
