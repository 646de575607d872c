#pragma once

/// One list of members, copied into many objects.

#include "platform/string_array.hpp"

#include <ostra/io/json/tree/rapidjson.hpp>

#include <cstddef>
#include <string>
#include <vector>

namespace ostra::io::json::tree {

/// The members of an object with given names and null values, as they lie in memory: the members,
/// then the names that are too long to be held inside them.
///
/// An object becomes a copy by one `memcpy` and one pointer for each long name. RapidJSON's own
/// copy plays the object back as events through a document with a stack of its own, which takes
/// four times as long, and writes through null if memory is exhausted.
///
/// Threads: any number may copy at once.
class KeyPattern {
public:
    /// @param keys  the names, of any shape, taken in element order.
    /// @throws foundation::core::except::IMsgIDException  identifier
    ///         "OSTRA:string:MissingNotSupported", if a name is missing.
    /// @throws std::bad_alloc, std::length_error
    explicit KeyPattern(const Tarvel::String::String& keys);

    /// Bytes that one copy takes, a multiple of 8.
    std::size_t size() const { return block_.size() * sizeof(Word); }

    /// Makes `node` an object whose members are a copy in `storage`.
    /// @param storage  `size()` bytes of the node's document, aligned to 8.
    void copyTo(rapidjson::Value& node, char* storage) const;

private:
    using Member = rapidjson::Value::Member;
    using Word = std::size_t; // for the alignment of members

    struct LongName {
        std::size_t member;
        std::size_t offset; // of its bytes in the block
        std::size_t length;
    };

    char* bytes() { return reinterpret_cast<char*>(block_.data()); }

    std::size_t memberCount_;
    std::vector<LongName> longNames_;
    std::vector<Word> block_;
};

} // namespace ostra::io::json::tree
