#pragma once

/// @file
/// `NodeVector`: operations on many JSON values at once.
///
/// Threads: the operations marked *parallel* share their work among oneTBB's worker threads and
/// return when all of it is done; the others run on the calling thread. Node vectors over one
/// document are used by one host thread at a time, except that any number of threads may call
/// `const` operations while nobody changes the document.
/// Lifetime: nodes are borrowed pointers into the shared document. They stay valid until the
/// document dies or the container that holds the value is restructured; a node made stale by a
/// change points at memory that stays allocated, but no longer at a value of the document.
/// Native stack: no operation needs more for a deeper document.

#include <ostra/io/json/tree/dom.hpp>
#include <ostra/io/json/tree/errors.hpp>
#include <ostra/io/json/tree/node_vector_data.hpp>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace ostra::io::json::tree {

/// An ordered set of references to values of one shared document. A plain value: copying copies the
/// references and shares the document. A node may stand in it more than once.
class NodeVector {
public:
    TVIOJSONTREE_EXPORT static const std::string class_name; ///< "NodeVector"
    /// "ostra.io.json.internal.NodeVector"
    TVIOJSONTREE_EXPORT static const std::string packaged_class_name;

    std::shared_ptr<DOM> dom;             ///< the document that owns all nodes
    std::vector<rapidjson::Value*> nodes; ///< borrowed, ordered, never null

    NodeVector() = default;

    /// Builds a node vector, as a binding does for the first one over a document.
    /// @param document  the document; not null if an operation takes memory from it.
    /// @param values    values of that document, none null.
    NodeVector(std::shared_ptr<DOM> document, std::vector<rapidjson::Value*> values)
        : dom(std::move(document)), nodes(std::move(values)) {}

    TVIOJSONTREE_EXPORT ~NodeVector();
    NodeVector(const NodeVector&) = default;
    NodeVector(NodeVector&&) = default;
    NodeVector& operator=(const NodeVector&) = default;
    NodeVector& operator=(NodeVector&&) = default;

    // Deriving node vectors. All results share the document and keep the order of the nodes; the
    // operations read the document only and leave this node vector as it is, also on failure.

    /// Collects the children of every node: member values in member order, elements in index
    /// order; any other node has none.
    ///
    /// @return all children, those of node 0 first.
    /// @throws std::length_error  "vector::reserve", if the total exceeds a vector's maximum.
    /// @throws std::bad_alloc
    /// Cost: linear in nodes and children; the result is allocated once.
    TVIOJSONTREE_EXPORT NodeVector get_children() const;

    /// Looks up one descendant per node by a JSON Pointer (RFC 6901). *Parallel.*
    ///
    /// A token selects the first member with that key of an object, or the element with that index
    /// (0-based, no leading zeros) of an array; `-` and anything else misses. The empty selector
    /// selects the nodes themselves.
    ///
    /// @param selector  the pointer, UTF-8.
    /// @return the descendants found, and an n x 1 logical column: 1 if a node has none.
    /// @throws std::exception  if the selector is not a JSON Pointer (as the JSON core reports it),
    ///                         before anything else happens.
    /// @throws std::bad_alloc, std::length_error
    /// Cost: linear in the nodes and in the members looked at.
    TVIOJSONTREE_EXPORT std::pair<NodeVector, NumericArray<bool>>
    get_children(const std::string& selector) const;

    /// Looks up one descendant per node by node name, as the JSON core resolves it. *Parallel.*
    ///
    /// @param name  the node name, UTF-8.
    /// @return as `get_children(selector)`.
    /// @throws std::exception  what the JSON core throws for any node; once, whatever the number of
    ///                         nodes it fails for.
    /// @throws std::bad_alloc, std::length_error
    /// Cost: that of one resolution per node.
    TVIOJSONTREE_EXPORT std::pair<NodeVector, NumericArray<bool>>
    get_children_by_node_name(const std::string& name) const;

    /// Resolves a node name to a selector, trying the nodes in order.
    ///
    /// @param name  the node name, UTF-8.
    /// @return the selector that the first node able to resolve the name gives, relative to that
    ///         node; empty if none can.
    /// @throws std::exception  what the JSON core throws.
    /// Cost: that of one resolution per node up to the first that answers.
    TVIOJSONTREE_EXPORT std::optional<std::string>
    resolve_node_name_to_selector(const std::string& name) const;

    /// Looks up one descendant per node as `get_children(selector)` does and flattens it: a scalar
    /// stands for itself, an array for all scalars in it and in its nested arrays in order; objects
    /// are dropped wherever they occur. *Parallel.*
    ///
    /// @param selector  the pointer, UTF-8.
    /// @return the scalars, those of node 0 first, and an n x 1 column (class uint64): how many
    ///         each node contributed. A count wraps as a 32-bit signed number, widened with sign.
    /// @throws std::exception     if the selector is not a JSON Pointer, before anything else.
    /// @throws std::length_error  "vector::reserve", if a count or the total wraps to a negative
    ///                            number.
    /// @throws std::bad_alloc
    /// Cost: linear in the values visited.
    TVIOJSONTREE_EXPORT std::pair<NodeVector, NumericArray<std::uint64_t>>
    get_children_exhaustive(const std::string& selector) const;

    /// Picks nodes by position. An out-of-range index gives an empty result.
    ///
    /// @param indices  0-based positions, of any shape, taken in element order; repeats allowed.
    /// @return the picked nodes in the order of `indices`; none at all if any index is out of
    ///         range.
    /// @throws std::length_error, std::bad_alloc
    /// Cost: linear in `indices`.
    TVIOJSONTREE_EXPORT NodeVector subset(const matrix::typed_vector<unsigned long>& indices) const;

    // Changing the document in place. The nodes stay the same; replaced contents stay in memory
    // until the document dies. Nodes that repeat or lie inside one another are processed as if one
    // after another in order.

    /// Makes every array node have exactly `count` elements: nulls are appended, or trailing
    /// elements dropped. Other nodes are left alone. *Parallel.*
    ///
    /// @param count  elements each array is to have.
    /// @throws std::length_error  if the memory needed overflows 64 bits; nothing changes.
    /// @throws std::bad_alloc     if the document cannot get the memory; nothing changes.
    /// A growing array may move its elements: pointers to them go stale. The document is only
    /// needed if an array does not have the room yet; one that is listed often takes it once.
    /// Cost: linear in the nodes and in the elements moved or added; if nodes repeat or come in
    /// wild order, a set of the arrays that move.
    TVIOJSONTREE_EXPORT void set_number_of_children(unsigned long count);

    // Columns in and out. Returned arrays are real and n x 1, even when empty.

    /// Copies the content of all nodes into host arrays.
    ///
    /// @return types, number classes, texts and numbers of the nodes, see `NodeVectorData`; of
    ///         null, boolean, object and array nodes the type only.
    /// @throws std::bad_alloc, std::length_error  if an array cannot be made; no record results.
    /// Cost: linear in the nodes; every array is created once, at its final size, in the order
    /// types, strings, doubles, uint64s, int64s, number_types. Numbers are gathered first: 9 bytes
    /// each.
    TVIOJSONTREE_EXPORT NodeVectorData get_data() const;

    /// Writes a record into the nodes: first `set_types(data.types)`, which empties every node it
    /// covers, then each string and number node takes its value, in node order.
    ///
    /// A number code other than 0, 1 and 2 leaves its node as it is and takes no value. Nodes past
    /// the end of `types` take part with the type they have. Surplus elements are ignored, and an
    /// array that nothing is taken from may be null. If a string is missing, only the nodes up
    /// to it need values.
    ///
    /// @param data  the record; not changed.
    /// @throws std::invalid_argument  if something is needed from a null handle, naming it;
    ///                                nothing changes.
    /// @throws std::out_of_range      for a type code outside 0 to 6 that would be used, naming
    ///                                it and its position, and if an array is shorter than
    ///                                the nodes need, naming it; nothing changes.
    /// @throws foundation::core::except::Exception<OSTRA::string::MissingNotSupported,
    ///         std::exception, void>  if a string that a node needs is missing; all types and
    ///         the values of earlier nodes stay written.
    /// @throws std::bad_alloc         if memory is exhausted: before anything changes, or all
    ///                                types and the values of earlier nodes stay written.
    /// Cost: linear in the nodes; in wild order about twice of that in document order.
    TVIOJSONTREE_EXPORT void set_data(const NodeVectorData& data);

    /// Lists the member names of all object nodes together.
    ///
    /// @return a K x 1 array: every name as many times as it occurs in the object where it occurs
    ///         most often, each copy where it was first needed in node and member order. Nodes that
    ///         are not objects are ignored.
    /// @throws std::bad_alloc, std::length_error
    /// Cost: linear in the members.
    TVIOJSONTREE_EXPORT StringArray get_keys() const;

    /// Gives every object node exactly the members named, all null. Other nodes are left alone.
    /// *Parallel.*
    ///
    /// @param keys  the names, of any shape, taken in element order; duplicates are taken as they
    ///              are.
    /// @throws foundation::core::except::Exception<OSTRA::string::MissingNotSupported,
    ///         std::exception, void>  if a name is missing; no node changes.
    /// @throws std::length_error  if the memory needed overflows 64 bits; no node changes.
    /// @throws std::bad_alloc     if memory is exhausted; no node changes.
    /// The document is only needed if there is an object among the nodes.
    /// Cost: linear in nodes times keys; each name is converted once.
    TVIOJSONTREE_EXPORT void set_keys(const Tarvel::String::String& keys);

    /// @return an n x 1 column (class uint8): the `rapidjson::Type` of every node. *Parallel.*
    /// @throws std::bad_alloc
    /// Cost: linear in the nodes.
    TVIOJSONTREE_EXPORT NumericArray<std::uint8_t> get_types() const;

    /// Replaces nodes by empty values of the given types, even if the type stays the same: null,
    /// false, true, an empty object, array or string, or the number 0 (of class `Double`).
    /// *Parallel.*
    ///
    /// @param types  `rapidjson::Type` codes, of any shape, taken in element order; code i is for
    ///               node i, surplus codes and nodes are left alone.
    /// @throws std::invalid_argument  if there are nodes and the handle is null; nothing
    /// changes.
    /// @throws std::out_of_range      for a code outside 0 to 6 that would be used, naming code and
    ///                                position; nothing changes.
    /// @throws std::bad_alloc         if memory is exhausted; nothing changes.
    /// Cost: linear in the nodes; no memory of the document is used.
    TVIOJSONTREE_EXPORT void set_types(const NumericArray<std::uint8_t>& types);
};

} // namespace ostra::io::json::tree
