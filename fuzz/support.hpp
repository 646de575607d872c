#pragma once

/// What the fuzzers share. Each is one function over bytes that ends the process if the library and
/// a slow, obvious way to do the same disagree.

#include "oracle/agreement.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Decisions and texts drawn from the fuzzer's bytes; zeros when they have run out.
class Choices {
public:
    Choices(const std::uint8_t* data, std::size_t size) : next_(data), end_(data + size) {}

    bool done() const { return next_ == end_; }
    std::uint8_t byte() { return done() ? std::uint8_t{0} : *next_++; }
    std::size_t below(std::size_t limit) { return byte() % limit; }
    bool flag() { return below(2) == 1; }

    /// Up to a line end. No NUL or other character has a meaning of its own.
    std::string line() {
        const auto* stop = std::find(next_, end_, '\n');
        std::string text(next_, stop);
        next_ = stop == end_ ? end_ : stop + 1;
        return text;
    }

    std::string rest() {
        std::string text(next_, end_);
        next_ = end_;
        return text;
    }

    /// A key or a text: well-formed, and often around the 21 bytes that a value holds in itself.
    std::string shortText() {
        static const std::array<std::string, 8> pieces = {
            "a", "b", "0", "1", "~1", std::string(1, '\0'), "\u00e9", "\U0001F600"};
        std::string text;
        const std::size_t count = below(8) == 7 ? 20 + below(4) : below(4);
        const std::string& filler = pieces[below(pieces.size())];
        for (std::size_t n = 0; n < count; ++n) {
            text += n < 3 ? pieces[below(pieces.size())] : filler;
        }
        return text;
    }

    double real() {
        static const std::array values = {0.0, -0.0, 1.5, -7.0, 9007199254740993.0, 1e300, 5e-324};
        return values[below(values.size())];
    }

    std::uint64_t natural() {
        static const std::array<std::uint64_t, 7> values = {
            0, 7, 1UL << 53U, (1UL << 53U) + 1, ~0UL >> 1U, (~0UL >> 1U) + 1, ~0UL};
        return values[below(values.size())];
    }

    std::int64_t whole() {
        const std::uint64_t bits = natural();
        return static_cast<std::int64_t>(flag() ? ~bits + 1 : bits);
    }

private:
    const std::uint8_t* next_;
    const std::uint8_t* end_;
};

/// Whether a text is strict JSON to the library; what it makes of others is another fuzzer's
/// business.
inline bool readable(const std::string& text) {
    try {
        core::parse_json_document(u"", toBytes(text), {});
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

constexpr std::size_t longestInput = 2048; // bytes; the models recurse

/// What a fuzzer of sequences does with its input: a line of JSON text, then what is done with it.
template <class Session>
int runSession(const std::uint8_t* data, std::size_t size) {
    if (size > longestInput) {
        return 0;
    }
    Choices choices(data, size);
    const std::string text = choices.line();
    if (readable(text)) {
        Session(text, choices).run();
    }
    return 0;
}

} // namespace fuzz
