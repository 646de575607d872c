#pragma once

/// Building a document's values, bottom up.

#include "base/raw_value.hpp"
#include "value_stack.hpp"
#include "value_storage.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

namespace ostra::io::json::core {

/// Builds the values of a document from the events of its text.
///
/// Finished values wait on a stack; the end of a container moves its children into the document in
/// one copy and leaves the container in their place. RapidJSON's own document does the same from a
/// stack, but allocates per container and string from 64 KiB chunks of its pool, and writes through
/// null if memory runs out.
///
/// Every operation throws std::bad_alloc if memory is exhausted. A builder serves one thread;
/// several may share a source of blocks.
class __attribute__((visibility("hidden"))) ValueBuilder {
public:
    /// @param blocks  gives the storage of the values; must outlive the builder.
    explicit ValueBuilder(BlockSource& blocks) : storage_(blocks) {}

    void null() { ::new (push()) rapidjson::Value(); }
    void boolean(bool value) { ::new (push()) rapidjson::Value(value); }
    // RapidJSON sets a number's flags by its value, so the widest type does for all integers.
    void integer(std::int64_t value) { ::new (push()) rapidjson::Value(value); }
    void integer(std::uint64_t value) { ::new (push()) rapidjson::Value(value); }
    void real(double value) { ::new (push()) rapidjson::Value(value); }

    /// An integer beyond 64 bits, rounded.
    void bigInteger(double rounded) { markBigInteger(*::new (push()) rapidjson::Value(rounded)); }
    void markBigInteger(rapidjson::Value& value) {
        base::RawValue::markBigInteger(value);
        hasBigIntegers_ = true;
    }

    /// Whether there ever were any.
    bool hasBigIntegers() const { return hasBigIntegers_; }

    /// A string or a key: keys are ordinary values in front of their members' values.
    /// @param text  is copied.
    void string(std::string_view text) {
        if (text.size() > base::RawValue::longestInline) {
            char* const copy = storage_.allocate(text.size() + 1);
            std::memcpy(copy, text.data(), text.size());
            copy[text.size()] = '\0';
            base::RawValue::setString(*::new (push()) rapidjson::Value(), copy, text.size());
        } else {
            auto& value = *::new (push()) rapidjson::Value();
            std::copy(text.begin(), text.end(), base::RawValue::inlineBytes(value));
            base::RawValue::setInlineString(value, text.size());
        }
    }

    void startObject() { push(); }
    void startArray() { push(); }
    // The end of a container says how many members or elements it has: those that came last.
    void endObject(std::size_t members) {
        void* storage = takeLast(2 * members);
        base::RawValue::setObject(stack_.top[-1], storage, members);
    }
    void endArray(std::size_t elements) {
        void* storage = takeLast(elements);
        base::RawValue::setArray(stack_.top[-1], storage, elements);
    }

    /// The finished root value; the builder is used up.
    rapidjson::Value& root() { return *stack_.begin(); }

    /// If there is no room for `count` more values to wait, reserves room for `likely` of them in
    /// one step, if there is memory.
    void reserveFor(std::size_t count, std::size_t likely) noexcept;

    /// Takes over `count` values of another builder, from the `first` one on, as if they had been
    /// made here. The other one is then empty.
    void append(ValueBuilder& other, std::size_t first, std::size_t count);

    /// Leaves the rest of its storage to other builders.
    void releaseRest() noexcept { storage_.releaseRest(); }

    /// Leaves all of its storage to other builders. This one is then empty.
    void discard() noexcept;

    // For a reader that writes values itself.
    ValueStack& stack() { return stack_; }
    ValueStorage& storage() { return storage_; }

private:
    void* push() {
        stack_.require(1);
        return stack_.top++;
    }

    /// Moves the last `count` values of the stack into storage of their own.
    void* takeLast(std::size_t count);

    ValueStack stack_;
    ValueStorage storage_;
    bool hasBigIntegers_ = false;
};

} // namespace ostra::io::json::core
