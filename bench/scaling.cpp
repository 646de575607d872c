/// How cost grows: node vector operations at a thousand to four million nodes, on one and two
/// threads, and the overhead of a call on a single node.

#include "side.hpp"

#include <tbb/global_control.h>

#include <array>
#include <string>

namespace {

using bench::require;
using bench::tree::NodeVector;
using rapidjson::Value;

constexpr std::size_t largest = std::size_t{1} << 22U;

/// Small records: {"a": {"x": i}, "t": [i, i], "s": "text i"}.
std::shared_ptr<bench::tree::DOM> document(std::size_t count) {
    std::string text = "[";
    for (std::size_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        text += i == 0 ? "" : ",";
        for (const std::string_view piece : std::initializer_list<std::string_view>{
                 R"({"a":{"x":)", number, R"(.5},"t":[)", number, ",", number, R"(],"s":"text )",
                 number, "\"}"}) {
            text += piece;
        }
    }
    text += "]";
    auto dom = bench::tree::make_dom_ptr();
    *dom = bench::tree::read_string(fl::i18n::utf8_to_ustring(text), {});
    return dom;
}

/// Registers an operation at every size and number of threads, named "scaling/NAME/THREADS/NODES".
/// @param nodesOf  the nodes to work on, of the records.
/// @param run      the operation; may be repeated on the same nodes.
template <class NodesOf, class Run>
void scale(const std::string& name, const NodeVector& records, const NodesOf& nodesOf,
           const Run& run) {
    for (const std::size_t threads : {1U, 2U}) {
        for (std::size_t count = 1; count <= largest; count = count == 1 ? 1024 : count * 4) {
            const auto nodes = std::make_shared<NodeVector>(nodesOf(NodeVector(
                records.dom, {records.nodes.begin(),
                              records.nodes.begin() + static_cast<std::ptrdiff_t>(count)})));
            benchmark::RegisterBenchmark(
                ("scaling/" + name + "/" + std::to_string(threads) + "/" + std::to_string(count))
                    .c_str(),
                [nodes, run, threads](benchmark::State& state) {
                    const tbb::global_control limit(tbb::global_control::max_allowed_parallelism,
                                                    threads);
                    for (auto _ : state) {
                        run(*nodes);
                    }
                })
                ->Unit(benchmark::kMicrosecond)
                ->UseRealTime()
                ->MinTime(0.02)
                ->Repetitions(3);
        }
    }
}

/// Compares what every operation gives for some records with what their text says.
void checkAnswers() {
    constexpr std::size_t count = 1000;
    const auto dom = document(count);
    const NodeVector records = NodeVector(dom, {&dom->document}).get_children();
    require(records.nodes.size() == count, "records");
    const NodeVector numbers = records.get_children("/a/x").first;
    const NodeVector lists = records.get_children("/t").first;
    const NodeVector children = records.get_children();
    require(children.nodes.size() == 3 * count, "get_children");
    require(records.get_children_by_node_name("x").first.nodes == numbers.nodes,
            "get_children_by_node_name");
    require(records.get_children_exhaustive("/t").first.nodes == lists.get_children().nodes,
            "get_children_exhaustive");
    require(records.get_keys()->size() == 3, "get_keys");
    const auto types = lists.get_types();
    const auto doubles = numbers.get_data().doubles;
    const auto strings = records.get_children("/s").first.get_data().strings;
    require(doubles->size() == count && strings->size() == count, "get_data");
    for (std::size_t i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        require(types->data()[i] == rapidjson::kArrayType, "get_types");
        require(children.nodes[3 * i + 1] == lists.nodes[i], "order of get_children");
        require(doubles->data()[i] == static_cast<double>(i) + 0.5, "get_data, numbers");
        require(*strings->get(i) == fl::i18n::utf8_to_ustring("text " + number),
                "get_data, strings");
    }
    const std::u16string before = bench::tree::write_string(*dom, {});
    NodeVector(numbers).set_data(numbers.get_data());
    require(bench::tree::write_string(*dom, {}) == before, "set_data");
    NodeVector(lists).set_number_of_children(1);
    require(lists.get_children().nodes.size() == count, "set_number_of_children");
    NodeVector(lists).set_types(lists.get_types());
    require(lists.get_children().nodes.empty(), "set_types");
}

} // namespace

int main(int argc, char** argv) {
    checkAnswers();
    const auto recordsOf = [](const std::shared_ptr<bench::tree::DOM>& dom) {
        return NodeVector(dom, {&dom->document}).get_children();
    };
    const NodeVector records = recordsOf(document(largest));
    const NodeVector changed = recordsOf(document(largest)); // by the operations that write
    const auto same = [](const NodeVector& nodes) { return nodes; };
    const auto under = [](const char* selector) {
        return [selector](const NodeVector& nodes) { return nodes.get_children(selector).first; };
    };
    const auto keep = [](auto&& result) { benchmark::DoNotOptimize(result); };

    scale("get_children", records, same, [&](NodeVector& n) { keep(n.get_children()); });
    scale("get_children(selector)", records, same,
          [&](NodeVector& n) { keep(n.get_children("/a/x")); });
    scale("get_children_exhaustive", records, same,
          [&](NodeVector& n) { keep(n.get_children_exhaustive("/t")); });
    scale("get_types", records, under("/a/x"), [&](NodeVector& n) { keep(n.get_types()); });
    scale("get_data, numbers", records, under("/a/x"), [&](NodeVector& n) { keep(n.get_data()); });
    scale("get_data, strings", records, under("/s"), [&](NodeVector& n) { keep(n.get_data()); });
    scale("get_keys", records, same, [&](NodeVector& n) { keep(n.get_keys()); });
    scale("get_children_by_node_name", records, same,
          [&](NodeVector& n) { keep(n.get_children_by_node_name("x")); });
    // Arrays alternate between two lengths within their capacity.
    scale("set_number_of_children", changed, under("/t"), [](NodeVector& n) {
        n.set_number_of_children(1);
        n.set_number_of_children(2);
    });
    scale("get_data and set_data, numbers", changed, under("/a/x"),
          [](NodeVector& n) { n.set_data(n.get_data()); });
    scale("get_types and set_types", changed, under("/t"),
          [](NodeVector& n) { n.set_types(n.get_types()); });
    return bench::runSides(argc, argv);
}
