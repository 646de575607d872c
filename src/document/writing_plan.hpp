#pragma once

/// A tree cut into steps that can be written apart from each other.

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <vector>

namespace ostra::io::json::tree {

/// Some entries of a container that lie side by side: members of an object, elements of an array.
struct Entries {
    const void* next;
    const void* end;
    bool ofObject;

    std::size_t count() const;
    Entries some(std::size_t first, std::size_t count) const;
};

/// All entries of an object or array.
inline Entries entriesOf(const rapidjson::Value& container) {
    if (container.IsObject()) {
        const auto* const members = &*container.MemberBegin();
        return {members, members + container.MemberCount(), true};
    }
    return {container.Begin(), container.End(), false};
}

inline bool hasEntries(const rapidjson::Value& value) {
    return (value.IsObject() && !value.ObjectEmpty()) || (value.IsArray() && !value.Empty());
}

/// What is left of a tree to be written, as numbered steps in the order of the text: each an entry
/// with all below it, or one of the brackets around entries. Containers of few entries are cut up
/// for the steps to be many, whatever they weigh: what lies below is not looked at.
class WritingPlan {
public:
    enum class Kind : unsigned char {
        Entries,
        Opening, ///< the key and the bracket of the container that is the first of `entries`
        Closing, ///< the bracket of the container that `entries` were of
    };
    struct Part {
        Kind kind;
        Entries entries;
        std::size_t level;     ///< of indentation
        std::size_t firstStep; ///< an entry each, or the bracket

        std::size_t count() const { return kind == Kind::Entries ? entries.count() : 1; }
    };

    /// @param rest  entries inside one another, outermost first; of the innermost at least one is
    ///              left. The bracket around the outermost is not part of the plan.
    explicit WritingPlan(const std::vector<Entries>& rest);

    const std::vector<Part>& parts() const { return parts_; }
    std::size_t steps() const { return steps_; }

    /// @return the part in which a step lies.
    std::size_t partOf(std::size_t step) const;

    /// Whether the next thing in the text is the bracket that closes a container.
    bool endsContainer(std::size_t part) const {
        return part + 1 < parts_.size() && parts_[part + 1].kind == Kind::Closing;
    }

private:
    void add(Kind kind, const Entries& entries, std::size_t level);
    bool cutUp();

    std::vector<Part> parts_;
    std::size_t steps_ = 0;
};

} // namespace ostra::io::json::tree
