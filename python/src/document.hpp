#pragma once

/// Documents and node vectors as Python holds them.

#include "document_lock.hpp"
#include "gil.hpp"
#include "options.hpp"

#include <ostra/io/json/tree/node_vector.hpp>

#include <nanobind/nanobind.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace ostrajson {

namespace nb = nanobind;
namespace core = ostra::io::json::core;
namespace tree = ostra::io::json::tree;

/// A document, shared by its Python object and by the nodes that were derived from it.
struct Document {
    std::shared_ptr<tree::DOM> dom = tree::make_dom_ptr();
    DocumentLock lock;
    std::uint64_t generation = 0; ///< goes up when values move or leave the document
};

/// Whether the nodes of a vector still are values of the document: those of the current generation.
///
/// A change that moves or drops values spares the vector that it is called on and those that this
/// one was derived from. Their nodes hold the changed ones or are them, and lie inside none of
/// them: every vector comes from the root by steps (children, lookups, picking), and no step leads
/// from nodes of which none lies inside another to nodes of which one does.
struct Lineage {
    std::uint64_t generation;
    std::shared_ptr<Lineage>
        parent;     ///< null at the root, which is always valid, and past the limit
    unsigned depth; ///< of parents, bounded lest long chains be kept alive

    static constexpr unsigned depthLimit = 256;
};

/// A node vector with what keeps it from dangling. The vector never changes.
struct Nodes {
    std::shared_ptr<Document> document;
    tree::NodeVector vector;
    std::shared_ptr<Lineage> lineage; ///< null for the root

    static Nodes root(std::shared_ptr<Document> document);

    /// The generation of the document of which the nodes are.
    std::uint64_t generation() const {
        return lineage == nullptr ? document->generation : lineage->generation;
    }

    /// Nodes that were derived from these.
    /// @param generation  of the document when they were: of stale nodes come stale ones, and other
    ///                    threads, or code that Python runs as it likes, may change it any time.
    Nodes derive(tree::NodeVector derived, std::uint64_t generation) const;

    std::size_t size() const { return vector.nodes.size(); }
};

/// Below that many values the work of a call takes less time than other threads of Python, once
/// they have the GIL, would keep it: it stays with the caller.
inline constexpr std::size_t worthReleasing = 256;
inline constexpr std::size_t muchWork = SIZE_MAX;

/// Reads a document while it exists: holds its lock, and not the GIL if `work` is worth it.
class Reading {
public:
    /// @param work  values that the operation looks at, roughly.
    /// @throws nb::python_error  StaleNodesError if the nodes are stale; see also DocumentLock.
    Reading(const Nodes& nodes, std::size_t work);
    Reading(Document& document, std::size_t work);
    ~Reading();
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    /// The document's generation while it is being read.
    std::uint64_t generation() const { return document_.generation; }

private:
    Document& document_;
    std::optional<GilReleased> released_;
};

/// Changes a document while it exists.
class Writing {
public:
    /// @param node  is asked for every node whether the change moves or drops values inside it.
    template <class Restructures>
    Writing(const Nodes& nodes, const Restructures& restructures);
    ~Writing();
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;

private:
    void begin();

    const Nodes& nodes_;
    std::optional<GilReleased> released_;
    bool restructured_ = false;
};

template <class Restructures>
Writing::Writing(const Nodes& nodes, const Restructures& restructures) : nodes_(nodes) {
    begin();
    for (const rapidjson::Value* node : nodes.vector.nodes) {
        if (restructures(*node)) {
            restructured_ = true;
            break;
        }
    }
}

/// Whether anything lies inside the value.
inline bool hasEntries(const rapidjson::Value& value) {
    return (value.IsArray() && !value.Empty()) || (value.IsObject() && !value.ObjectEmpty());
}

/// Parses a UTF-8 text, without the GIL if that is worth it.
/// @param name  names the source in errors; may be empty.
/// @throws nb::python_error  JSONDecodeError
std::shared_ptr<Document> parseText(std::string_view text, const std::string& name,
                                    const TextOptions& options);

// The parts of the module; each adds its classes and functions.
void bindDocument(nb::module_& module);
void bindNodes(nb::module_& module);
void bindNodeContent(nb::class_<Nodes>& nodes);
void bindColumns(nb::module_& module, nb::class_<Nodes>& nodes);
void bindReading(nb::module_& module);
void bindCursor(nb::module_& module);
void bindEveryday(nb::module_& module);

} // namespace ostrajson
