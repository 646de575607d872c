#include "value_builder.hpp"

#include "platform/huge_pages.hpp"

#include <algorithm>
#include <cstdlib>

namespace ostra::io::json::core {

namespace {

/// Large enough for huge pages, small enough that the C library keeps blocks for the next document
/// where it has been given reason to (it always returns those of 32 MiB and more to the system).
constexpr std::size_t largestBlock = std::size_t{16} << 20U;

} // namespace

ValueBuilder::ValueBuilder(rapidjson::Document::AllocatorType& pool, std::size_t textSize)
    : pool_(pool), blockSize_(std::min(2 * textSize, largestBlock)) {}

ValueBuilder::~ValueBuilder() {
    std::free(stack_);
}

void ValueBuilder::setLongString(rapidjson::Value& value, std::string_view text) {
    char* copy = allocate(text.size() + 1);
    std::memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    platform::RawValue::setString(value, copy, text.size());
}

void ValueBuilder::growStack() {
    constexpr std::size_t firstCapacity = 256;
    const auto used = static_cast<std::size_t>(top_ - stack_);
    const std::size_t capacity = std::max(firstCapacity, 2 * used);
    void* stack = std::realloc(static_cast<void*>(stack_), capacity * sizeof(rapidjson::Value));
    if (stack == nullptr) {
        throw std::bad_alloc();
    }
    stack_ = static_cast<rapidjson::Value*>(stack);
    top_ = stack_ + used;
    limit_ = stack_ + capacity;
}

void ValueBuilder::addBlock(std::size_t size) {
    const std::size_t blockSize = std::max(size, blockSize_);
    auto* block = static_cast<char*>(pool_.Malloc(blockSize));
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    platform::adviseHugePages(block, blockSize);
    free_ = block;
    blockEnd_ = block + blockSize;
}

} // namespace ostra::io::json::core
