#include "document/writing_plan.hpp"

#include <algorithm>

namespace ostra::io::json::tree {

namespace {

/// Steps enough for all cores to be busy until the end, if they are about equal.
constexpr std::size_t enoughSteps = 4096;

/// Deeper containers are left whole: the parts for their levels would be many, and the steps few.
constexpr int deepestCut = 8;

const char* address(const void* entry) {
    return static_cast<const char*>(entry);
}

std::ptrdiff_t sizeOf(const Entries& entries) {
    return entries.ofObject ? sizeof(rapidjson::Value::Member) : sizeof(rapidjson::Value);
}

const rapidjson::Value& firstOf(const Entries& entries) {
    return entries.ofObject ? static_cast<const rapidjson::Value::Member*>(entries.next)->value
                            : *static_cast<const rapidjson::Value*>(entries.next);
}

} // namespace

std::size_t Entries::count() const {
    return static_cast<std::size_t>((address(end) - address(next)) / sizeOf(*this));
}

Entries Entries::some(std::size_t first, std::size_t count) const {
    const std::ptrdiff_t size = sizeOf(*this);
    const char* const begin = address(next) + static_cast<std::ptrdiff_t>(first) * size;
    return {begin, begin + static_cast<std::ptrdiff_t>(count) * size, ofObject};
}

WritingPlan::WritingPlan(const std::vector<Entries>& rest) {
    for (std::size_t level = rest.size(); level > 0; --level) {
        add(Kind::Entries, rest[level - 1], level);
        if (level > 1) {
            add(Kind::Closing, rest[level - 1], level - 1);
        }
    }
    for (int cut = 0; cut < deepestCut && steps_ < enoughSteps && cutUp(); ++cut) {
    }
}

std::size_t WritingPlan::partOf(std::size_t step) const {
    const auto after = std::upper_bound(
        parts_.begin(), parts_.end(), step,
        [](std::size_t wanted, const Part& part) { return wanted < part.firstStep; });
    return static_cast<std::size_t>(after - parts_.begin()) - 1;
}

void WritingPlan::add(Kind kind, const Entries& entries, std::size_t level) {
    const Part part{kind, entries, level, steps_};
    if (part.count() > 0) {
        parts_.push_back(part);
        steps_ += part.count();
    }
}

/// Replaces every entry that is a container by its entries and the brackets around them.
/// @return false if there is none.
bool WritingPlan::cutUp() {
    const std::vector<Part> before = std::move(parts_);
    parts_.clear();
    steps_ = 0;
    bool found = false;
    for (const Part& part : before) {
        if (part.kind != Kind::Entries) {
            add(part.kind, part.entries, part.level);
            continue;
        }
        const std::size_t count = part.count();
        std::size_t begin = 0; // of entries that stay as they are
        for (std::size_t i = 0; i < count; ++i) {
            const Entries one = part.entries.some(i, 1);
            const rapidjson::Value& value = firstOf(one);
            if (hasEntries(value)) {
                add(Kind::Entries, part.entries.some(begin, i - begin), part.level);
                add(Kind::Opening, one, part.level);
                add(Kind::Entries, entriesOf(value), part.level + 1);
                add(Kind::Closing, entriesOf(value), part.level);
                begin = i + 1;
                found = true;
            }
        }
        add(Kind::Entries, part.entries.some(begin, count - begin), part.level);
    }
    return found;
}

} // namespace ostra::io::json::tree
