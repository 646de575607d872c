/// Lookups over half a million records against plain loops over the same text in three libraries.

#include "generated_data.hpp"
#include "side.hpp"

#include <boost/json.hpp>
#include <simdjson.h>

#include <algorithm>
#include <functional>

namespace {

using bench::require;
using bench::side;
using bench::tree::NodeVector;
using rapidjson::Value;

constexpr std::size_t recordCount = 500'000;

/// The whole job of a lookup: the values found, and a mask of the misses.
template <class Found>
struct Lookup {
    std::vector<Found> found;
    std::vector<bool> missing;
};

auto rapidjsonLookup(const std::vector<Value*>& nodes, const char* selector) {
    const rapidjson::Pointer pointer(selector);
    Lookup<Value*> result;
    result.found.reserve(nodes.size());
    result.missing.reserve(nodes.size());
    for (Value* node : nodes) {
        Value* value = pointer.Get(*node);
        result.missing.push_back(value == nullptr);
        if (value != nullptr) {
            result.found.push_back(value);
        }
    }
    return result;
}

auto simdjsonLookup(const std::vector<simdjson::dom::element>& nodes, const char* selector) {
    Lookup<simdjson::dom::element> result;
    result.found.reserve(nodes.size());
    result.missing.reserve(nodes.size());
    for (const simdjson::dom::element& node : nodes) {
        simdjson::dom::element value;
        const bool missing = node.at_pointer(selector).get(value) != simdjson::SUCCESS;
        result.missing.push_back(missing);
        if (!missing) {
            result.found.push_back(value);
        }
    }
    return result;
}

auto boostLookup(const boost::json::array& nodes, const char* selector) {
    Lookup<const boost::json::value*> result;
    result.found.reserve(nodes.size());
    result.missing.reserve(nodes.size());
    for (const boost::json::value& node : nodes) {
        boost::json::error_code error;
        const boost::json::value* value = node.find_pointer(selector, error);
        result.missing.push_back(value == nullptr);
        if (value != nullptr) {
            result.found.push_back(value);
        }
    }
    return result;
}

void compareLookups(const NodeVector& nodes, const std::vector<simdjson::dom::element>& simdNodes,
                    const boost::json::array& boostNodes, const char* selector) {
    const auto plain = rapidjsonLookup(nodes.nodes, selector);
    const auto ours = nodes.get_children(selector);
    require(ours.first.nodes == plain.found, selector);
    require(std::equal(plain.missing.begin(), plain.missing.end(), ours.second->data()), selector);
    require(simdjsonLookup(simdNodes, selector).missing == plain.missing, selector);
    require(boostLookup(boostNodes, selector).missing == plain.missing, selector);

    const std::string name = std::string("lookup/") + selector;
    side(name + "/library", [&nodes, selector] { return nodes.get_children(selector); });
    side(name + "/RapidJSON",
         [&nodes, selector] { return rapidjsonLookup(nodes.nodes, selector); });
    side(name + "/simdjson",
         [&simdNodes, selector] { return simdjsonLookup(simdNodes, selector); });
    side(name + "/Boost.JSON",
         [&boostNodes, selector] { return boostLookup(boostNodes, selector); });
}

/// The flattening written the obvious way.
struct Flat {
    std::vector<Value*> leaves;
    std::vector<std::uint64_t> counts;
};

void flatten(Value& value, std::vector<Value*>& leaves) {
    if (value.IsArray()) {
        for (Value& element : value.GetArray()) {
            flatten(element, leaves);
        }
    } else if (!value.IsObject()) {
        leaves.push_back(&value);
    }
}

Flat serialFlattening(const std::vector<Value*>& nodes, const char* selector) {
    const rapidjson::Pointer pointer(selector);
    Flat flat;
    for (Value* node : nodes) {
        const std::size_t before = flat.leaves.size();
        if (Value* value = pointer.Get(*node)) {
            flatten(*value, flat.leaves);
        }
        flat.counts.push_back(flat.leaves.size() - before);
    }
    return flat;
}

void compareFlattening(const NodeVector& nodes, const char* selector) {
    const Flat plain = serialFlattening(nodes.nodes, selector);
    const auto ours = nodes.get_children_exhaustive(selector);
    require(ours.first.nodes == plain.leaves, selector);
    require(std::equal(plain.counts.begin(), plain.counts.end(), ours.second->data()), selector);
    const std::string name = std::string("flattening/") + selector;
    side(name + "/library", [&nodes, selector] { return nodes.get_children_exhaustive(selector); });
    side(name + "/serial", [&nodes, selector] { return serialFlattening(nodes.nodes, selector); });
}

/// Resizing arrays; a fresh document each time, made outside the clock.
/// @param fresh  makes the arrays.
template <class Fresh>
void compareResizing(const std::string& name, const Fresh& fresh) {
    const auto library = [](NodeVector& nodes) { nodes.set_number_of_children(4); };
    const auto loop = [](NodeVector& nodes) {
        auto& pool = nodes.dom->document.GetAllocator();
        for (Value* node : nodes.nodes) {
            node->Reserve(4, pool);
            while (node->Size() < 4) {
                node->PushBack(Value(), pool);
            }
        }
    };
    NodeVector a = fresh();
    NodeVector b = fresh();
    library(a);
    loop(b);
    require(a.dom->document == b.dom->document, "set_number_of_children");
    bench::freshSide("resizing/" + name + "/library", fresh, library);
    bench::freshSide("resizing/" + name + "/serial", fresh, loop);
}

/// Arrays side by side, each with room for 16 elements.
NodeVector arraysWithRoom() {
    const auto dom = bench::tree::make_dom_ptr();
    dom->document.SetArray();
    for (std::size_t i = 0; i < recordCount; ++i) {
        Value array(rapidjson::kArrayType);
        array.PushBack(1, dom->document.GetAllocator());
        array.PushBack(2, dom->document.GetAllocator());
        dom->document.PushBack(array, dom->document.GetAllocator());
    }
    return NodeVector(dom, {&dom->document}).get_children();
}

} // namespace

int main(int argc, char** argv) {
    const std::string text = bench::records(recordCount);
    const NodeVector nodes = bench::elementsOf(text);
    simdjson::dom::parser parser;
    std::vector<simdjson::dom::element> simdNodes;
    for (const simdjson::dom::element record : parser.parse(text).get_array()) {
        simdNodes.push_back(record);
    }
    const boost::json::value boostDocument = boost::json::parse(text);

    for (const char* selector : {"/pos/x", "/pos/depth", "/tags/1", "/seq"}) {
        compareLookups(nodes, simdNodes, boostDocument.as_array(), selector);
    }
    compareFlattening(nodes, "/tags");
    compareResizing("arrays of 0 to 3 in records, to 4",
                    [&text] { return bench::elementsOf(text).get_children("/tags").first; });
    compareResizing("arrays of 2 with room for 16, to 4", arraysWithRoom);
    return bench::runSides(argc, argv);
}
