#include "projection.hpp"

#include <algorithm>
#include <new>
#include <utility>

namespace ostra::io::json::core {

using rapidjson::Value;

Projection::Projection(std::vector<WantedPlace> places) : places_(std::move(places)), links_(1) {
    for (std::uint32_t place = 0; place < places_.size(); ++place) {
        slots_ += places_[place].slot != WantedPlace::noSlot ? 1 : 0;
        states_.push_back({.place = place, .found = 0});
    }
}

bool Projection::mayLearn(std::uint32_t state) const {
    return states_[state].links < mostAlternatives && links_.size() < mostLinks;
}

bool Projection::lookUp(std::uint32_t state, std::string_view key, bool isLearnt, Link& link) {
    const State at = states_[state];
    const std::vector<WantedPlace::Member>& members = places_[at.place].members;
    const auto member = std::find_if(members.begin(), members.end(),
                                     [key](const auto& wanted) { return wanted.name == key; });
    link.kind = Kind::Skip;
    std::uint64_t found = at.found;
    if (member != members.end()) {
        found |= std::uint64_t{1} << static_cast<unsigned>(member - members.begin());
    }
    if (found != at.found) {
        const WantedPlace& place = places_[member->place];
        link.kind = place.members.empty() ? Kind::Slot : Kind::Object;
        link.where = place.members.empty() ? place.slot : member->place;
    }
    if (!isLearnt && found == at.found && at.unlearnt != 0) {
        link.next = at.unlearnt;
        return true;
    }
    if (!stateBehind(at.place, found, isLearnt ? key : std::string_view(), link.next)) {
        return false;
    }
    if (!isLearnt && found == at.found) {
        states_[state].unlearnt = link.next;
    }
    return true;
}

bool Projection::stateBehind(std::uint32_t place, std::uint64_t found, std::string_view key,
                             std::uint32_t& state) {
    std::tuple name(place, found, std::string(key));
    const auto known = numbers_.find(name);
    if (known != numbers_.end()) {
        state = known->second;
        return true;
    }
    if (states_.size() >= mostStates) {
        isGivenUp_ = true;
        return false;
    }
    state = static_cast<std::uint32_t>(states_.size());
    states_.push_back({.place = place, .found = found});
    numbers_.emplace(std::move(name), state);
    return true;
}

void Projection::learn(std::uint32_t state, const Link& link, std::string_view text) {
    constexpr std::size_t vectorSize = sizeof(__m128i);
    const auto added = static_cast<std::uint32_t>(links_.size());
    Link& learnt = links_.emplace_back(link);
    text.copy(learnt.text.data(), Link::longest);
    learnt.size = static_cast<std::uint32_t>(text.size());
    learnt.head = (std::uint32_t{1} << std::min(text.size(), vectorSize)) - 1;
    learnt.other = 0;
    State& at = states_[state];
    std::uint32_t* place = &at.first;
    while (*place != 0) {
        place = &links_[*place].other;
    }
    *place = added;
    ++at.links;
}

void Projection::growRows() {
    constexpr std::size_t least = 1024;
    const auto used = static_cast<std::size_t>(top_ - rows_.get());
    const std::size_t size = std::max(least, 2 * (used + rowSize_));
    auto* const larger =
        static_cast<Value*>(std::realloc(static_cast<void*>(rows_.get()), size * sizeof(Value)));
    if (larger == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(rows_.release());
    rows_.reset(larger);
    top_ = larger + used;
    end_ = larger + size;
}

} // namespace ostra::io::json::core
