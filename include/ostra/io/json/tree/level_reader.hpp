#pragma once

/// @file
/// `LevelReader`: a cursor over one JSON document that it owns.
///
/// The *level* of a reader is what its list and set operations see of the current value: the member
/// values of an object in member order, the elements of an array in index order, or, for any other
/// value, that value itself as a level of one.
///
/// Every number is in exactly one class: `Double` (held as a double, or an integer that a double
/// holds exactly), `Uint64` (any other non-negative integer) or `Int64` (any other negative one).
/// Lists and sets of one kind visit the same entries in the same order, so a level travels as flat
/// typed lists and comes back onto the entries it came from.
///
/// A host builds a level with `setKeyNames` (objects), `setValueTypes`, `setNumberTypes`, and then
/// `setDoubles`, `setUint64s`, `setInt64s` and `setStrings`, which find exactly the entries marked
/// for them. On a level of several entries a set operation replaces matching entries only; a level
/// of one is replaced whatever it is. No count is checked: surplus values are ignored, and entries
/// that no value is left for stay as they are.
///
/// Threads: a reader is used by one thread at a time; distinct readers are independent.
/// Lifetime: a reader stays where it was built, for its root lies inside it; it is neither copied
/// nor moved. Everything it returns is independent of it.
/// Native stack: no operation needs more for a deeper document.

#include <ostra/io/json/tree/dom.hpp>
#include <ostra/io/json/tree/errors.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace ostra::io::json::tree {

class TVIOJSONTREE_EXPORT LevelReader {
public:
    static const std::string class_name;          ///< "LevelReader"
    static const std::string packaged_class_name; ///< "ostra.io.json.internal.LevelReader"

    /// The class of a number; decides in which numeric list it travels.
    enum NumberType : std::uint8_t { Double = 0, Uint64 = 1, Int64 = 2 };

    // Factories. Each parses a document and stands on its root.

    /// Reads a text held in memory; parameters, failures and cost as `read_string`.
    static LevelReader MakeStringReader(const std::u16string& text,
                                        const core::ReadJSONDocumentOptions& options);

    /// As `MakeStringReader`, on the heap.
    static std::unique_ptr<LevelReader>
    MakeStringReaderPtr(const std::u16string& text, const core::ReadJSONDocumentOptions& options);

    /// Reads a file; parameters, failures and cost as `read_file`.
    static LevelReader MakeFileReader(const std::u16string& path,
                                      const core::ReadJSONDocumentOptions& options);

    /// As `MakeFileReader`, on the heap.
    static std::unique_ptr<LevelReader>
    MakeFileReaderPtr(const std::u16string& path, const core::ReadJSONDocumentOptions& options);

    ~LevelReader();
    LevelReader(const LevelReader&) = delete;
    LevelReader& operator=(const LevelReader&) = delete;

    // Navigation. Failing to find something is an answer, not an error.

    /// Descends into a child.
    ///
    /// On an object or array the reader goes one level down, even if there is no such child: it
    /// then stays on the same value, so that every `cd` pairs with one `cdup`. On any other value
    /// nothing happens.
    ///
    /// @param index  0-based position among the members or elements.
    /// @throws std::bad_alloc  if the position stack cannot grow; the reader has not moved.
    /// Cost: constant.
    void cd(std::size_t index);

    /// Goes one level up; at the top, nothing happens. Never fails. Cost: constant.
    void cdup();

    /// Descends to the value of the member with this key.
    ///
    /// @param name       the key; compared bytewise in UTF-8, embedded NUL included.
    /// @param recursive  false: only the members of the current object, the first match wins.
    ///                   True: the whole subtree, arrays included, depth first in document order; a
    ///                   match inside an earlier member wins over a direct match in a later one.
    ///                   Every value descended adds one level.
    /// @return whether it was found; if not, the reader has not moved.
    /// @throws std::bad_alloc  if a stack cannot grow; the reader has not moved.
    /// Cost: linear in the values visited; without recursion nothing is allocated (in UTF-8, and
    /// down to 64 levels).
    bool cdNodeName(const std::string& name, bool recursive);
    bool cdNodeName(const std::u16string& name, bool recursive);

    /// Descends along a JSON Pointer (RFC 6901, or its URI fragment form beginning with `#`).
    ///
    /// A token selects the first member with that key of an object, or the element with that index
    /// (0-based, no leading zeros) of an array; `-` and anything else misses. Every token adds one
    /// level.
    ///
    /// @param selector  the pointer, as text or parsed; a parsed pointer must be valid.
    /// @return whether all tokens resolved; if not, the reader has not moved.
    /// @throws foundation::core::except::Exception<OSTRA::io::json::common::InvalidJSONPointer,
    ///         std::exception, void>  if the text is not a JSON Pointer; the reader has not
    ///         moved.
    /// @throws std::bad_alloc  if a stack cannot grow; the reader has not moved.
    /// Cost: linear in the tokens and the members looked at.
    bool cdSelector(
        const rapidjson::GenericPointer<rapidjson::Value, rapidjson::CrtAllocator>& selector);
    bool cdSelector(const std::string& selector);
    bool cdSelector(const std::u16string& selector);

    // The current value.

    /// @return the type of the current value. Never fails. Cost: constant.
    rapidjson::Type getCurrentType() const;

    /// Replaces the current value by an empty one.
    ///
    /// @param type  null, false, true, an empty object, array or string, or the number 0 (of class
    ///              `Double`, written 0.0).
    /// @throws std::out_of_range  for a code outside 0 to 6; nothing changes.
    /// Cost: constant; the old contents stay in memory until the reader dies.
    void setCurrentType(const rapidjson::Type& type);

    /// Writes the current value; text, failures and cost as `write_string`.
    std::u16string writeString(const write::struct_::WriteStructOptions& options) const;

    /// Writes the current value into a file; parameters, failures and cost as `write_file`.
    void writeFile(const std::u16string& path,
                   const write::struct_::WriteStructOptions& options) const;

    // Lists. Each returns the level's matching entries in level order and changes nothing.
    // Failures of all: std::length_error ("vector::reserve") or std::bad_alloc if the result
    // does not fit in memory. Cost of all: linear in the level; the result is allocated once.

    /// @return the numbers of class `Double`; empty if there are none.
    std::vector<double> listDoubles() const;

    /// @return the numbers of class `Uint64`; empty if there are none.
    std::vector<unsigned long> listUint64s() const;

    /// @return the numbers of class `Int64`; empty if there are none.
    std::vector<long> listInt64s() const;

    /// @return the strings, UTF-16; embedded NUL characters are kept.
    std::vector<std::u16string> listStrings() const;

    /// @return the keys of the current object in member order, duplicates included; empty if the
    ///         current value is not an object.
    std::vector<std::u16string> listKeyNames() const;

    /// @return one type per entry.
    std::vector<rapidjson::Type> listValueTypes() const;

    /// @return one class per number entry.
    std::vector<NumberType> listNumberTypes() const;

    // Sets. Each replaces the level's matching entries in level order, in place: pointers to the
    // entries stay valid, the replaced contents stay in memory until the reader dies. Cost of all:
    // linear in the level.

    /// Replaces numbers of class `Double`, which are held as doubles from then on (1 is written
    /// 1.0). Never fails.
    /// @param values  the new values.
    void setDoubles(const std::vector<double>& values);

    /// Replaces numbers of class `Uint64`; a value that a double holds exactly is of class `Double`
    /// from then on. Never fails.
    /// @param values  the new values.
    void setUint64s(const std::vector<unsigned long>& values);

    /// Replaces numbers of class `Int64`; a value that a double holds exactly is of class `Double`
    /// from then on, one above 2^53 of class `Uint64`. Never fails.
    /// @param values  the new values.
    void setInt64s(const std::vector<long>& values);

    /// Replaces strings.
    /// @param values  the new values, UTF-16.
    /// @throws std::bad_alloc  if memory is exhausted; entries already replaced stay replaced.
    void setStrings(const std::vector<std::u16string>& values);

    /// Replaces the current value, whatever it is, by an object with these members, all null.
    /// @param names  the keys, in member order; empty and duplicate ones are taken as they are.
    /// @throws std::bad_alloc  if memory is exhausted; the members made so far stay.
    void setKeyNames(const std::vector<std::u16string>& names);

    /// Replaces entries by empty values of the given types, even if the type stays the same. An
    /// array with fewer elements than there are types grows to that length first, which may move
    /// its elements (one that has elements takes at least half as much room again, so that growing
    /// one by one stays linear); nothing ever shrinks and objects never grow.
    /// @param types  one type per entry; the fresh values are those of `setCurrentType`.
    /// @throws std::out_of_range  if a type that would be used is outside 0 to 6, naming code
    ///                            and position; nothing changes.
    /// @throws std::bad_alloc     if the array cannot grow; nothing changes.
    void setValueTypes(const std::vector<rapidjson::Type>& types);

    /// Replaces number entries by a placeholder of the given class: 0.0, 18446744073709551615 or
    /// -9223372036854775807. Any code other than `Uint64` and `Int64` counts as `Double`. Never
    /// fails.
    /// @param types  one class per number entry.
    void setNumberTypes(const std::vector<NumberType>& types);

private:
    struct FromText {};
    struct FromFile {};
    TVIOJSONTREE_LOCAL LevelReader(FromText, const std::u16string& text,
                                   const core::ReadJSONDocumentOptions& options);
    TVIOJSONTREE_LOCAL LevelReader(FromFile, const std::u16string& path,
                                   const core::ReadJSONDocumentOptions& options);

    DOM dom;
    rapidjson::Value* current;
    std::vector<rapidjson::Value*> parents;
};

} // namespace ostra::io::json::tree
