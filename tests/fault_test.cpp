/// A failing machine and a failing host: the N-th allocation, or the N-th call of one of the host's
/// functions, fails, for every N and every operation.
///
/// This program brings its own definitions of the host's functions. The library finds them before
/// all others.

#include "support/failing_machine.hpp"
#include "support/nodes.hpp"
#include "support/operations.hpp"
#include "support/random_json.hpp"

#include "base/raw_value.hpp"
#include "platform/file_io.hpp"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <map>
#include <new>
#include <system_error>

namespace {

struct HostFailed : std::exception {};

std::vector<std::string>* made = nullptr; // where host arrays are listed: class, number of rows

/// Counts a call of one of the host's functions and passes it on: to the definition of the same
/// name that comes after ours.
template <auto Ours, class... Arguments>
auto hostCall(Arguments&&... arguments) {
    static const auto next = [] {
        Dl_info info{};
        dladdr(reinterpret_cast<void*>(Ours), &info);
        return reinterpret_cast<decltype(Ours)>(dlsym(RTLD_NEXT, info.dli_sname));
    }();
    if (test::failsNow(test::hostCalls)) {
        throw HostFailed();
    }
    return next(std::forward<Arguments>(arguments)...);
}

} // namespace

#pragma GCC visibility push(default)
namespace ostra::io::json::core {
rapidjson::Document parse_json_document(const std::u16string& name, const std::vector<char>& bytes,
                                        const ReadJSONDocumentOptions& options) {
    return hostCall<&parse_json_document>(name, bytes, options);
}
JSONPointer validate_selector(const std::string& selector) {
    return hostCall<&validate_selector>(selector);
}
rapidjson::Value* resolve_node_name(rapidjson::Value& node, const std::string& name) {
    return hostCall<&resolve_node_name>(node, name);
}
std::optional<std::string> resolve_node_name_to_selector(const rapidjson::Value& node,
                                                         const std::string& name) {
    return hostCall<&resolve_node_name_to_selector>(node, name);
}
} // namespace ostra::io::json::core

namespace ostra::io::common::file {
std::vector<char> readall(const std::u16string& path) {
    return hostCall<&readall>(path);
}
void writeall(const std::u16string& path, const char* data, std::size_t size) {
    hostCall<&writeall>(path, data, size);
}
} // namespace ostra::io::common::file

namespace fl::i18n {
std::u16string utf8_to_ustring(const std::string& text) {
    using Overload = std::u16string (*)(const std::string&);
    return hostCall<static_cast<Overload>(&utf8_to_ustring)>(text);
}
std::u16string utf8_to_ustring(const char* text, std::size_t size) {
    using Overload = std::u16string (*)(const char*, std::size_t);
    return hostCall<static_cast<Overload>(&utf8_to_ustring)>(text, size);
}
std::string ustring_to_utf8(const std::u16string& text) {
    return hostCall<&ustring_to_utf8>(text);
}
} // namespace fl::i18n

namespace matrix::detail {
array_base* do_create_numeric(std::span<const unsigned long> dims, qxClassID class_id,
                              qxComplexity complexity) {
    if (made != nullptr) {
        made->push_back(std::to_string(class_id) + ' ' + std::to_string(dims[0]));
    }
    return hostCall<&do_create_numeric>(dims, class_id, complexity);
}
} // namespace matrix::detail

namespace Tarvel::String {
std::unique_ptr<String> make_String(std::size_t ndims, const std::size_t* dims) {
    if (made != nullptr) {
        made->push_back("text " + std::to_string(dims[0]));
    }
    return hostCall<&make_String>(ndims, dims);
}
void String::set(std::size_t i, std::u16string_view text) {
    using Next = void (*)(String*, std::size_t, std::u16string_view);
    static const auto next = reinterpret_cast<Next>(dlsym(
        RTLD_NEXT, "_ZN6Tarvel6String6String3setEmSt17basic_string_viewIDsSt11char_traitsIDsEE"));
    if (test::failsNow(test::hostCalls)) {
        throw HostFailed();
    }
    next(this, i, text);
}
} // namespace Tarvel::String
#pragma GCC visibility pop

namespace {

using test::Faults;
using test::left;
using test::living;
using test::never;

/// What fails, and whether all further ones do, too.
struct Kind {
    unsigned faults;
    bool allFurther = false;
};
constexpr unsigned allocations = test::news | test::mallocs | test::reallocs;
constexpr Kind oneAllocation = {allocations};
constexpr Kind allFurtherAllocations = {allocations, true};
constexpr Kind oneHostCall = {test::hostCalls};

Kind kind;
std::optional<Faults> around; // an operation

class Failure : public testing::TestWithParam<Kind> {
protected:
    void SetUp() override {
        test::beforeOperation = [] { around.emplace(kind.faults, kind.allFurther); };
        test::afterOperation = [] { around.reset(); };
    }
    void TearDown() override {
        test::beforeOperation = test::afterOperation = [] {};
    }

    /// Runs an operation whose `n`-th allocation or call fails, and looks at what is left. It may
    /// cope: a text is written into less memory if there is not as much as would be best.
    /// @return whether there were that many.
    bool run(const test::Operation& operation, long n, const std::set<std::string>& permitted,
             const std::string& finished) {
        test::Subject subject(3, file);
        const std::vector<rapidjson::Value*> nodes = subject.nodes.nodes;
        const long before = living;
        bool failed = false;
        left = n;
        try {
            operation.run(subject, SIZE_MAX);
        } catch (const std::bad_alloc&) {
            failed = kind.faults != test::hostCalls;
            EXPECT_EQ(living, before);
        } catch (const std::system_error&) { // the C library ran out of memory around a file
            failed = operation.name.find("ile") != std::string::npos;
        } catch (const HostFailed&) {
            failed = kind.faults == test::hostCalls;
            EXPECT_EQ(living, before);
        }
        EXPECT_EQ(subject.nodes.nodes, nodes);
        const std::string state = subject.state();
        EXPECT_TRUE(failed ? permitted.contains(state) : state == finished) << state;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / ""), {}), 1);
        return left <= 0;
    }

    test::TemporaryFolder folder;
    const std::string file = folder / "file.json";
};

TEST_P(Failure, ReachesTheCallerAndLeavesThePromisedState) {
    std::map<std::string, long> failures;
    for (const test::Operation& operation : test::operations()) {
        SCOPED_TRACE(operation.name);
        // RapidJSON's pointers do not survive a failing malloc; we ask for their memory first.
        kind = GetParam();
        if (operation.name.find("elector") != std::string::npos) {
            kind.faults &= ~(test::mallocs | test::reallocs);
        }
        left = never;
        const std::set<std::string> permitted = test::permittedStates(operation, file);
        test::Subject plain(3, file);
        const std::string answer = operation.run(plain, SIZE_MAX);
        const std::string state = plain.state();
        const long before = living;
        long n = 1;
        for (; run(operation, n, permitted, state); ++n) {
            ASSERT_FALSE(HasFailure()) << n;
            ASSERT_EQ(living, before) << n;
        }
        failures[operation.name] = n - 1;
        test::Subject again(3, file); // nothing outside was broken meanwhile
        left = never;
        EXPECT_EQ(operation.run(again, SIZE_MAX), answer);
        EXPECT_EQ(again.state(), state);
    }
    long all = 0;
    for (const auto& [name, count] : failures) {
        all += count;
    }
    RecordProperty("faults", std::to_string(all));
    for (const std::string name : {"read_string", "writeFile", "listStrings", "setKeyNames",
                                   "get_children, selector", "get_data", "set_data", "set_keys"}) {
        EXPECT_GT(failures[name], 0) << name; // or else they were not injected
    }
}

#ifdef TVIOJSONTREE_PLAIN_THREADS // which may take memory when work is half done
INSTANTIATE_TEST_SUITE_P(Kinds, Failure, testing::Values(oneHostCall));
#else
INSTANTIATE_TEST_SUITE_P(Kinds, Failure,
                         testing::Values(oneAllocation, allFurtherAllocations, oneHostCall));
#endif

TEST(Navigation, AllocatesNothing) {
    const auto at = test::tree::LevelReader::MakeStringReaderPtr(uR"({"a":{"b":[1]}})", {});
    const std::string names[] = {"a", "b", "a name that no value holds in itself"};
    const ostra::io::json::core::JSONPointer pointer("/0");
    left = never;
    bool found = false;
    {
        const Faults counted(allocations);
        found = at->cdNodeName(names[0], false) && !at->cdNodeName(names[2], false) &&
                at->cdNodeName(names[1], false) && at->cdSelector(pointer);
        at->cdup();
        at->cd(0);
    }
    EXPECT_TRUE(found);
    EXPECT_EQ(left, never);
}

TEST(HostArrays, AreMadeOnceEachInOrderAndAtTheirFinalSize) {
    const struct {
        std::string text;
        std::vector<std::string> arrays;
    } cases[] = {
        {"[]", {"9 0", "text 0", "6 0", "15 0", "14 0", "9 0"}},
        {R"([1, "a", 2.5, null, "b"])", {"9 5", "text 2", "6 2", "15 0", "14 0", "9 2"}},
        {R"([9007199254740993, -9007199254740993, 1, 9007199254740993, [2]])",
         {"9 5", "text 0", "6 1", "15 2", "14 1", "9 4"}},
    };
    for (const auto& [text, arrays] : cases) {
        const test::tree::NodeVector nodes = test::elementsOf(text);
        std::vector<std::string> list;
        made = &list;
        (void)nodes.get_data();
        made = nullptr;
        EXPECT_EQ(list, arrays) << text;
    }
}

#if defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
/// A small document whose arrays share their elements has more scalars than a count holds: it is
/// refused for that, before memory is taken for any of them. Two thousand million are looked at.
TEST(Flattening, CountsBeforeItCollects) {
    constexpr std::size_t leaves = 1U << 16U;
    constexpr std::size_t copies = 1U << 15U;
    const auto dom = test::tree::make_dom_ptr();
    auto& pool = dom->document.GetAllocator();
    rapidjson::Value array(rapidjson::kArrayType);
    array.Reserve(leaves, pool);
    while (array.Size() < leaves) {
        array.PushBack(1, pool);
    }
    dom->document.SetArray().Reserve(copies, pool);
    for (std::size_t i = 0; i < copies; ++i) {
        rapidjson::Value copy;
        base::RawValue::setArray(copy, array.Begin(), leaves);
        dom->document.PushBack(copy, pool);
    }
    const test::tree::NodeVector root(dom, {&dom->document});
    const test::tree::NodeVector twice(dom, {&dom->document[0], &dom->document[1]});
    test::largest = std::size_t{1} << 20U;
    EXPECT_EQ(twice.get_children_exhaustive("").first.nodes.size(), 2 * leaves);
    EXPECT_THROW((void)root.get_children_exhaustive(""), std::length_error);
    test::largest = SIZE_MAX;
}
#endif

/// Long texts are written by several threads, each into memory of its own.
TEST(LongText, OfAFailingMachine) {
    const auto dom = test::randomDocument(1, 9'000, 1);
    const std::u16string whole = test::tree::write_string(*dom, {});
    ASSERT_GT(whole.size(), 500'000U);
    long n = 0;
    for (bool isOver = false; !isOver;) {
        left = ++n;
        const long before = living;
        try {
            const Faults failing(allocations);
            EXPECT_TRUE(test::tree::write_string(*dom, {}) == whole);
        } catch (const std::bad_alloc&) {
        }
        EXPECT_EQ(living, before) << n;
        isOver = left > 0;
    }
    EXPECT_GT(n, 10);
}

/// In a loop that several threads work on, some of which fail at the same time.
TEST(HostFailure, ReachesTheCallerOnceAndChangesNothing) {
    constexpr long count = 2000;
    const auto dom = test::randomDocument(1, count, 1);
    const auto nodes = test::tree::NodeVector(dom, {&dom->document}).get_children();
    const std::string before = test::textOf(*dom);
    for (const long first : {1L, 2L, count / 2, count, never}) {
        left = first;
        const Faults failing(test::hostCalls, true);
        if (first == never) {
            EXPECT_NO_THROW((void)nodes.get_children_by_node_name("any"));
            EXPECT_EQ(left, never - count - 1); // one for the mask
        } else {
            EXPECT_THROW((void)nodes.get_children_by_node_name("any"), HostFailed);
        }
        EXPECT_EQ(nodes.nodes.size(), static_cast<std::size_t>(count));
    }
    EXPECT_EQ(test::textOf(*dom), before);
}

} // namespace
