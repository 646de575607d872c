/// From a file of records, and from one of JSON Lines, to six columns, against the same job on
/// other libraries, each as its authors recommend. Each side runs in a process of its own.

#include "generated_data.hpp"
#include "own_process.hpp"

#include <ostra/io/json/columns/read_columns.hpp>

#include <nlohmann/json.hpp>
#include <simdjson.h>

#include <filesystem>
#include <functional>
#include <map>

namespace {

namespace columns = ostra::io::json::columns;
using bench::require;

/// What all sides have to come up with: flat columns, and a state for each row of the one that has
/// missing values.
struct Columns {
    std::vector<std::int64_t> id, seq;
    std::vector<double> x, y, depth;
    std::vector<std::uint8_t> depthState; // 0 present, 2 absent
    std::string name;                     // UTF-8
    std::vector<std::int64_t> nameEnds;

    void addDepth(bool present, double value) {
        depth.push_back(present ? value : 0);
        depthState.push_back(present ? 0 : 2);
    }
    void addName(std::string_view text) {
        name += text;
        nameEnds.push_back(static_cast<std::int64_t>(name.size()));
    }
};

template <class Block>
void addBytes(std::string& bytes, const Block& values, std::size_t skip = 0) {
    bytes += std::to_string(values.size() - skip) + ':';
    bytes.append(reinterpret_cast<const char*>(values.data() + skip),
                 (values.size() - skip) * sizeof(values.data()[0]));
}

std::size_t signatureOf(const Columns& c) {
    std::string bytes;
    addBytes(bytes, c.id);
    addBytes(bytes, c.seq);
    addBytes(bytes, c.x);
    addBytes(bytes, c.y);
    addBytes(bytes, c.depth);
    addBytes(bytes, c.depthState);
    addBytes(bytes, c.name);
    addBytes(bytes, c.nameEnds);
    return std::hash<std::string>()(bytes);
}

std::size_t signatureOf(const columns::RecordColumns& result) {
    using columns::Kind;
    const Kind kinds[] = {Kind::Int64,  Kind::Int64,  Kind::Double,
                          Kind::Double, Kind::Double, Kind::Text};
    std::string bytes;
    for (std::size_t k = 0; k < std::size(kinds); ++k) {
        const columns::Column& column = result.columns[k];
        require(column.kind == kinds[k] && column.rows == result.records, "kind of a column");
        if (column.kind == Kind::Text) {
            addBytes(bytes, column.values);
            addBytes(bytes, column.offsets, 1);
        } else if (column.kind == Kind::Double) {
            addBytes(bytes, column.as<double>());
        } else {
            addBytes(bytes, column.as<std::int64_t>());
        }
        if (k == 4) {
            addBytes(bytes, column.states);
        }
    }
    return std::hash<std::string>()(bytes);
}

bool isLines(const std::string& path) {
    return path.ends_with("l");
}

columns::RecordColumns withLibrary(const std::string& path, std::size_t threads) {
    const std::vector<columns::Field> fields = {{"id", "/id", {}},       {"seq", "/seq", {}},
                                                {"x", "/pos/x", {}},     {"y", "/pos/y", {}},
                                                {"d", "/pos/depth", {}}, {"name", "/name", {}}};
    columns::ReadOptions options;
    options.threads = threads;
    options.form = isLines(path) ? columns::Form::Lines : columns::Form::Document;
    return columns::read_columns(columns::Source::file(path), fields, options);
}

Columns withSimdjsonDom(const std::string& path) {
    Columns c;
    const auto add = [&c](const simdjson::dom::object& record) {
        c.id.push_back(record["id"].get_int64());
        c.seq.push_back(record["seq"].get_int64());
        c.addName(record["name"].get_string());
        const simdjson::dom::object pos = record["pos"];
        c.x.push_back(pos["x"].get_double());
        c.y.push_back(pos["y"].get_double());
        double depth = 0;
        const bool present = pos["depth"].get(depth) == simdjson::SUCCESS;
        c.addDepth(present, depth);
    };
    simdjson::dom::parser parser;
    if (isLines(path)) {
        simdjson::dom::document_stream stream;
        require(parser.load_many(path).get(stream) == simdjson::SUCCESS, "file");
        for (const simdjson::dom::object record : stream) {
            add(record);
        }
    } else {
        for (const simdjson::dom::object record : parser.load(path).get_array()) {
            add(record);
        }
    }
    return c;
}

Columns withSimdjsonOnDemand(const std::string& path) {
    namespace ondemand = simdjson::ondemand;
    Columns c;
    const auto add = [&c](ondemand::object record) {
        c.id.push_back(record["id"].get_int64());
        c.seq.push_back(record["seq"].get_int64());
        c.addName(record["name"].get_string());
        ondemand::object pos = record["pos"];
        c.x.push_back(pos["x"].get_double());
        c.y.push_back(pos["y"].get_double());
        double depth = 0;
        const bool present = pos["depth"].get(depth) == simdjson::SUCCESS;
        c.addDepth(present, depth);
    };
    const simdjson::padded_string text = simdjson::padded_string::load(path);
    ondemand::parser parser;
    if (isLines(path)) {
        ondemand::document_stream stream;
        require(parser.iterate_many(text).get(stream) == simdjson::SUCCESS, "text");
        for (auto document : stream) {
            add(document.get_object());
        }
    } else {
        ondemand::document document = parser.iterate(text);
        for (auto record : document.get_array()) {
            add(record.get_object());
        }
    }
    return c;
}

Columns withRapidJson(const std::string& path) {
    Columns c;
    const auto add = [&c](const rapidjson::Value& record) {
        c.id.push_back(record["id"].GetInt64());
        c.seq.push_back(record["seq"].GetInt64());
        const rapidjson::Value& name = record["name"];
        c.addName({name.GetString(), name.GetStringLength()});
        const rapidjson::Value& pos = record["pos"];
        c.x.push_back(pos["x"].GetDouble());
        c.y.push_back(pos["y"].GetDouble());
        const auto depth = pos.FindMember("depth");
        const bool present = depth != pos.MemberEnd();
        c.addDepth(present, present ? depth->value.GetDouble() : 0);
    };
    std::string text(std::filesystem::file_size(path), '\0');
    std::ifstream(path, std::ios::binary)
        .read(text.data(), static_cast<std::streamsize>(text.size()));
    constexpr unsigned flags = rapidjson::kParseFullPrecisionFlag | rapidjson::kParseInsituFlag;
    if (!isLines(path)) {
        rapidjson::Document document;
        document.ParseInsitu<rapidjson::kParseFullPrecisionFlag>(text.data());
        for (const rapidjson::Value& record : document.GetArray()) {
            add(record);
        }
        return c;
    }
    rapidjson::InsituStringStream stream(text.data());
    rapidjson::Document::AllocatorType pool;
    rapidjson::CrtAllocator stack;
    for (;;) {
        pool.Clear();
        rapidjson::Document document(&pool, 1024, &stack);
        document.ParseStream<flags | rapidjson::kParseStopWhenDoneFlag>(stream);
        if (document.HasParseError()) {
            return c; // behind the last line
        }
        add(document);
    }
}

Columns withNlohmann(const std::string& path) {
    Columns c;
    const auto add = [&c](const nlohmann::json& record) {
        c.id.push_back(record["id"].get<std::int64_t>());
        c.seq.push_back(record["seq"].get<std::int64_t>());
        c.addName(record["name"].get_ref<const std::string&>());
        const auto& pos = record["pos"];
        c.x.push_back(pos["x"].get<double>());
        c.y.push_back(pos["y"].get<double>());
        const auto depth = pos.find("depth");
        const bool present = depth != pos.end();
        c.addDepth(present, present ? depth->get<double>() : 0);
    };
    std::ifstream in(path);
    if (isLines(path)) {
        for (std::string line; std::getline(in, line);) {
            add(nlohmann::json::parse(line));
        }
    } else {
        for (const auto& record : nlohmann::json::parse(in)) {
            add(record);
        }
    }
    return c;
}

constexpr const char* sides[] = {"library",      "library, one thread",
                                 "simdjson DOM", "simdjson On-Demand",
                                 "RapidJSON",    "nlohmann"};

bench::Report runSide(const std::string& side, const std::string& path) {
    const auto signature = [](const auto& result) { return signatureOf(result); };
    const std::map<std::string, std::function<bench::Report()>> runs = {
        {sides[0], [&] { return bench::measure([&] { return withLibrary(path, 0); }, signature); }},
        {sides[1], [&] { return bench::measure([&] { return withLibrary(path, 1); }, signature); }},
        {sides[2],
         [&] { return bench::measure([&] { return withSimdjsonDom(path); }, signature); }},
        {sides[3],
         [&] { return bench::measure([&] { return withSimdjsonOnDemand(path); }, signature); }},
        {sides[4], [&] { return bench::measure([&] { return withRapidJson(path); }, signature); }},
        {sides[5], [&] { return bench::measure([&] { return withNlohmann(path); }, signature); }}};
    return runs.at(side)();
}

/// The array's elements, which stand one a line, as lines.
std::string linesOf(const std::string& array) {
    std::string lines;
    for (std::size_t begin = array.find('\n') + 1, end = 0; array[begin] == '{'; begin = end + 1) {
        end = array.find('\n', begin);
        lines.append(array, begin, array.rfind('}', end) + 1 - begin).append("\n");
    }
    return lines;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 4 && std::strcmp(argv[1], "--side") == 0) {
        return bench::tell(runSide(argv[2], argv[3]));
    }
    constexpr std::size_t recordCount = 500'000;
    constexpr int rounds = 10;
    const std::string array = bench::temporaryPath().string();
    const std::string lines = array + 'l';
    {
        const std::string text = bench::records(recordCount);
        std::ofstream(array, std::ios::binary) << text;
        std::ofstream(lines, std::ios::binary) << linesOf(text);
    }
    const auto ofArray = bench::bestOf(argv[0], sides, array, rounds);
    const auto ofLines = bench::bestOf(argv[0], sides, lines, rounds);
    require(ofArray[0].signature == ofLines[0].signature, "columns of lines");
    std::filesystem::remove(array);
    std::filesystem::remove(lines);
    std::printf("{\"benchmarks\": [\n");
    bench::printRuns("read_columns/array of records", sides, ofArray, true);
    bench::printRuns("read_columns/JSON Lines", sides, ofLines, false);
    std::printf("]}\n");
    return 0;
}
