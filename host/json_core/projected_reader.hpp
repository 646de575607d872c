#pragma once

/// The fast reader of records of which only some values are wanted.

#include "projection.hpp"
#include "strict_reader.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace ostra::io::json::core {

/// Reads strict JSON as `StrictReader` does and checks all of it, but builds only the values that
/// are wanted: two thirds of the time for six fields of records with eleven values.
///
/// For one use on one thread.
class __attribute__((visibility("hidden"))) ProjectedReader : private StrictReader {
public:
    /// What the records are.
    enum class Form : std::uint8_t { Elements, Members, Lines };

    /// @param text        as for `StrictReader`. It begins at the first record.
    /// @param projection  says what is wanted, and takes the rows: of members, the key first.
    ProjectedReader(std::string_view text, ValueBuilder& builder, BigIntegerRule bigIntegers,
                    Projection& projection, Form form);

    /// Reads elements or members, as `StrictReader::readElements` does; or all lines, as
    /// `StrictReader::readLines`.
    /// @param limit  no record that begins here or behind it is read.
    /// @return no records if there are none, or if the text is left to another reader.
    Elements read(std::size_t limit) noexcept;

    using StrictReader::readOnlyAscii;

private:
    using Value = rapidjson::Value;
    using Link = Projection::Link;

    Elements readRecords(std::size_t limit);
    const char* readKey(const char* at, Value* key);
    const char* readRecord(const char* at, Value* row);
    [[gnu::noinline]] const char* readUnknown(const char* at, std::uint32_t state, Link& link);
    const char* readWanted(const char* at, Value* to, __m128i& seen);
    [[gnu::noinline]] const char* build(const char* at, Value* to);

    // skipped_values.hpp and .cpp: return the position behind the value, null if it is not strict
    const char* skipValue(const char* at, __m128i& seen);
    [[gnu::noinline]] const char* skipContainer(const char* at);
    const char* skipString(const char* at, __m128i& seen);
    [[gnu::noinline]] const char* skipLongString(const char* at);
    const char* skipNumber(const char* number);

    /// To be called at the limit or behind it: `scanAhead` bytes can be read from the result on,
    /// or zeros follow the text.
    [[gnu::noinline]] const char* lookAhead(const char* at);
    const char* sureOf(const char* at) { return at < limit_ ? at : lookAhead(at); }

    Projection& projection_;
    const Form form_;
    std::vector<std::uint32_t> path_; // the states behind the objects that are open
    std::vector<char> skipped_;       // the containers around the one being skipped
    Link unknown_;                    // the latest that was not known
};

} // namespace ostra::io::json::core
