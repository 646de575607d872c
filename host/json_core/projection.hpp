#pragma once

/// What is wanted of records, and how their texts look.

#include "text_scan.hpp"

#include <ostra/io/json/core/record_reader.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace ostra::io::json::core {

/// Remembers what stands between the values of records, and keeps the values that are wanted.
///
/// Neighbouring records mostly have the same keys in the same order, with the same white space
/// around them. So where a member begins, the bytes in front of its value are compared with those
/// that stood there before: one comparison of 16 bytes instead of comma, white space, key, colon
/// and a look-up. Equal bytes mean the same, so this is exact whatever follows.
///
/// What may follow depends on the object's place, on which of its members have been found (the
/// first one with a name wins), and for a good guess on the key in front: that is a state. For one
/// thread at a time.
class __attribute__((visibility("hidden"))) Projection {
public:
    enum class Kind : std::uint8_t { Skip, Slot, Object, End };

    /// What a key, or the end of the object, leads to; and the text that was read as that.
    struct alignas(64) Link { // two cache lines, of which short texts take one
        static constexpr std::size_t longest = 64;

        std::uint32_t head = 0x10000; // bits of the text's first 16 bytes; this matches nothing
        std::uint32_t size = 0;
        std::uint32_t other = 0; // another one in the same state; 0 for none
        std::uint32_t next = 0;  // the state behind the value
        std::uint32_t where = 0; // the slot, or the place that the object is
        Kind kind = Kind::Skip;
        std::array<char, longest> text{}; // from the value in front to this one

        /// @param at  `longest` bytes of text.
        [[gnu::always_inline]] bool matches(const char* at) const {
            const auto equal = [this, at](std::size_t i) {
                return static_cast<std::uint32_t>(_mm_movemask_epi8(
                    _mm_cmpeq_epi8(loadVector(at + i), loadVector(text.data() + i))));
            };
            return (equal(0) & head) == head && (size <= 16 || matchesOn(at));
        }

    private:
        bool matchesOn(const char* at) const {
            return std::string_view(at + 16, size - 16) ==
                   std::string_view(text.data() + 16, size - 16);
        }
    };

    struct State {
        std::uint32_t place;
        std::uint64_t found;        // a bit for each of the place's members
        std::uint32_t first = 0;    // of its links
        std::uint32_t links = 0;    // how many there are
        std::uint32_t unlearnt = 0; // the state behind a key that is neither learnt nor wanted
    };

    /// @param places  not empty.
    explicit Projection(std::vector<WantedPlace> places);

    std::size_t slots() const { return slots_; }
    std::size_t places() const { return places_.size(); }

    /// They stay where they are until something is looked up or learnt. The state behind the brace
    /// of an object is the object's place.
    const State* states() const { return states_.data(); }
    const Link* links() const { return links_.data(); }

    /// @return whether a state may have one more link.
    bool mayLearn(std::uint32_t state) const;

    /// Finds out what a key leads to.
    /// @param isLearnt  whether it will be learnt; other keys are not told apart.
    /// @return whether there is room for the state behind it; if not, this is of no more use.
    bool lookUp(std::uint32_t state, std::string_view key, bool isLearnt, Link& link);

    /// Whether there are too many states.
    bool isGivenUp() const { return isGivenUp_; }

    /// Adds a link to a state that may have one more.
    void learn(std::uint32_t state, const Link& link, std::string_view text);

    // The wanted values: a row a record, each with the same number of values.

    void clearRows(std::size_t valuesEach) {
        top_ = rows_.get();
        rowSize_ = valuesEach;
    }
    /// @return the values of one more record, all absent; they stay there until the next row.
    rapidjson::Value* addRow() {
        if (static_cast<std::size_t>(end_ - top_) < rowSize_) {
            growRows();
        }
        rapidjson::Value* const row = top_;
        top_ += rowSize_;
        for (rapidjson::Value* value = row; value != top_; ++value) {
            storeValue(value, std::uint64_t{0}, base::RawValue::absentWord);
        }
        return row;
    }
    const rapidjson::Value* rows() const { return rows_.get(); }

private:
    struct Release {
        void operator()(void* memory) const { std::free(memory); }
    };

    static constexpr std::size_t mostStates = 4096;
    static constexpr std::size_t mostLinks = 4096;
    static constexpr std::uint32_t mostAlternatives = 8;

    bool stateBehind(std::uint32_t place, std::uint64_t found, std::string_view key,
                     std::uint32_t& state);
    [[gnu::noinline]] void growRows();

    std::vector<WantedPlace> places_;
    std::size_t slots_ = 0;
    std::vector<State> states_; // the first ones are those of the places
    std::vector<Link> links_;   // the first one matches nothing
    std::map<std::tuple<std::uint32_t, std::uint64_t, std::string>, std::uint32_t> numbers_;
    bool isGivenUp_ = false;

    std::unique_ptr<rapidjson::Value, Release> rows_; // bytes: values are moved like them
    rapidjson::Value* top_ = nullptr;
    rapidjson::Value* end_ = nullptr;
    std::size_t rowSize_ = 0;
};

} // namespace ostra::io::json::core
