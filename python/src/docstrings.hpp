#pragma once

/// What `help` says about the classes and functions that are written in C++.

namespace ostrajson::doc {

inline constexpr const char* document =
    R"(A JSON document: a tree of values, read from a text and changed in place.

Made by `read` and `parse`. Any number of threads may use it: those that read do so together, one
that changes it is alone. Pickles as its JSON text.)";

inline constexpr const char* root =
    R"(The root, as Nodes of length 1. It is always valid, whatever changes.)";

inline constexpr const char* parse = R"(Parse a JSON text held in memory.

Args:
    text: str, bytes, or any contiguous buffer (UTF-8).
    name: Names the source in errors.
    lines: Read JSON Lines: the root is the array of all lines' values.
    comments: Allow // and /* */ comments.
    trailing_commas: Allow a comma before a closing bracket.
    allow_nan: Allow the words NaN, Infinity and -Infinity.
    big_int: What integers beyond 64 bits become: the nearest "float", or an "error".

Raises:
    JSONDecodeError: If the text is not JSON (RFC 8259).
    UnicodeEncodeError: If a str holds a lone surrogate.)";

inline constexpr const char* documentDumps = R"(Return the document as JSON text.

Args:
    indent: Spaces, or a str of spaces or tabs, per level; None for a compact text.
    allow_nan: Whether to write NaN and infinities as words instead of null.
    lines: Whether to write JSON Lines: each element of the root on a line of its own.)";

inline constexpr const char* documentDumpb =
    R"(Return the document as UTF-8 JSON text; as `dumps`.)";

inline constexpr const char* toPython =
    R"(Return the document as plain Python objects, as `loads` does.)";

inline constexpr const char* nodes =
    R"(An ordered set of nodes (values) of one document, for operations on all of them at once.

Has a length, iterates over its nodes (as Nodes of length 1) and takes NumPy's indices: an int, a
slice, a mask, an array of positions. A str is a JSON Pointer: `nodes["/a/b"]` are the nodes that it
finds, and `nodes["/a/b"] = values` writes them. Keeps its document alive.

A change that moves or drops values (resize, set_keys, set_kinds, set_data, set of containers) makes
other nodes stale: using them raises StaleNodesError. The nodes on which it was called stay valid, and
so do those that they were derived from, and the root.)";

inline constexpr const char* nodesDocument = R"(The document of the nodes.)";
inline constexpr const char* stale =
    R"(Whether a later change of the document moved or dropped values, so that these cannot be used.)";

inline constexpr const char* children =
    R"(Return the children of all nodes: members' values of objects, elements of arrays, in order.)";

inline constexpr const char* lookup =
    R"(Look up one descendant of each node by a JSON Pointer (RFC 6901).

The first member with a key counts. The empty pointer finds the nodes themselves.

Returns:
    The nodes found, and an array of bool: for each of these nodes, whether it has none.

Raises:
    PointerError: If the text is not a JSON Pointer.)";

inline constexpr const char* byName =
    R"(Look up one descendant of each node by a key, wherever it is below the node.

The first one depth first in document order counts.

Returns:
    The nodes found, and an array of bool: for each of these nodes, whether it has none.)";

inline constexpr const char* pointerTo =
    R"(Return the JSON Pointer to what `by_name` finds, in the first node that has such a descendant.

None if no node has one that a pointer leads to.)";

inline constexpr const char* flatten =
    R"(Look up one descendant of each node, and flatten it to scalars.

A scalar stands for itself, an array for all scalars in it and in its nested arrays, in order; objects
are dropped.

Returns:
    The scalars, those of the first node first, and how many each node contributed (int64).

Raises:
    PointerError: If the text is not a JSON Pointer.)";

inline constexpr const char* resize =
    R"(Make every array among the nodes have exactly count elements.

Appends nulls, or drops elements at the end. Other nodes are left alone.)";

inline constexpr const char* toList =
    R"(Return the nodes' values as plain Python objects, as `loads` does.)";

inline constexpr const char* keys = R"(Return the keys of all objects among the nodes together.

Every key as many times as in the object where it occurs most often, in order of appearance.)";

inline constexpr const char* setKeys =
    R"(Give every object among the nodes exactly these members, all null. Other nodes are left alone.)";

inline constexpr const char* kinds = R"(Return the Kind of every node, as an array of uint8.)";

inline constexpr const char* setKinds = R"(Replace the nodes by empty values of the given kinds.

Args:
    kinds: A Kind (or its number) for each node, or one for all. A number becomes 0.0.)";

inline constexpr const char* getData =
    R"(Return kinds, number classes, texts and numbers of the nodes, as NodeData.)";

inline constexpr const char* setData =
    R"(Write NodeData into the nodes: all kinds first, then the values in node order.

Raises:
    ValueError: If a kind is invalid, or a column is shorter than the nodes need: nothing changes; or a
        text that a node needs is None: the values of earlier nodes stay written.)";

inline constexpr const char* cursor =
    R"(A position in a document of its own, and what lies below it as flat typed lists.

The level is what lists and sets are about: the members' values of an object, the elements of an
array, or any other value by itself. Every number has one class: double (or an integer that a double
holds exactly), uint64 (any other from 0 on), int64 (any other negative one). A set visits the same
entries in the same order as the list of its name; surplus values are ignored, and entries that no
value is left for stay as they are.

Args:
    text: As of `parse`, and so are the others.)";

inline constexpr const char* cd = R"(Go to the child at an index (from 0).

On an object or array one level down in any case, so that every cd pairs with one up.)";
inline constexpr const char* up = R"(Go levels up; at the top, nothing happens.)";
inline constexpr const char* find = R"(Go to the value of the member with this key, if there is one.

Args:
    name: The key.
    recursive: Whether to search all that is below, depth first in document order.

Returns:
    Whether it was found; if not, the cursor has not moved.)";
inline constexpr const char* go = R"(Go along a JSON Pointer; every token is one level.

Returns:
    Whether all of it is there; if not, the cursor has not moved.

Raises:
    PointerError: If the text is not a JSON Pointer.)";
inline constexpr const char* kind = R"(The Kind of the current value, as a number.)";
inline constexpr const char* setKind = R"(Replace the current value by an empty one of a Kind.)";
inline constexpr const char* cursorKeys =
    R"(Return the keys of the current object, repeated ones included.)";
inline constexpr const char* cursorSetKeys =
    R"(Replace the current value by an object with these members, all null.)";
inline constexpr const char* doubles = R"(Return the numbers of class double.)";
inline constexpr const char* uint64s = R"(Return the numbers of class uint64.)";
inline constexpr const char* int64s = R"(Return the numbers of class int64.)";
inline constexpr const char* strings = R"(Return the strings.)";
inline constexpr const char* cursorKinds = R"(Return the Kind of every entry.)";
inline constexpr const char* numberTypes = R"(Return the NumberClass of every number.)";
inline constexpr const char* setDoubles = R"(Replace the numbers of class double.)";
inline constexpr const char* setUint64s = R"(Replace the numbers of class uint64.)";
inline constexpr const char* setInt64s = R"(Replace the numbers of class int64.)";
inline constexpr const char* setStrings = R"(Replace the strings.)";
inline constexpr const char* cursorSetKinds =
    R"(Replace entries by empty values; an array grows to the number of kinds first.)";
inline constexpr const char* setNumberTypes =
    R"(Replace numbers by placeholders of the given NumberClass, for the sets to find.)";
inline constexpr const char* cursorDumps =
    R"(Return the current value as JSON text; arguments as of Document.dumps.)";
inline constexpr const char* cursorWrite =
    R"(Write the current value into a file; a file that cannot be written stays as it was.)";

inline constexpr const char* loads =
    R"(Parse a JSON text into plain Python objects, as json.loads does.

Of a repeated key the first value counts. Numbers beyond the range of a double and lone surrogates are
errors.

Args:
    text: str, bytes, or any contiguous buffer (UTF-8).
    allow_nan: Allow the words NaN, Infinity and -Infinity.
    big_int: What integers beyond 64 bits become: the nearest "float", or an "error".

Raises:
    JSONDecodeError: If the text is not JSON (RFC 8259).)";

inline constexpr const char* dumps = R"(Return an object as JSON text.

Takes dict, list, tuple, str, int, float, bool and None, NumPy's arrays (as nested lists; masked
elements as null) and scalars, datetime64 (as ISO 8601), Document and Nodes; Series, columns and
frames of pandas, polars and whatever else has Arrow's PyCapsule interface, frames as arrays of one
object a row, times as ISO 8601. Doubles have the fewest digits that read back to the same bits.
Numbers of an array, and all that comes by Arrow, stand on one line.

Args:
    obj: The object.
    indent: Spaces, or a str of spaces or tabs, per level; None for a compact text.
    sort_keys: Whether to write members in the order of their keys.
    allow_nan: Whether to write NaN and infinities as words instead of null.
    default: Makes any other object into one that can be written.

Raises:
    TypeError: If an object cannot be written.
    ValueError: If an object holds itself.)";

inline constexpr const char* dumpb = R"(Return an object as UTF-8 JSON text; as `dumps`.)";

} // namespace ostrajson::doc
