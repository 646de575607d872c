/// A host that unloads what uses the library while threads go on that have used it.

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <latch>
#include <thread>

namespace {

TEST(Unload, WhileAThreadGoesOn) {
    void* const plugin = ::dlopen(PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(plugin, nullptr);
    auto* const countNumbers = reinterpret_cast<std::size_t (*)()>(::dlsym(plugin, "countNumbers"));
    ASSERT_NE(countNumbers, nullptr);
    std::latch hasRead(1);
    std::latch isUnloaded(1);
    std::jthread thread([&] {
        EXPECT_EQ(countNumbers(), 3U);
        hasRead.count_down();
        isUnloaded.wait();
    });
    hasRead.wait();
    EXPECT_EQ(::dlclose(plugin), 0);
    isUnloaded.count_down();
}

} // namespace
