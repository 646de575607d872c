#pragma once

/// Writing a text on all cores.

#include "base/parallel_loop.hpp"
#include "document/text_buffer.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace ostra::io::json::tree {

/// A text shorter than this is written by the calling thread before others would have begun.
inline constexpr std::size_t worthAllCores = std::size_t{256} << 10U;

/// Appends the texts of many steps, in order, to a text.
///
/// How long a text is, is not known before it is written: so all cores write stretches of steps
/// into buffers of their own, then all copy these behind each other, in rounds that are small
/// enough for the buffers to stay in the cache. The copying takes a twentieth of the time.
///
/// @param at     where the text goes on.
/// @param write  `char* write(TextBuffer&, char* at, std::size_t begin, std::size_t end)` writes
///               steps; it is called by several threads at once.
/// @return where the text goes on.
/// @throws std::bad_alloc
template <class Write>
char* writeInRounds(TextBuffer& out, char* at, std::size_t steps, const Write& write) {
    constexpr std::size_t stretches = 16;
    constexpr std::size_t stretchSize = std::size_t{256} << 10U;
    std::array<TextBuffer, stretches> texts;
    std::size_t each = std::clamp<std::size_t>(steps / (4 * stretches), 1, 64); // steps a stretch
    for (std::size_t done = 0; done < steps;) {
        const std::size_t count = std::min(stretches, (steps - done + each - 1) / each);
        base::parallelLoop(count, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                const std::size_t first = done + i * each;
                const std::size_t last = std::min(first + each, steps);
                texts[i].finish(write(texts[i], texts[i].restart(), first, last));
            }
        });
        done = std::min(done + count * each, steps);
        std::array<std::size_t, stretches + 1> begins{};
        for (std::size_t i = 0; i < count; ++i) {
            begins[i + 1] = begins[i] + texts[i].size();
        }
        const std::size_t size = begins[count];
        at = out.reserve(at, size + smallPiece);
        base::parallelLoop(count, [&](std::size_t begin, std::size_t end) {
            for (std::size_t i = begin; i < end; ++i) {
                std::memcpy(at + begins[i], texts[i].data(), texts[i].size());
            }
        });
        at += size;
        const std::size_t better = each * count * stretchSize / (size + 1);
        each = std::clamp<std::size_t>(better, 1, 8 * each);
    }
    return at;
}

} // namespace ostra::io::json::tree
