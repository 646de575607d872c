#include "node_vector/selector_walk.hpp"

#include "document/pointer_step.hpp"

#include <algorithm>
#include <functional>

namespace ostra::io::json::tree {

namespace {

constexpr std::size_t cacheLine = 64;

/// The memory of a value's members or elements.
struct Storage {
    const char* begin;
    const char* end;
};

Storage storageOf(const rapidjson::Value& value) {
    const char* begin = nullptr;
    std::size_t size = 0;
    if (value.IsObject()) {
        begin = reinterpret_cast<const char*>(&*value.MemberBegin());
        size = value.MemberCount() * sizeof(rapidjson::Value::Member);
    } else if (value.IsArray()) {
        begin = reinterpret_cast<const char*>(value.Begin());
        size = value.Size() * sizeof(rapidjson::Value);
    }
    return {begin, begin + size};
}

void prefetchRange(const char* begin, const char* end) {
    for (; begin < end; begin += cacheLine) {
        __builtin_prefetch(begin);
    }
}

} // namespace

void ChildPrefetcher::fetchBatch(std::size_t begin) {
    constexpr std::ptrdiff_t densest = 1024;   // bytes per node that still are one stretch
    constexpr std::ptrdiff_t widestGap = 4096; // between stretches that still are one
    constexpr std::ptrdiff_t firstLines = 256; // bytes fetched of a scattered node's children
    const std::size_t end = std::min(begin + batch, nodes_.size());
    for (std::size_t i = end; i < std::min(end + batch, nodes_.size()); ++i) {
        __builtin_prefetch(nodes_[i]);
    }
    if (begin >= end) {
        return;
    }
    const std::less<const char*> before;
    const char* from = storageOf(*nodes_[begin]).begin;
    const char* to = storageOf(*nodes_[end - 1]).end;
    if (from != nullptr && before(from, to) && to - from < densest * std::ptrdiff_t{batch}) {
        const bool continues = before(fetched_, from) && from - fetched_ < widestGap;
        prefetchRange(continues ? fetched_ : from, to);
        fetched_ = to;
        return;
    }
    for (std::size_t i = begin; i < end; ++i) {
        const Storage storage = storageOf(*nodes_[i]);
        prefetchRange(storage.begin,
                      storage.begin + std::min(firstLines, storage.end - storage.begin));
    }
}

void walkSelector(const core::JSONPointer& selector, std::span<rapidjson::Value* const> nodes,
                  rapidjson::Value** found) {
    ChildPrefetcher prefetcher(nodes);
    const core::JSONPointer::Token* const tokens = selector.GetTokens();
    const std::size_t tokenCount = selector.GetTokenCount();
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        prefetcher.advanceTo(i);
        rapidjson::Value* value = nodes[i];
        for (std::size_t t = 0; t < tokenCount && value != nullptr; ++t) {
            value = childByToken(*value, tokens[t]);
        }
        found[i] = value;
    }
}

} // namespace ostra::io::json::tree
