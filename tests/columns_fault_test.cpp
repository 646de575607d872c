/// Columns when memory runs out: the N-th allocation fails, for every N, of `operator new`, of
/// `realloc` and of mappings, which grow the columns, and, if RapidJSON's pointers are not at work,
/// of `malloc`.

#include "columns/extractor.hpp"
#include "support/failing_machine.hpp"
#include "support/nodes.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <tbb/global_control.h>

namespace {

namespace columns = ostra::io::json::columns;
using columns::Field;
using columns::Layout;
using columns::Want;

/// The text of four records.
std::string records() {
    std::string text = "[";
    for (const char* id : {"0", "1", "2", "3"}) {
        text += std::string(text.size() == 1 ? "" : ",") + R"({"id":)" + id +
                R"(,"name":"a text of more than 21 bytes","v":[1,[2,3],null],"j":{"a":[0.5]}})";
    }
    return text + "]";
}

/// One row of so many numbers that its memory is mapped, and grows by a move of pages.
std::string longRow() {
    std::string text = "[[0";
    for (std::size_t i = 1; i < 500'000; ++i) {
        text += ",1";
    }
    return text + "]]";
}

struct Operation {
    std::string name;
    std::string document;
    bool mallocToo;
    std::function<void(const test::tree::NodeVector&)> run;
};

const std::vector<Operation>& operations() {
    static const std::vector<Field> fields = {{"id", "/id", {}},
                                              {"name", "/name", {}},
                                              {"v", "/v", {Want::Any, Layout::List, 1, {}}},
                                              {"j", "/j/a/0", {}},
                                              {"json", "/v", {Want::Json, Layout::Scalar, 1, {}}}};
    static const std::string texts(120, 'x');
    static const std::int64_t offsets[] = {0, 30, 60, 90, 120};
    static const std::vector<Operation> all = {
        {"select", records(), false, [](const auto& nodes) { columns::select(nodes, fields); }},
        {"get_column, mapped", longRow(), false,
         [](const auto& nodes) { columns::get_column(nodes); }},
        {"get_column", records(), true,
         [](const auto& nodes) {
             columns::get_column(nodes, {Want::Json, Layout::Scalar, 1, {}});
         }},
        {"set_column", records(), true,
         [](const auto& nodes) {
             columns::set_column(nodes, {columns::Kind::Text, 4, texts.data(), offsets, nullptr});
         }},
    };
    return all;
}

TEST(ColumnsFailure, ReachesTheCallerAndChangesNothing) {
    const tbb::global_control oneThread(tbb::global_control::max_allowed_parallelism, 1);
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.name);
        auto nodes = test::elementsOf(operation.document);
        const std::string before = test::textOf(*nodes.dom);
        operation.run(nodes); // what is allocated once and for all
        if (operation.name == "set_column") {
            nodes = test::elementsOf(operation.document);
        }
        const unsigned kinds = test::news | test::reallocs | test::mappings |
                               (operation.mallocToo ? test::mallocs : test::noFault);
        long failures = 0;
        bool failed = true;
        for (long n = 1; failed; ++n) {
            const long living = test::living;
            test::left = n;
            failed = false;
            try {
                const test::Faults failing(kinds);
                operation.run(nodes);
            } catch (const std::bad_alloc&) {
                failed = true;
                ++failures;
            }
            ASSERT_EQ(test::living, living) << n;
            if (failed) {
                ASSERT_EQ(test::textOf(*nodes.dom), before) << n;
            }
            failed = failed || test::left <= 0; // it coped
        }
        EXPECT_GT(failures, 4);
    }
}

} // namespace
