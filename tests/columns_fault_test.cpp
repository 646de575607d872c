/// Columns when memory runs out: the N-th allocation fails, for every N, of `operator new`, of
/// `realloc` and of mappings, which grow the columns, and where RapidJSON's pointers are not at
/// work, of `malloc`. This program brings its own; the library finds them before all others.

#include "columns/extractor.hpp"
#include "support/nodes.hpp"

#include <ostra/io/json/columns/node_columns.hpp>

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <new>
#include <tbb/global_control.h>

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define OWN_MALLOC
#endif

namespace {

long left = 0; // allocations until one fails; everything runs on one thread
bool armed = false;
bool mallocToo = false;
long living = 0; // blocks of `operator new`, and mappings

bool failsNow() {
    return armed && --left == 0;
}

} // namespace

// NOLINTBEGIN: the standard's names and signatures
void* operator new(std::size_t size) {
    const bool mallocBefore = std::exchange(mallocToo, false);
    void* const block = failsNow() ? nullptr : std::malloc(size == 0 ? 1 : size);
    mallocToo = mallocBefore;
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    living += armed ? 1 : 0;
    return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
    living -= armed && block != nullptr ? 1 : 0;
    std::free(block);
}
void operator delete(void* block, std::size_t) noexcept {
    operator delete(block);
}
#ifdef OWN_MALLOC
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_realloc(void*, std::size_t);
__attribute__((visibility("default"))) void* malloc(std::size_t size) {
    return mallocToo && failsNow() ? nullptr : __libc_malloc(size);
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
    return failsNow() ? nullptr : __libc_realloc(block, size);
}
__attribute__((visibility("default"))) void* mmap(void* at, std::size_t size, int protection,
                                                  int flags, int file, off_t offset) noexcept {
    if (failsNow()) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    return reinterpret_cast<void*>(::syscall(SYS_mmap, at, size, protection, flags, file, offset));
}
}
#endif
// NOLINTEND

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
        long failures = 0;
        bool failed = true;
        for (long n = 1; failed; ++n) {
            left = n;
            living = 0;
            failed = false;
            try {
                armed = true;
                mallocToo = operation.mallocToo;
                operation.run(nodes);
                armed = mallocToo = false;
            } catch (const std::bad_alloc&) {
                armed = mallocToo = false;
                failed = true;
                ++failures;
                ASSERT_EQ(test::textOf(*nodes.dom), before) << n;
            }
            ASSERT_EQ(living, 0) << n;
            failed = failed || left <= 0; // it coped
        }
        EXPECT_GT(failures, 4);
    }
}

} // namespace
