/// From text to columns in blocks: against reading the whole document and taking its columns.

#include "fuzz/oracle/read_model.hpp"
#include "support/failure.hpp"
#include "support/files.hpp"
#include "support/nodes.hpp"
#include "support/random_json.hpp"

#include <ostra/io/json/columns/node_columns.hpp>
#include <ostra/io/json/core/reading.hpp>
#include <ostra/io/json/core/text_position.hpp>

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace ostra::io::json::columns;
namespace core = ostra::io::json::core;
using ostra::io::json::columns::Source;

const core::ReadJSONDocumentOptions relaxed = {
    .allowComments = true, .allowTrailingCommas = true, .allowNaNInf = true};

void expectTheSame(const std::string& text, ReadOptions options, const std::vector<Field>& fields,
                   const std::vector<std::size_t>& blockSizes) {
    const std::string expected = fuzz::blocks::expectedOutcome(text, fields, options);
    for (const std::size_t blockSize : blockSizes) {
        for (const std::size_t threads : {1U, 4U}) {
            options.block_size = blockSize;
            options.threads = threads;
            EXPECT_EQ(fuzz::blocks::outcomeInBlocks(text, fields, options), expected)
                << blockSize << ' ' << threads << ' ' << text.substr(0, 2000);
        }
    }
}

void expectTheSame(const std::string& text, const ReadOptions& options = {}) {
    for (const std::vector<Field>& fields : fuzz::blocks::allFields()) {
        expectTheSame(text, options, fields, {3, 20, 150, 1000, 1'000'000});
    }
}

std::string randomRecords(std::uint64_t sequence, std::size_t count, bool indented) {
    const auto dom = test::randomDocument(sequence, count, 3);
    return test::textOf(*dom, {.allowNaNInf = false, .prettyPrint = indented, .indentText = u" "});
}

#ifdef __SANITIZE_THREAD__ // races do not depend on the text, and ten times as long is long
constexpr std::uint64_t randomDocuments = 1;
#else
constexpr std::uint64_t randomDocuments = 6;
#endif

TEST(ReadColumns, OfRandomDocumentsAndTheirFaultyNeighbours) {
    std::mt19937_64 engine(1);
    const std::string characters = "[]{},:\"\\ /0a\n";
    for (std::uint64_t sequence = 1; sequence <= randomDocuments; ++sequence) {
        std::string text = randomRecords(sequence, 60, sequence % 2 == 0);
        expectTheSame(text);
        const std::string front = R"({"meta":{"records":[0]},"records":)";
        expectTheSame(front + text + R"(,"records":[1],"tail":[{}]} )", {.pointer = "/records"});
        expectTheSame(front + text + R"(,"tail":[{]} )", {.pointer = "/records"});
        for (int n = 0; n < 15; ++n) {
            char& c = text[engine() % text.size()];
            if (static_cast<unsigned char>(c) < 0x80) {
                const char before = std::exchange(c, characters[engine() % characters.size()]);
                expectTheSame(text,
                              {.syntax = n % 2 == 0 ? relaxed : core::ReadJSONDocumentOptions()});
                c = before;
            }
        }
    }
}

/// An object of some of the members that fields look for and of others, in any order, some of them
/// twice, with values of all sorts and seldom with other white space.
std::string oddRecord(std::mt19937_64& engine, int depth) {
    static const std::string longKey(70, 'k');
    const std::vector<std::string> keys = {"a",       "b",       "c",     "d",     "", "\u00e9",
                                           "\\u00e9", "\\u0061", "other", longKey, "c"};
    const std::vector<std::string> values = {"7",
                                             "-1234567890123",
                                             "0.25",
                                             "-0.1234567890123456789",
                                             "1e3",
                                             "12345678901234567890123",
                                             "true",
                                             "null",
                                             "\"x\"",
                                             "\"\\ud83d\\ude00 \u00e9\"",
                                             '"' + std::string(90, 's') + "\\n\"",
                                             R"([1,["x",{"a":[]}],null,"y" , -2.5])",
                                             "[]",
                                             "{}",
                                             "[[[[{\"q\":{}}]]]]",
                                             "false"};
    const std::vector<std::string> spaces = {"", " ", "\t", std::string(40, ' ')};
    const bool isUsual = engine() % 8 != 0;
    const auto space = [&] { return isUsual ? "" : spaces[engine() % spaces.size()]; };
    std::string text = "{" + space();
    const std::size_t count = isUsual ? keys.size() : engine() % keys.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::string& key = keys[isUsual ? i : engine() % keys.size()];
        text += (i == 0 ? "" : "," + space()) + '"' + key + "\"" + space() + ':' + space();
        text += (key == "c" || key == "b") && depth != 0 ? oddRecord(engine, depth - 1)
                                                         : values[engine() % values.size()];
        text += space();
    }
    return text + '}';
}

TEST(ReadColumns, OfRecordsOfManyShapesAndTheirFaultyNeighbours) {
    std::mt19937_64 engine(3);
    const std::string characters = "[]{},:\"\\ /0a.e-u\n\x01";
    for (int sequence = 0; sequence < 12; ++sequence) {
        const bool areMembers = sequence % 3 == 1;
        const bool areLines = sequence % 3 == 2;
        std::string text = areLines ? "" : areMembers ? "{" : "[";
        for (int i = 0; i < 15; ++i) {
            text += i == 0 ? "" : areLines ? "\n" : ", ";
            text += areMembers ? "\"k" + std::to_string(i % 30) + "\": " : "";
            text += engine() % 10 == 0 ? "[1]" : oddRecord(engine, 1);
        }
        text += areLines ? "" : areMembers ? "}" : "]";
        ReadOptions options;
        options.form = areLines ? Form::Lines : Form::Document;
        options.keys = areMembers;
        options.huge_integers = HugeIntegers::AsDouble;
        const auto expect = [&] {
            expectTheSame(text, options, fuzz::blocks::memberFields(), {700, 1'000'000});
        };
        expect();
        for (int n = 0; n < 12; ++n) {
            char& c = text[engine() % text.size()];
            const char other = n % 4 == 0 ? '\xC3' : characters[engine() % characters.size()];
            const char before = std::exchange(c, other);
            options.bad_lines = n % 2 == 0 ? BadLines::Raise : BadLines::Skip;
            expect();
            c = before;
        }
    }
}

/// The white space between two lines may lie where the end of the text has come into sight.
TEST(ReadColumns, OfLinesWithMuchWhiteSpaceAtTheEnd) {
    std::string lines;
    for (int i = 0; i < 300; ++i) {
        lines += R"({"a":1,"b":["x"]})" + std::string("\n");
    }
    for (const std::size_t size : {30U, 200U, 255U, 256U, 300U, 1000U, 5000U}) {
        expectTheSame(lines + std::string(size, '\n'), {.form = Form::Lines});
        expectTheSame(lines + std::string(size, ' ') + "\n2", {.form = Form::Lines});
    }
}

TEST(ReadColumns, OfMembers) {
    std::string text = "{";
    for (int i = 0; i < 200; ++i) {
        text += (i == 0 ? "" : ", ") + std::string("\"key \\u00e9 ") + std::to_string(i % 150) +
                "\" : {\"a\": " + std::to_string(i) + ", \"b\": [\"x\", null]}";
    }
    expectTheSame(text + "}", {.keys = true});
    expectTheSame("[0," + text + "}]", {.pointer = "/1"});
    expectTheSame("[0," + text + "]]", {.pointer = "/1", .keys = true});
    expectTheSame("{}", {.keys = true});
    expectTheSame("[]", {.keys = true});
    for (const std::string pointer : {"/1", "/0", "/x", "/2", "/-", "/01"}) {
        expectTheSame("[[1,2] , 3 ]", {.pointer = pointer});
    }
    expectTheSame("7");
    expectTheSame("");
}

TEST(ReadColumns, WherePlacesToBeginAreMisleading) {
    const std::string numbers = test::repeat("1,2,", 300) + "3";
    for (const std::string& text : std::vector<std::string>{
             '[' + numbers + ']', '[' + numbers + "],4", "[\"" + numbers + "\"]",
             '[' + test::repeat("[" + numbers + "],", 5) + "{}]",
             R"([{"a":[)" + test::repeat(R"({"a":[1,{"b":2}]},)", 100) + R"(0],"b":[]},[)" +
                 numbers + "]]",
             '[' + test::repeat(R"({"a":"},{\"a\":1},{","b":["c"]},)", 100) + "1]",
             test::repeat("[1,", 300) + "2" + test::repeat("]", 300)}) {
        expectTheSame(text);
        expectTheSame(text + ']');
    }
}

TEST(ReadColumns, OfLines) {
    std::mt19937_64 engine(2);
    const std::vector<std::string> odd = {"",   " \r", "\r",       "x",
                                          "[1", "1 2", "\"\xC3\"", "[\xE6\x9D]"};
    for (std::uint64_t sequence = 1; sequence <= 12; ++sequence) {
        const auto dom = test::randomDocument(sequence, 40, 3);
        std::string text = sequence % 3 == 0 ? "\xEF\xBB\xBF" : "";
        for (const rapidjson::Value& record : dom->document.GetArray()) {
            text += test::textOf(record) + (sequence % 4 == 0 ? "\r\n" : "\n");
            if (engine() % 4 == 0) {
                text += odd[engine() % (sequence % 2 == 0 ? odd.size() : 3)] + '\n';
            }
        }
        text.resize(text.size() - sequence % 2);
        for (const BadLines bad : {BadLines::Raise, BadLines::Skip}) {
            expectTheSame(text, {.form = Form::Lines, .bad_lines = bad});
        }
    }
    for (const std::string text : {"", "\n", "\n\n", "1", "\n1", "1\n\n2\n", "\xEF\xBB\xBF"}) {
        expectTheSame(text, {.form = Form::Lines});
    }
}

TEST(ReadColumns, DescribeTheFirstHundredBadLines) {
    std::string text;
    for (int i = 0; i < 300; ++i) {
        text += i % 2 == 0 ? "{\"a\":1}\r\n" : "\xC3\xA9 {\n";
    }
    expectTheSame(text, {.form = Form::Lines, .bad_lines = BadLines::Skip});
}

/// Reads in batches and joins them again.
std::string inBatches(const Source& source, const std::vector<Field>& fields,
                      const ReadOptions& options, BatchSize size) {
    std::string rows;
    std::size_t full = 0;
    ColumnReader reader(source, fields, options, size);
    while (const auto batch = reader.next()) {
        EXPECT_TRUE(size.bytes != 0 || full == 0 || full == size.records) << "behind a short one";
        full = batch->records;
        EXPECT_TRUE(size.records == 0 || full <= size.records);
        for (std::size_t i = 0; i < batch->records; ++i) {
            for (const Column& column : batch->columns) {
                rows += column.kind == Kind::Json || column.kind == Kind::Text
                            ? std::string(column.text(i))
                            : std::to_string(column.as<std::int64_t>()[i]);
                rows += '/' + std::to_string(static_cast<int>(column.states[i])) + ' ';
            }
            rows += batch->keys ? std::string(batch->keys->text(i)) + '\n' : "\n";
        }
        rows += batch->bad_lines != 0 ? std::to_string(batch->bad_lines) + " bad\n" : "";
    }
    EXPECT_FALSE(reader.next());
    return rows;
}

TEST(ReadColumns, BatchesAreTheSameRows) {
    std::string array = "[";
    std::string object = "{";
    std::string lines;
    for (int i = 0; i < 97; ++i) {
        const std::string record = "{\"a\":" + std::to_string(i * i) + ",\"b\":[" + '"' +
                                   std::string(static_cast<std::size_t>(i), '1') + "\"]}";
        array += (i == 0 ? "" : ",") + record;
        object += (i == 0 ? "" : ",") + ("\"k" + std::to_string(i)) + "\":" + record;
        lines += record + "\n";
    }
    const std::vector<Field> fields = {{"a", "/a", {}}, {"b", "/b", {.want = Want::Json}}};
    for (const auto& [text, options] : std::vector<std::pair<std::string, ReadOptions>>{
             {array + "]", {}}, {object + "}", {.keys = true}}, {lines, {.form = Form::Lines}}}) {
        const Source source = Source::memory(text);
        const std::string expected = inBatches(source, fields, options, {.records = 1000});
        EXPECT_NE(expected.find("9216/0"), std::string::npos);
        for (const BatchSize size :
             std::vector<BatchSize>{{1}, {7}, {97}, {96}, {0, 500}, {50, 1}}) {
            for (const std::size_t blockSize : {10U, 400U, 100'000U}) {
                for (const std::size_t threads : {1U, 3U}) {
                    ReadOptions some = options;
                    some.block_size = blockSize;
                    some.threads = threads;
                    EXPECT_EQ(inBatches(source, fields, some, size), expected)
                        << size.records << ' ' << size.bytes << ' ' << blockSize;
                }
            }
        }
    }
}

TEST(ReadColumns, BatchesComeBeforeWhatIsWrongBehindThem) {
    const std::string text = "1\n2\n3\n4\n5\nx\n";
    const std::vector<Field> fields = {{"v", "", {}}};
    for (const std::size_t blockSize : {1U, 7U, 100U}) {
        ColumnReader reader(Source::memory(text), fields,
                            {.form = Form::Lines, .block_size = blockSize}, {.records = 2});
        EXPECT_EQ(reader.next()->records, 2U);
        EXPECT_EQ(reader.next()->records, 2U);
        EXPECT_EQ(test::messageOf<core::ParseError>([&] { reader.next(); }),
                  "6:1: unknown word 'x' (byte 10, record 5)");
        EXPECT_FALSE(reader.next());
        ColumnReader types(Source::memory("1\nnull\n2\n\"s\"\n"), fields,
                           {.form = Form::Lines, .block_size = blockSize}, {.records = 1});
        EXPECT_EQ(types.next()->columns[0].kind, Kind::Int64);
        EXPECT_EQ(types.next()->columns[0].kind, Kind::Int64);
        EXPECT_EQ(types.next()->columns[0].kind, Kind::Int64);
        EXPECT_EQ(test::messageOf<ColumnConflict>([&] { types.next(); }),
                  "field 'v', row 3: a string where the column holds numbers");
    }
}

/// A stream of a text in pieces of odd sizes.
Source streamOf(const std::string& text, const std::shared_ptr<std::size_t>& at) {
    return Source::stream(
        [&text, at](char* to, std::size_t size) {
            const std::size_t some = std::min({size, text.size() - *at, 1 + *at % 977});
            std::copy_n(text.begin() + static_cast<std::ptrdiff_t>(*at), some, to);
            *at += some;
            return some;
        },
        "source");
}

TEST(ReadColumns, OfStreamsFilesAndPipes) {
    const test::TemporaryFolder folder;
    std::string array = "{\"long\":\"" + std::string(900'000, 'x') + "\",\"r\":[";
    std::string lines;
    for (int i = 0; i < 40'000; ++i) {
        const std::string record = "{\"a\":" + std::to_string(i) + ",\"b\":[\"t\"]}";
        array += (i == 0 ? "\n" : ",\n") + record;
        lines += record + "\n";
    }
    array += "]}";
    std::string badLines = lines;
    badLines.append("x\n").append(lines);
    for (const auto& textAndForm :
         {std::pair{array, Form::Document}, std::pair{lines, Form::Lines},
          std::pair{array.substr(0, array.size() - 3), Form::Document},
          std::pair{array.substr(0, 500'000), Form::Document}, std::pair{badLines, Form::Lines}}) {
        const auto& text = textAndForm.first; // not bindings, which clang 14 does not capture
        const Form form = textAndForm.second;
        ReadOptions options = {.form = form, .pointer = form == Form::Lines ? "" : "/r"};
        const std::string expected = fuzz::blocks::outcomeOf([&] {
            return read_columns(Source::memory(text, "source"), fuzz::blocks::someFields(),
                                options);
        });
        const auto expectTheSame = [&](const Source& source, const std::string& name) {
            std::string outcome = fuzz::blocks::outcomeOf(
                [&] { return read_columns(source, fuzz::blocks::someFields(), options); });
            if (const auto found = outcome.find(name); found != std::string::npos) {
                outcome.replace(found, name.size(), "source");
            }
            EXPECT_EQ(outcome, expected) << name;
        };
        const std::string file = folder / "file";
        const std::string inside = folder / "a file around it";
        test::writeBytes(file, text);
        test::writeBytes(inside, "[1,\n" + text + "2,\n");
        for (const std::size_t blockSize : {5'000U, 250'000U}) {
            options.block_size = blockSize;
            for (const std::size_t threads : {1U, 4U}) {
                options.threads = threads;
                expectTheSame(streamOf(text, std::make_shared<std::size_t>(0)), "source");
                expectTheSame(Source::file(file), file);
                expectTheSame(Source::file(inside, 4, text.size()), inside);
            }
        }
        const std::string pipe = folder / "pipe";
        ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
        static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // where the reader has had enough
        std::thread writer([&] { test::writeBytes(pipe, text); });
        expectTheSame(Source::file(pipe), pipe);
        writer.join();
        std::filesystem::remove(pipe);
    }
}

TEST(ReadColumns, OfFilesThatChangeMeanwhile) {
    const test::TemporaryFolder folder;
    const std::string path = folder / "log";
    std::string lines;
    for (int i = 0; i < 100'000; ++i) {
        lines += std::to_string(i) + "\n";
    }
    const std::vector<Field> fields = {{"v", "", {}}};
    for (const std::size_t threads : {1U, 3U}) {
        test::writeBytes(path, lines);
        ColumnReader growing(Source::file(path), fields,
                             {.form = Form::Lines, .threads = threads, .block_size = 1000},
                             {.records = 10'000});
        std::size_t records = growing.next()->records;
        std::ofstream(path, std::ios::app) << "more\n";
        while (const auto batch = growing.next()) {
            records += batch->records;
        }
        EXPECT_EQ(records, 100'000U); // as it was when it was opened

        test::writeBytes(path, lines);
        ColumnReader shrinking(Source::file(path), fields,
                               {.form = Form::Lines, .threads = threads, .block_size = 1000},
                               {.records = 1000});
        EXPECT_TRUE(shrinking.next());
        std::filesystem::resize_file(path, 100'000);
        EXPECT_EQ(test::messageOf([&] {
                      while (shrinking.next()) {
                      }
                  }),
                  "cannot read '" + path + "': it became shorter while it was read");
        EXPECT_FALSE(shrinking.next());
    }
    for (const auto& [begin, size] :
         {std::pair{100'001UL, 0UL}, {99'999UL, 2UL}, {1UL, SIZE_MAX}}) {
        const Source part = Source::file(path, begin, size);
        EXPECT_EQ(test::messageOf([&] { (void)read_columns(part, fields, {}); }),
                  "cannot read '" + path + "': it has only 100000 bytes");
    }
}

TEST(ReadColumns, FailuresOfSourcesReachTheCaller) {
    const std::vector<Field> fields = {{"v", "", {}}};
    EXPECT_EQ(test::messageOf<std::system_error>(
                  [&] { read_columns(Source::file("/no/such file"), fields); }),
              "cannot read '/no/such file': No such file or directory");
    EXPECT_EQ(test::messageOf<std::system_error>([&] { read_columns(Source::file("/"), fields); }),
              "cannot read '/': Is a directory");
    EXPECT_EQ(test::messageOf<std::system_error>(
                  [&] { read_columns(Source::file(std::string("a\0b", 3)), fields); }),
              "cannot read 'a': Invalid argument");
    struct Broken : std::exception {};
    for (const std::size_t threads : {1U, 4U}) {
        std::size_t left = 100;
        const Source source = Source::stream([&](char* to, std::size_t /*size*/) -> std::size_t {
            if (left-- == 0) {
                throw Broken();
            }
            *to = '\n';
            return 1;
        });
        EXPECT_THROW(read_columns(source, fields,
                                  {.form = Form::Lines, .threads = threads, .block_size = 10}),
                     Broken);
    }
    const std::string text = "[1]";
    const Source good = Source::memory(text);
    for (const ReadOptions& options : {ReadOptions{.block_size = 0}, ReadOptions{.pointer = "x"},
                                       ReadOptions{.form = Form::Lines, .pointer = "/x"},
                                       ReadOptions{.form = Form::Lines, .keys = true}}) {
        EXPECT_THROW(read_columns(good, fields, options), std::invalid_argument);
    }
    EXPECT_THROW(ColumnReader(good, fields, {}, {}), std::invalid_argument);
    const std::vector<Field> wrong = {{"v", "v", {}}};
    EXPECT_THROW(read_columns(good, wrong), std::invalid_argument);
}

TEST(ReadColumns, TellsTheCallingThreadHowFarItIs) {
    std::string text;
    for (int i = 0; i < 300'000; ++i) {
        text += "{\"a\":" + std::to_string(i) + "}\n";
    }
    const std::vector<Field> fields = {{"a", "/a", {}}};
    for (const std::size_t threads : {1U, 4U}) {
        const std::thread::id caller = std::this_thread::get_id();
        Progress last;
        ReadOptions options = {.form = Form::Lines, .threads = threads, .block_size = 5000};
        options.progress = [&](const Progress& progress) {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            EXPECT_GE(progress.bytes, last.bytes);
            EXPECT_GE(progress.records, last.records);
            EXPECT_EQ(progress.total, text.size());
            last = progress;
            return true;
        };
        read_columns(Source::memory(text), fields, options);
        EXPECT_EQ(last.bytes, text.size());
        EXPECT_EQ(last.records, 300'000U);
        options.progress = [](const Progress& /*progress*/) { return false; };
        EXPECT_THROW(read_columns(Source::memory(text), fields, options), Cancelled);
    }
}

TEST(ReadColumns, KeepsHugeIntegersExactOrSaysSo) {
    const std::string text =
        R"([{"n":1,"m":[]},{"n":123456789012345678901,"m":[{"a":-9223372036854775809}]},{"n":2.5}])";
    const auto read = [&](Want want, HugeIntegers huge, const std::string& pointer = "/n") {
        return fuzz::blocks::outcomeOf([&] {
            const std::vector<Field> fields = {{"n", pointer, {.want = want}}};
            return read_columns(Source::memory(text), fields, {.huge_integers = huge});
        });
    };
    const std::string rounded = read(Want::Double, HugeIntegers::AsDouble);
    EXPECT_EQ(rounded.substr(0, 9), "3 records");
    EXPECT_EQ(read(Want::Double, HugeIntegers::Exact), rounded);
    EXPECT_EQ(read(Want::Any, HugeIntegers::AsDouble), rounded);
    for (const auto& [want, wanted] :
         std::vector<std::pair<Want, std::string>>{{Want::Any, "int64"},
                                                   {Want::Number, "int64"},
                                                   {Want::Int64, "int64"},
                                                   {Want::Uint64, "uint64"},
                                                   {Want::Json, "JSON"}}) {
        EXPECT_EQ(read(want, HugeIntegers::Exact),
                  "conflict: field 'n', row 1: an integer beyond 64 bits where the column holds " +
                      wanted);
    }
    EXPECT_EQ(read(Want::Json, HugeIntegers::Exact, "/m"),
              "conflict: field 'n', row 1: an integer beyond 64 bits where the column holds JSON");
    EXPECT_EQ(read(Want::Json, HugeIntegers::AsDouble, "/m").substr(0, 9), "3 records");
}

} // namespace
