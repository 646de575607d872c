#pragma once

/// Building a document's values, bottom up.

#include "base/raw_value.hpp"
#include "block_source.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <emmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <span>
#include <string_view>
#include <vector>

namespace ostra::io::json::core {

/// Builds the values of a document from the events of its text.
///
/// Finished values wait on a stack; the end of a container moves its children into the document in
/// one copy and leaves the container in their place. RapidJSON's own document does the same from a
/// stack, but allocates per container and string from 64 KiB chunks of its pool, and writes through
/// null where memory runs out.
///
/// Every operation throws std::bad_alloc where memory is exhausted. A builder serves one thread;
/// several may share a source of blocks.
class __attribute__((visibility("hidden"))) ValueBuilder {
public:
    /// @param blocks  gives the storage of the values; must outlive the builder.
    explicit ValueBuilder(BlockSource& blocks) : blocks_(blocks) {}
    ~ValueBuilder();
    ValueBuilder(const ValueBuilder&) = delete;
    ValueBuilder& operator=(const ValueBuilder&) = delete;

    void null() { ::new (push()) rapidjson::Value(); }
    void boolean(bool value) { ::new (push()) rapidjson::Value(value); }
    // RapidJSON sets a number's flags by its value, so the widest type does for all integers.
    void integer(std::int64_t value) { ::new (push()) rapidjson::Value(value); }
    void integer(std::uint64_t value) { ::new (push()) rapidjson::Value(value); }
    void real(double value) { ::new (push()) rapidjson::Value(value); }

    /// A string or a key: keys are ordinary values in front of their members' values.
    /// @param text      is copied.
    /// @param readable  bytes that may be read from `text.data()`, at least its size; more of them
    ///                  make the copy of a short string faster.
    void string(std::string_view text, std::size_t readable) {
        auto* value = static_cast<rapidjson::Value*>(push());
        if (text.size() > base::RawValue::longestInline) {
            setLongString(*value, text);
            return;
        }
        if (readable >= sizeof(rapidjson::Value)) {
            copyShort(base::RawValue::inlineBytes(*value), text.data(), text.size());
        } else {
            std::memset(base::RawValue::inlineBytes(*value), 0, sizeof(rapidjson::Value));
            std::copy(text.begin(), text.end(), base::RawValue::inlineBytes(*value));
        }
        base::RawValue::setInlineString(*value, text.size());
    }

    void startObject() { push(); }
    void startArray() { push(); }
    // The end of a container says how many members or elements it has: those that came last.
    void endObject(std::size_t members) {
        void* storage = takeLast(2 * members);
        base::RawValue::setObject(top_[-1], storage, members);
    }
    void endArray(std::size_t elements) {
        void* storage = takeLast(elements);
        base::RawValue::setArray(top_[-1], storage, elements);
    }

    /// The finished root value; the builder is used up.
    rapidjson::Value& root() { return stack_[0]; }

    /// Where there is no room for `count` more values to wait, makes room for `likely` of them in
    /// one step, if memory has it.
    void expect(std::size_t count, std::size_t likely) noexcept;

    /// Takes over the first `count` values of another builder, as if they had been made here. The
    /// other one is as new then.
    void append(ValueBuilder& other, std::size_t count);

    /// Leaves the rest of its storage to other builders.
    void releaseRest() noexcept;

    /// Leaves all of its storage to other builders. This one is as new then.
    void discard() noexcept;

private:
    void* push() {
        if (top_ == limit_) {
            growStack(1);
        }
        return top_++;
    }

    char* allocate(std::size_t size) {
        size = (size + 7) & ~std::size_t{7};
        if (size > static_cast<std::size_t>(blockEnd_ - free_)) {
            addBlock(size);
        }
        char* storage = free_;
        free_ += size;
        return storage;
    }

    /// Copies `size` bytes, 21 at most, and zeroes behind them, without a branch on the size: a
    /// call of memcpy for each of a text's many short strings took a tenth of the whole parse.
    /// @param to    room for 24 bytes.
    /// @param from  24 readable bytes.
    static void copyShort(char* to, const char* from, std::size_t size) {
        const __m128i positions =
            _mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
        const __m128i wanted = _mm_cmpgt_epi8(_mm_set1_epi8(static_cast<char>(size)), positions);
        const __m128i head = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_and_si128(head, wanted));
        const std::size_t tailSize = size > 16 ? size - 16 : 0;
        std::uint64_t tail = 0;
        std::memcpy(&tail, from + 16, sizeof tail);
        tail &= (std::uint64_t{1} << (8 * tailSize)) - 1;
        std::memcpy(to + 16, &tail, sizeof tail);
    }

    /// Moves the last `count` values of the stack into storage of their own.
    void* takeLast(std::size_t count) {
        constexpr std::size_t few = 16; // copied here at half the cost of a call
        if (count == 0) {
            return nullptr;
        }
        char* storage = allocate(count * sizeof(rapidjson::Value));
        top_ -= count;
        if (count > few) {
            std::memcpy(storage, static_cast<const void*>(top_), count * sizeof(rapidjson::Value));
        } else {
            for (std::size_t i = 0; i < count; ++i) {
                std::memcpy(storage + i * sizeof(rapidjson::Value),
                            static_cast<const void*>(top_ + i), sizeof(rapidjson::Value));
            }
        }
        return storage;
    }

    [[gnu::noinline]] void setLongString(rapidjson::Value& value, std::string_view text);
    [[gnu::noinline]] void growStack(std::size_t more);
    bool resizeStack(std::size_t capacity) noexcept;
    [[gnu::noinline]] void addBlock(std::size_t size);

    BlockSource& blocks_;
    std::vector<std::span<char>> used_; // the blocks, the last one with its rest
    char* free_ = nullptr;              // where that rest begins
    char* blockEnd_ = nullptr;
    rapidjson::Value* stack_ = nullptr; // owned; values move like bytes, as in RapidJSON itself
    rapidjson::Value* top_ = nullptr;
    rapidjson::Value* limit_ = nullptr;
};

} // namespace ostra::io::json::core
