#pragma once

/// The containers that the strict reader is inside of.

#include "text_scan.hpp"
#include "value_storage.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace ostra::io::json::core {

/// The content of an open container's slot on the stack. Loaded and stored word by word: as a whole
/// struct GCC 12 moved it through vector registers and memory, and the failed store forwarding cost
/// a fifth of the time on records.
struct OpenContainer {
    std::uint64_t link;       // distance to the parent's slot in bytes, `Parent` in the low bits
    std::uint64_t usualSpace; // of the parent
    std::uint64_t position;   // of its bracket in the text
};
static_assert(sizeof(OpenContainer) == sizeof(rapidjson::Value));

/// What a container is nested in.
enum Parent : std::uint64_t {
    outermost = 0, // nothing: it is the root
    inArray = 1,
    inObject = 2,
    unbegun = 3, // unknown: the array's opening bracket was not read
};
inline constexpr std::uint64_t parentBits = 3; // slots are multiples of 8 bytes apart

[[gnu::always_inline]] inline std::uint64_t linkOf(const rapidjson::Value* place) {
    return loadWord<std::uint64_t>(reinterpret_cast<const char*>(place) +
                                   offsetof(OpenContainer, link));
}

[[gnu::always_inline]] inline std::size_t usualSpaceAround(const rapidjson::Value* place) {
    return loadWord<std::uint64_t>(reinterpret_cast<const char*>(place) +
                                   offsetof(OpenContainer, usualSpace));
}

[[gnu::always_inline]] inline std::size_t positionOfContainer(const rapidjson::Value* place) {
    return loadWord<std::uint64_t>(reinterpret_cast<const char*>(place) +
                                   offsetof(OpenContainer, position));
}

[[gnu::always_inline]] inline void storeContainer(rapidjson::Value* place,
                                                  const OpenContainer& container) {
    char* const to = reinterpret_cast<char*>(place);
    std::memcpy(to, &container.link, sizeof container.link);
    std::memcpy(to + 8, &container.usualSpace, sizeof container.usualSpace);
    std::memcpy(to + 16, &container.position, sizeof container.position);
}

template <class Place>
[[gnu::always_inline]] inline Place* parentOf(Place* place, std::uint64_t link) {
    using Byte = std::conditional_t<std::is_const_v<Place>, const char, char>;
    return reinterpret_cast<Place*>(reinterpret_cast<Byte*>(place) - (link & ~parentBits));
}

/// Moves the children of an open container into the storage and turns its slot into its value.
[[gnu::always_inline]] inline void closeContainer(rapidjson::Value* container,
                                                  const rapidjson::Value* top,
                                                  ValueStorage& storage, std::uint64_t word,
                                                  std::size_t valuesEach) {
    constexpr std::size_t few =
        16 * sizeof(rapidjson::Value); // copied inline at half the cost of a call
    const auto size = static_cast<std::size_t>(reinterpret_cast<const char*>(top) -
                                               reinterpret_cast<const char*>(container + 1));
    if (size == 0) {
        storeValue(container, std::uint64_t{0}, word);
        return;
    }
    char* const values = storage.allocate(size);
    if (size <= few) {
        copyFewValues(values, container + 1, size);
    } else {
        std::memcpy(values, static_cast<const void*>(container + 1), size);
    }
    const auto count = static_cast<std::int64_t>(size / (valuesEach * sizeof(rapidjson::Value)));
    storeValue(container, _mm_set1_epi64x(count), word | reinterpret_cast<std::uintptr_t>(values));
}

} // namespace ostra::io::json::core
