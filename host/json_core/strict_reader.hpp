#pragma once

/// The fast reader of JSON texts, for what nearly all of them are: strictly RFC 8259.

#include "elements.hpp"
#include "platform/json_core.hpp"
#include "value_builder.hpp"

#include <emmintrin.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ostra::io::json::core {

/// What a `StrictReader` throws where it leaves a text to the `TextReader`.
struct NotStrict {};

/// Reads one text as `TextReader` does, two to four times as fast, or not at all: it leaves to that
/// one, from the start of the text, whatever is not strict JSON with a container at its root. So
/// there is one source of messages and positions, and of what the options allow.
///
/// A state machine over the bytes, with a state for each place between two tokens of an array, and
/// of an object. Values are written where they wait on the builder's stack; a container that is
/// open holds, in the place where its value will be, the way back to its parent. Nothing looks for
/// the end of the text at every byte: up to some way in front of it no token can reach it, and the
/// rest is read from a copy that zeros follow, which no token goes beyond.
///
/// Serves once, on one thread. It takes about 3 kB where it is.
class __attribute__((visibility("hidden"))) StrictReader {
public:
    /// @param text  of any content; malformed UTF-8 in strings is taken as it is. Must outlive the
    ///              reader.
    StrictReader(std::string_view text, ValueBuilder& builder);

    /// Reads all of the text.
    /// @return whether it did. If not, whatever the builder has built is of no use.
    /// @throws std::bad_alloc  where memory is exhausted.
    bool readAll();

    // Reading a text bit by bit: as with `TextReader`. All throw NotStrict where that one has to
    // read the text, std::bad_alloc where memory is exhausted.

    void start();

    /// Reads from a value that is due to the first element of an array that is due at `limit` or
    /// behind it; where there is none, to the end of the root value.
    void readTo(std::size_t limit);

    bool valueDue() const { return due_ != Due::nothing; }
    bool elementDueAt(std::size_t position) const {
        return due_ == Due::element && this->position() == position;
    }
    void adopt(const Elements& elements, ValueBuilder& values);
    void finish();

    Elements readElements(std::size_t limit) noexcept;

    std::size_t position() const { return positionOf(at_); }

    /// Whether all that has been read was ASCII: what is not may only stand in strings.
    bool readOnlyAscii() const { return _mm_movemask_epi8(seen_) == 0; }

private:
    enum class Due : std::uint8_t { nothing, root, element, behindElement };

    /// What stops the machine.
    enum class Stop : std::uint8_t { none, atLimit, atEnd, notStrict };

    // strict_machine.cpp
    Stop run(Due due);

    // strict_reader.cpp
    [[gnu::noinline]] Stop lookAround(bool elementDue);
    bool prepare();
    bool goToRoot();
    bool nothingFollows() const;
    const char* enterTail(const char* at);
    std::size_t positionOf(const char* at) const {
        return static_cast<std::size_t>(at - origin_) + originPosition_;
    }

    [[gnu::noinline]] const char* skipLongSpace(const char* at);

    // string_reader.cpp
    [[gnu::noinline]] const char* readLongString(const char* at, rapidjson::Value* value);
    bool makeRoomForString(const char* at, char*& to);

    // number_reader.cpp
    [[gnu::noinline]] const char* readWideNumber(const char* number, rapidjson::Value* value);
    [[gnu::noinline]] const char* readFraction(const char* at, const char* number,
                                               std::uint64_t magnitude, rapidjson::Value* value);
    [[gnu::noinline]] const char* readExponent(const char* at, const char* number,
                                               std::uint64_t magnitude, std::size_t fractionDigits,
                                               rapidjson::Value* value);
    [[gnu::noinline]] const char* readLongNumber(const char* number, rapidjson::Value* value);

    // token_scan.hpp: tokens that are short, to be inlined
    const char* skipSpace(const char* at, std::size_t& usual);
    const char* readString(const char* at, rapidjson::Value* value, __m128i& seen);
    const char* readNumber(const char* at, rapidjson::Value* value);
    static const char* readLiteral(const char* at, rapidjson::Value* value);

    /// Short texts, and the ends of longer ones, are copied here.
    static constexpr std::size_t tailCapacity = 2048;
    static constexpr std::size_t tailPadding = 64;

    ValueBuilder& builder_;
    ValueStack& stack_;
    ValueStorage& storage_;
    const char* limit_; // no token may begin here or behind without `lookAround`
    const char* end_;   // of what is being read, the text or the tail
    const char* origin_;
    std::size_t originPosition_ = 0; // in the text, of what is at `origin_`
    std::size_t stopPosition_ = std::string_view::npos;
    std::size_t textSize_;
    bool inTail_ = false;
    Due due_ = Due::root;

    // The state of the machine while it stands.
    const char* at_;
    std::size_t container_ = 0; // its index on the stack
    std::size_t usualSpace_ = 0;
    __m128i seen_ = _mm_setzero_si128(); // all that was in strings, one over the other

    std::array<char, tailCapacity + tailPadding> tail_; // not initialised, up to `enterTail`
};

} // namespace ostra::io::json::core
