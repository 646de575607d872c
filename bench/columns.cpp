/// Columns in and out of half a million records against serial loops that do the same job.

#include "generated_data.hpp"
#include "side.hpp"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_map>

namespace {

using bench::require;
using bench::side;
using bench::tree::NodeVector;
using rapidjson::Value;

constexpr std::size_t recordCount = 500'000;

NodeVector column(const NodeVector& records, const char* selector) {
    return records.get_children(selector).first;
}

void compareTypes(const NodeVector& nodes, const std::string& name) {
    const auto loop = [&nodes] {
        std::vector<std::uint8_t> types(nodes.nodes.size());
        for (std::size_t i = 0; i < types.size(); ++i) {
            types[i] = static_cast<std::uint8_t>(nodes.nodes[i]->GetType());
        }
        return types;
    };
    const auto types = nodes.get_types();
    const auto expected = loop();
    require(std::equal(expected.begin(), expected.end(), types->data()), "get_types");
    side("columns/get_types, " + name + "/library", [&nodes] { return nodes.get_types(); });
    side("columns/get_types, " + name + "/serial", loop);
}

/// Resetting nodes twice is the same as once, so the same nodes serve again and again.
void compareSetTypes(NodeVector& nodes, const bench::tree::NumericArray<std::uint8_t>& types,
                     const std::string& name) {
    const auto library = [&] {
        nodes.set_types(types);
        return nodes.nodes.size();
    };
    const auto loop = [&] {
        for (std::size_t i = 0; i < nodes.nodes.size(); ++i) {
            *nodes.nodes[i] = Value(static_cast<rapidjson::Type>(types->data()[i]));
        }
        return nodes.nodes.size();
    };
    library();
    const auto after = nodes.get_types();
    require(std::equal(types->data(), types->data() + types->size(), after->data()), "set_types");
    side("columns/set_types, " + name + "/library", library);
    side("columns/set_types, " + name + "/serial", loop);
}

/// The columns of numbers made by the plain two passes: count, then fill.
struct NumberColumns {
    std::vector<std::uint8_t> types;
    std::vector<std::uint8_t> classes;
    std::vector<double> doubles;
    std::vector<std::uint64_t> uint64s;
    std::vector<std::int64_t> int64s;
};

int classOf(const Value& value) {
    if (!value.IsNumber()) {
        return -1;
    }
    return value.IsLosslessDouble() ? 0 : value.IsUint64() ? 1 : 2;
}

NumberColumns twoPasses(const std::vector<Value*>& nodes) {
    NumberColumns columns;
    std::size_t counts[3] = {};
    columns.types.resize(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        columns.types[i] = static_cast<std::uint8_t>(nodes[i]->GetType());
        if (const int c = classOf(*nodes[i]); c >= 0) {
            ++counts[c];
        }
    }
    columns.classes.resize(counts[0] + counts[1] + counts[2]);
    columns.doubles.resize(counts[0]);
    columns.uint64s.resize(counts[1]);
    columns.int64s.resize(counts[2]);
    std::size_t next[4] = {};
    for (const Value* node : nodes) {
        const int c = classOf(*node);
        if (c < 0) {
            continue;
        }
        columns.classes[next[3]++] = static_cast<std::uint8_t>(c);
        if (c == 0) {
            columns.doubles[next[0]++] = node->GetDouble();
        } else if (c == 1) {
            columns.uint64s[next[1]++] = node->GetUint64();
        } else {
            columns.int64s[next[2]++] = node->GetInt64();
        }
    }
    return columns;
}

void compareNumbers(const NodeVector& nodes, const std::string& name) {
    const auto data = nodes.get_data();
    const NumberColumns plain = twoPasses(nodes.nodes);
    require(data.doubles->size() == plain.doubles.size() &&
                std::equal(plain.doubles.begin(), plain.doubles.end(), data.doubles->data()) &&
                data.uint64s->size() == plain.uint64s.size() &&
                std::equal(plain.uint64s.begin(), plain.uint64s.end(), data.uint64s->data()),
            "get_data");
    side("columns/get_data " + name + "/library", [&nodes] { return nodes.get_data(); });
    side("columns/get_data " + name + "/serial", [&nodes] { return twoPasses(nodes.nodes); });
}

void compareStrings(const NodeVector& nodes) {
    const auto loop = [&nodes] {
        std::vector<std::u16string> texts;
        texts.reserve(nodes.nodes.size());
        for (const Value* node : nodes.nodes) {
            const char* text = node->GetString();
            texts.emplace_back(text, text + node->GetStringLength()); // right for ASCII only
        }
        return texts;
    };
    const auto texts = loop();
    const auto data = nodes.get_data();
    for (std::size_t i = 0; i < texts.size(); ++i) {
        require(*data.strings->get(i) == texts[i], "get_data strings");
    }
    side("columns/get_data strings/library", [&nodes] { return nodes.get_data(); });
    side("columns/get_data strings/bare loop", loop);
}

/// The union of the keys by hash maps, written plainly.
std::vector<std::string_view> plainKeys(const std::vector<Value*>& nodes) {
    std::vector<std::string_view> order;
    std::unordered_map<std::string_view, std::size_t> index;
    for (const Value* node : nodes) {
        if (!node->IsObject()) {
            continue;
        }
        std::unordered_map<std::string_view, std::size_t> counts;
        counts.reserve(index.size());
        for (const auto& member : node->GetObject()) {
            const std::string_view name(member.name.GetString(), member.name.GetStringLength());
            const bool isNew = index.emplace(name, 1).second;
            const auto [count, first] = counts.emplace(name, 1);
            if (isNew) {
                order.push_back(name);
            } else if (!first && index[name] < ++count->second) {
                ++index[name];
                order.push_back(name);
            }
        }
    }
    return order;
}

void compareGetKeys(const NodeVector& nodes) {
    const auto ours = nodes.get_keys();
    const auto plain = plainKeys(nodes.nodes);
    require(ours->size() == plain.size(), "get_keys");
    for (std::size_t i = 0; i < plain.size(); ++i) {
        require(fl::i18n::ustring_to_utf8(std::u16string(*ours->get(i))) == plain[i], "get_keys");
    }
    side("columns/get_keys/library", [&nodes] { return nodes.get_keys(); });
    side("columns/get_keys/hash maps", [&nodes] { return plainKeys(nodes.nodes); });
}

/// Objects get new members in the pool each time, so each run works on a fresh document.
void compareSetKeys() {
    const std::u16string names[] = {u"id", u"name", u"a key longer than 21 bytes",
                                    u"x",  u"y",    u"z"};
    const std::size_t dims[] = {std::size(names), 1};
    static const auto keys = Tarvel::String::make_String(2, dims);
    for (std::size_t i = 0; i < std::size(names); ++i) {
        keys->set(i, names[i]);
    }
    const auto fresh = [] {
        const auto dom = bench::tree::make_dom_ptr();
        dom->document.SetArray();
        for (std::size_t i = 0; i < recordCount; ++i) {
            dom->document.PushBack(Value(rapidjson::kObjectType), dom->document.GetAllocator());
        }
        return NodeVector(dom, {&dom->document}).get_children();
    };
    const auto library = [](NodeVector& nodes) { nodes.set_keys(*keys); };
    const auto loop = [](NodeVector& nodes) {
        auto& pool = nodes.dom->document.GetAllocator();
        Value pattern(rapidjson::kObjectType);
        for (std::size_t i = 0; i < keys->size(); ++i) {
            const std::string name = fl::i18n::ustring_to_utf8(std::u16string(*keys->get(i)));
            pattern.AddMember(Value(name.data(), name.size(), pool), Value(), pool);
        }
        for (Value* node : nodes.nodes) {
            *node = Value(pattern, pool);
        }
    };
    NodeVector a = fresh();
    NodeVector b = fresh();
    library(a);
    loop(b);
    require(a.dom->document == b.dom->document, "set_keys");
    bench::freshSide("columns/set_keys/library", fresh, library);
    bench::freshSide("columns/set_keys/serial", fresh, loop);
}

} // namespace

int main(int argc, char** argv) {
    const NodeVector records = bench::elementsOf(bench::records(recordCount));
    const NodeVector everything = records.get_children();
    compareTypes(everything, "all values");
    const NodeVector numbers = column(records, "/pos/x");
    compareNumbers(numbers, "doubles");
    const NodeVector identifiers = column(records, "/id");
    compareNumbers(identifiers, "uint64s");
    const NodeVector names = column(records, "/name");
    compareStrings(names);
    compareTypes(names, "one column");
    compareGetKeys(records);
    compareSetKeys();
    const NodeVector more = bench::elementsOf(bench::records(recordCount));
    NodeVector emptied = more.get_children();
    const auto types = emptied.get_types();
    NodeVector emptiedColumn = column(more, "/name");
    const auto columnTypes = emptiedColumn.get_types();
    compareSetTypes(emptiedColumn, columnTypes, "one column");
    compareSetTypes(emptied, types, "all values");
    return bench::runSides(argc, argv);
}
