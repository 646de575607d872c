/// A host that fails: its k-th call throws, for every k and every operation. This program brings
/// its own definitions of the host's functions, which the library finds before the host's.

#include "support/operations.hpp"

#include "platform/file_io.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <dlfcn.h>
#include <set>
#include <stdexcept>

namespace {

struct HostFailed : std::runtime_error {
    HostFailed() : std::runtime_error("the host failed") {}
};

std::atomic<bool> armed = false;
std::atomic<long> callsLeft = 0;

/// Counts a call of one of the host's functions and passes it on: to the definition of the same
/// name that comes after ours.
template <auto Ours, class... Arguments>
auto hostCall(Arguments&&... arguments) {
    static const auto next = [] {
        Dl_info info{};
        dladdr(reinterpret_cast<void*>(Ours), &info);
        return reinterpret_cast<decltype(Ours)>(dlsym(RTLD_NEXT, info.dli_sname));
    }();
    if (armed && --callsLeft == 0) {
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
    return hostCall<&do_create_numeric>(dims, class_id, complexity);
}
} // namespace matrix::detail

namespace Tarvel::String {
std::unique_ptr<String> make_String(std::size_t ndims, const std::size_t* dims) {
    return hostCall<&make_String>(ndims, dims);
}
void String::set(std::size_t i, std::u16string text) {
    if (armed && --callsLeft == 0) {
        throw HostFailed();
    }
    elements_.at(i) = std::move(text);
}
} // namespace Tarvel::String
#pragma GCC visibility pop

namespace {

TEST(HostFailure, ReachesTheCallerAndLeavesThePromisedState) {
    const test::TemporaryFolder folder;
    const std::string file = folder / "file.json";
    test::beforeOperation = [] { armed = true; };
    test::afterOperation = [] { armed = false; };
    std::set<std::string> untouched; // operations that need nothing of the host
    for (const test::Operation& operation : test::operations()) {
        SCOPED_TRACE(operation.name);
        callsLeft = 0;
        const std::set<std::string> permitted = test::permittedStates(operation, file);
        test::Subject plain(3, file);
        const std::string answer = operation.run(plain, SIZE_MAX);
        const std::string finished = plain.state();
        for (long k = 1;; ++k) {
            test::Subject subject(3, file);
            callsLeft = k;
            try {
                EXPECT_EQ(operation.run(subject, SIZE_MAX), answer);
                EXPECT_EQ(subject.state(), finished) << k;
                untouched.insert(k == 1 ? operation.name : "");
                break;
            } catch (const HostFailed&) {
                EXPECT_LT(callsLeft, 1);
            }
            ASSERT_EQ(permitted.count(subject.state()), 1U) << k;
        }
    }
    test::beforeOperation = test::afterOperation = [] {};
    for (const std::string name : {"read_string", "writeFile", "listStrings", "setKeyNames",
                                   "get_children, selector", "get_data", "set_data", "set_keys"}) {
        EXPECT_EQ(untouched.count(name), 0U) << name; // or else our definitions were not found
    }
}

} // namespace
