#include "columns/record_walk.hpp"

#include "base/raw_value.hpp"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

namespace ostra::io::json::columns {

namespace {

using rapidjson::Value;

constexpr std::size_t longestInline = base::RawValue::longestInline;
static_assert(longestInline == 21 && sizeof(Value) == 24,
              "the last three bytes of a key held inside its value are its length and its flags");
constexpr std::uint64_t lengthByte = std::uint64_t{0xFF} << 40U;
constexpr std::size_t longestKey = 128; // of those that are remembered

std::string_view textOf(const Value& key) {
    return {key.GetString(), key.GetStringLength()};
}

bool isInline(const Value& key) {
    return key.GetString() == reinterpret_cast<const char*>(&key);
}

} // namespace

RecordWalk::RecordWalk(std::shared_ptr<const FieldPlan> plan)
    : plan_(std::move(plan)), shapes_(plan_->nodes().size()), links_(1), origins_(1),
      visits_(plan_->nodes().size()), visited_(plan_->nodes().size()), open_(plan_->nodes().size()),
      openEnd_(open_.data()) {
    for (std::size_t node = 0; node < shapes_.size(); ++node) {
        shapes_[node] = plan_->nodes()[node].steps.empty() ? noFurther : none;
    }
    links_[none].key[2] = links_[none].mask[2] = UINT64_MAX; // no key has all flags
}

/// The pointer chasing of a plain comparison is what costs: a key held inside its value is compared
/// as three words; of a long one the length first.
inline bool RecordWalk::matches(const Link& link, const Value& key) {
    const char* const bytes = reinterpret_cast<const char*>(&key);
    const auto different = [&](std::size_t i) { // one by one: loaded together, they go over memory
        std::uint64_t word = 0;
        std::memcpy(&word, bytes + i * sizeof word, sizeof word);
        return (word ^ link.key[i]) & link.mask[i];
    };
    if ((different(0) | different(1) | different(2)) != 0) {
        return false;
    }
    if ((link.mask[2] & lengthByte) != 0) {
        return true;
    }
    const char* text = nullptr;
    std::memcpy(&text, &link.key[1], sizeof text);
    return std::memcmp(key.GetString(), text, key.GetStringLength()) == 0;
}

inline void RecordWalk::emit(std::uint32_t slot, std::uint32_t node, const Value& value,
                             const Target& target) {
    if (slot != PathNode::noSlot) {
        target.found[slot * target.stride] = &value;
    }
    if (node != 0) {
        *openEnd_++ = {node, &value};
    }
}

void RecordWalk::find(const Value& record, const Value** found, std::size_t stride) {
    const Target target = {found, stride};
    const PathNode* const nodes = plan_->nodes().data();
    if (nodes->slot != PathNode::noSlot) {
        found[nodes->slot * stride] = &record;
    }
    openEnd_ = open_.data(); // an earlier record may have found no memory
    Open at = {0, &record};
    for (;;) {
        if (at.value->IsObject()) {
            enter(at.node, *at.value, target);
        } else if (at.value->IsArray()) {
            enterArray(nodes[at.node], *at.value, target);
        }
        if (openEnd_ == open_.data()) {
            return;
        }
        at = *--openEnd_;
    }
}

inline void RecordWalk::enter(std::uint32_t node, const Value& object, const Target& target) {
    Open* const openBefore = openEnd_;
    std::uint32_t at = shapes_.data()[node];
    const std::size_t count = object.MemberCount();
    if (count == 0 || at == noFurther) {
        return;
    }
    const Link* links = links_.data();
    std::uint32_t before = none;
    const Value::Member* member = &*object.MemberBegin();
    const Value::Member* const end = member + count;
    do {
        while (!matches(links[at], member->name)) {
            at = links[at].other;
            if (at == none) {
                at = grow(node, before, member->name);
                if (at == none) {
                    openEnd_ = openBefore;
                    enterUnknown(node, object, target);
                    return;
                }
                links = links_.data();
                break;
            }
        }
        emit(links[at].slot, links[at].node, member->value, target);
        before = at;
        at = links[at].next;
    } while (++member != end && at != noFurther);
}

void RecordWalk::enterArray(const PathNode& node, const Value& array, const Target& target) {
    const std::vector<PathNode>& nodes = plan_->nodes();
    for (const auto& [name, step] : node.steps) {
        if (step.index < array.Size()) {
            const PathNode& next = nodes[step.node];
            emit(next.slot, next.steps.empty() ? 0 : step.node, array[step.index], target);
        }
    }
}

/// Looks every key up.
void RecordWalk::enterUnknown(std::uint32_t node, const Value& object, const Target& target) {
    const std::vector<PathNode>& nodes = plan_->nodes();
    const auto& steps = nodes[node].steps;
    const std::uint64_t visit = ++visits_[node];
    std::size_t left = steps.size();
    for (auto member = object.MemberBegin(); left != 0 && member != object.MemberEnd(); ++member) {
        const auto step = steps.find(textOf(member->name));
        if (step == steps.end() || visited_[step->second.node] == visit) {
            continue;
        }
        const std::uint32_t child = step->second.node;
        visited_[child] = visit;
        --left;
        emit(nodes[child].slot, nodes[child].steps.empty() ? 0 : child, member->value, target);
    }
}

/// Adds a key that no link of its place matches. A text that is held in another way than before, as
/// in documents that were built and not read, is another key here.
/// @param before  the link in front of the place.
/// @return its link; `none` if there cannot be another.
std::uint32_t RecordWalk::grow(std::uint32_t node, std::uint32_t before, const Value& key) {
    std::uint32_t last = none; // of the keys at this place
    std::size_t alternatives = 0;
    for (std::uint32_t at = before == none ? shapes_[node] : links_[before].next; at != none;
         at = links_[at].other) {
        last = at;
        ++alternatives;
    }
    if (links_.size() == mostLinks || alternatives == mostAlternatives ||
        key.GetStringLength() > longestKey) {
        return none;
    }
    Link link = describe(key);
    Origin origin = {before, 0};
    const auto& steps = plan_->nodes()[node].steps;
    if (const auto step = steps.find(textOf(key)); step != steps.end()) {
        std::size_t left = steps.size(); // to be found here or further on
        bool foundBefore = false;
        for (std::uint32_t at = before; at != none; at = origins_[at].before) {
            left -= origins_[at].step != 0 ? 1 : 0;
            foundBefore = foundBefore || origins_[at].step == step->second.node;
        }
        if (!foundBefore) {
            origin.step = step->second.node;
            const PathNode& child = plan_->nodes()[origin.step];
            link.slot = child.slot;
            link.node = child.steps.empty() ? 0 : origin.step;
            link.next = left == 1 ? noFurther : none;
        }
    }
    const auto added = static_cast<std::uint32_t>(links_.size());
    origins_.resize(links_.size()); // one more if an earlier attempt ran out of memory
    origins_.push_back(origin);
    links_.push_back(link);
    (last != none     ? links_[last].other
     : before != none ? links_[before].next
                      : shapes_[node]) = added;
    return added;
}

/// A link that matches a key and leads nowhere yet.
RecordWalk::Link RecordWalk::describe(const Value& key) {
    Link link;
    std::memcpy(link.key.data(), static_cast<const void*>(&key), sizeof link.key);
    constexpr std::uint64_t flags = std::uint64_t{0xFFFF} << 48U;
    if (isInline(key)) {
        std::array<unsigned char, sizeof link.mask> mask{};
        std::fill_n(mask.begin(), key.GetStringLength(), std::uint8_t{0xFF});
        std::memcpy(link.mask.data(), mask.data(), sizeof link.mask);
        link.mask[2] |= flags | lengthByte;
        return link;
    }
    const char* const text = longKeys_.emplace_back(textOf(key)).data();
    static_assert(sizeof text == sizeof link.key[1]);
    std::memcpy(&link.key[1], &text, sizeof text);
    link.mask = {UINT64_MAX, 0, flags};
    return link;
}

} // namespace ostra::io::json::columns
