/// The whole way: from a file on disk to six columns in host arrays, against the same job on two
/// other libraries. Each side runs in a process of its own, so that its heap is fresh and its peak
/// memory is its own.

#include "generated_data.hpp"
#include "own_process.hpp"

#include <nlohmann/json.hpp>
#include <simdjson.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

namespace {

using bench::measure;
using bench::Report;
using bench::require;
using bench::tree::NodeVector;

/// What all sides have to come up with: two columns of integers, three of doubles (one with missing
/// values), one of strings, which stand in the host's array on all of them.
struct Columns {
    std::vector<std::uint64_t> id;
    std::vector<double> seq;
    std::vector<double> x;
    std::vector<double> y;
    std::vector<double> depth;
    bench::tree::StringArray name;

    /// A hash of every bit, equal for equal columns.
    std::size_t signature() const {
        std::string bytes;
        const auto append = [&bytes](const auto& column) {
            bytes += std::to_string(column.size()) + ':';
            bytes.append(reinterpret_cast<const char*>(column.data()),
                         column.size() * sizeof(column[0]));
        };
        append(id);
        append(seq);
        append(x);
        append(y);
        append(depth);
        for (std::size_t i = 0; i < name->size(); ++i) {
            append(name->get(i).value());
        }
        return std::hash<std::string>()(bytes);
    }
};

bench::tree::StringArray makeStrings(std::size_t count) {
    return Tarvel::String::make_String(2, std::array<std::size_t, 2>{count, 1}.data());
}

/// The library's result stays where it is, in host arrays; they are copied for the check only.
struct HostColumns {
    std::array<bench::tree::NodeVectorData, 6> data;

    Columns columns() const {
        const auto doubles = [this](std::size_t k) {
            const auto& array = *data[k].doubles;
            return std::vector<double>(array.data(), array.data() + array.size());
        };
        Columns result;
        // Identifiers: those that a double holds exactly travel as doubles.
        const auto& lossy = *data[0].uint64s;
        const auto& exact = *data[0].doubles;
        std::size_t nextLossy = 0;
        std::size_t nextExact = 0;
        for (std::size_t i = 0; i < data[0].number_types->size(); ++i) {
            result.id.push_back(data[0].number_types->data()[i] == 1
                                    ? lossy.data()[nextLossy++]
                                    : static_cast<std::uint64_t>(exact.data()[nextExact++]));
        }
        result.seq = doubles(1);
        result.x = doubles(2);
        result.y = doubles(3);
        result.depth = doubles(4);
        result.name = makeStrings(data[5].strings->size());
        for (std::size_t i = 0; i < data[5].strings->size(); ++i) {
            result.name->set(i, data[5].strings->get(i).value());
        }
        return result;
    }
};

HostColumns withLibrary(const std::string& path) {
    const auto dom = bench::tree::make_dom_ptr();
    *dom = bench::tree::read_file(fl::i18n::utf8_to_ustring(path), {});
    const NodeVector records = NodeVector(dom, {&dom->document}).get_children();
    HostColumns result;
    const char* const selectors[] = {"/id", "/seq", "/pos/x", "/pos/y", "/pos/depth", "/name"};
    for (std::size_t k = 0; k < result.data.size(); ++k) {
        result.data[k] = records.get_children(selectors[k]).first.get_data();
    }
    return result;
}

/// One pass over the document: the way its authors recommend.
Columns withSimdjson(const std::string& path) {
    simdjson::dom::parser parser;
    Columns result;
    const simdjson::dom::array records = parser.load(path).get_array();
    result.name = makeStrings(records.size());
    std::size_t i = 0;
    for (const simdjson::dom::object record : records) {
        result.id.push_back(record["id"].get_uint64());
        result.seq.push_back(static_cast<double>(record["seq"].get_uint64().value()));
        const simdjson::dom::object pos = record["pos"];
        result.x.push_back(pos["x"].get_double());
        result.y.push_back(pos["y"].get_double());
        double depth = 0;
        if (pos["depth"].get(depth) == simdjson::SUCCESS) {
            result.depth.push_back(depth);
        }
        const std::string_view name = record["name"];
        result.name->set(i++, std::u16string(name.begin(), name.end()));
    }
    return result;
}

Columns withNlohmann(const std::string& path) {
    std::ifstream in(path);
    const nlohmann::json document = nlohmann::json::parse(in);
    Columns result;
    result.name = makeStrings(document.size());
    std::size_t i = 0;
    for (const auto& record : document) {
        result.id.push_back(record["id"].get<std::uint64_t>());
        result.seq.push_back(record["seq"].get<double>());
        const auto& pos = record["pos"];
        result.x.push_back(pos["x"].get<double>());
        result.y.push_back(pos["y"].get<double>());
        if (const auto depth = pos.find("depth"); depth != pos.end()) {
            result.depth.push_back(depth->get<double>());
        }
        const auto& name = record["name"].get_ref<const std::string&>();
        result.name->set(i++, std::u16string(name.begin(), name.end()));
    }
    return result;
}

Report runSide(const std::string& side, const std::string& path) {
    const auto signature = [](const Columns& columns) { return columns.signature(); };
    const auto hostSignature = [](const HostColumns& columns) {
        return columns.columns().signature();
    };
    if (side == "library") {
        return measure([&] { return withLibrary(path); }, hostSignature);
    }
    if (side == "library, one thread") {
        return bench::onOneThread(
            [&] { return measure([&] { return withLibrary(path); }, hostSignature); });
    }
    if (side == "simdjson") {
        return measure([&] { return withSimdjson(path); }, signature);
    }
    require(side == "nlohmann", "name of a side");
    return measure([&] { return withNlohmann(path); }, signature);
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--side") == 0) {
        return bench::tell(runSide(argv[2], argv[3]));
    }
    constexpr std::size_t recordCount = 500'000;
    constexpr int rounds = 16; // over two minutes: neighbours come and go
    const std::string path = bench::temporaryPath().string();
    std::ofstream(path, std::ios::binary) << bench::records(recordCount);
    const char* const sides[] = {"library", "library, one thread", "simdjson", "nlohmann"};
    const auto best = bench::bestOf(argv[0], sides, path, rounds);
    std::filesystem::remove(path);
    std::printf("{\"benchmarks\": [\n");
    bench::printRuns("end to end/file to six columns", sides, best, true);
    std::printf("]}\n");
    return 0;
}
