#pragma once

/// Scalars as JSON text.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <string_view>

namespace ostrajson {

/// A growing JSON text.
class TextSink {
public:
    explicit TextSink(bool allowNaN) : allowNaN_(allowNaN) {}

    void put(char character) {
        room(1);
        *at_++ = character;
    }
    void put(std::string_view part) {
        room(part.size());
        at_ = std::copy(part.begin(), part.end(), at_);
    }

    template <class Integer>
    void integer(Integer value) {
        constexpr std::size_t longest = 20;
        room(longest);
        at_ = std::to_chars(at_, at_ + longest, value).ptr;
    }

    /// The fewest digits that read back to the same bits, always with a fraction or an exponent.
    template <class Float>
    void floating(Float value) {
        if (!std::isfinite(value)) {
            put(!allowNaN_            ? "null"
                : std::isnan(value)   ? "NaN"
                : std::signbit(value) ? "-Infinity"
                                      : "Infinity");
            return;
        }
        constexpr std::size_t longest = 24;
        room(longest + 2);
        char* const begin = at_;
        at_ = std::to_chars(at_, at_ + longest, value).ptr;
        if (std::string_view(begin, at_).find_first_of(".e") == std::string_view::npos) {
            *at_++ = '.';
            *at_++ = '0';
        }
    }

    /// A string in quotes; quote, backslash and control characters are escaped (RFC 8259, section
    /// 7).
    void string(std::string_view utf8) {
        put('"');
        while (!utf8.empty()) {
            const std::size_t plain = plainPrefix(utf8);
            put(utf8.substr(0, plain));
            utf8.remove_prefix(plain);
            if (!utf8.empty()) {
                escape(utf8.front());
                utf8.remove_prefix(1);
            }
        }
        put('"');
    }

    std::string_view text() const { return {text_.get(), at_}; }

private:
    /// How many characters at the start need no escape, eight at a time while they last.
    static std::size_t plainPrefix(std::string_view text) {
        constexpr std::uint64_t ones = 0x0101010101010101U;
        constexpr std::uint64_t highs = ones << 7U;
        const auto hasZero = [](std::uint64_t word) { return (word - ones) & ~word; };
        std::size_t done = 0;
        for (; text.size() - done >= 8; done += 8) {
            std::uint64_t word = 0;
            std::memcpy(&word, text.data() + done, sizeof word);
            const std::uint64_t special = hasZero(word ^ (ones * '"')) |
                                          hasZero(word ^ (ones * '\\')) |
                                          ((word - ones * 0x20U) & ~word);
            if ((special & highs) != 0) {
                break;
            }
        }
        for (; done < text.size(); ++done) {
            const auto c = static_cast<unsigned char>(text[done]);
            if (c < 0x20 || c == '"' || c == '\\') {
                break;
            }
        }
        return done;
    }

    void escape(char character) {
        constexpr std::string_view named = "\"\"\\\\\bb\ff\nn\rr\tt";
        for (std::size_t i = 0; i < named.size(); i += 2) {
            if (named[i] == character) {
                put('\\');
                put(named[i + 1]);
                return;
            }
        }
        constexpr std::string_view digits = "0123456789abcdef";
        put("\\u00");
        put(digits[static_cast<unsigned char>(character) >> 4U]);
        put(digits[static_cast<unsigned char>(character) & 15U]);
    }

    void room(std::size_t bytes) {
        if (static_cast<std::size_t>(end_ - at_) < bytes) {
            grow(bytes);
        }
    }

    [[gnu::noinline]] void grow(std::size_t bytes) {
        const auto used = static_cast<std::size_t>(at_ - text_.get());
        const std::size_t capacity = std::max<std::size_t>(used + bytes, 2 * used + 512);
        auto* const grown = static_cast<char*>(std::realloc(text_.get(), capacity));
        if (grown == nullptr) {
            throw std::bad_alloc();
        }
        static_cast<void>(text_.release());
        text_.reset(grown);
        at_ = grown + used;
        end_ = grown + capacity;
    }

    struct Free {
        void operator()(char* text) const { std::free(text); }
    };

    std::unique_ptr<char, Free> text_;
    char* at_ = nullptr;
    char* end_ = nullptr;
    bool allowNaN_;
};

} // namespace ostrajson
