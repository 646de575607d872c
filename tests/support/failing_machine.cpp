#include "support/failing_machine.hpp"

#include <cerrno>
#include <cstdlib>
#include <new>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace test {

namespace {

std::atomic<unsigned> failing = noFault;
std::atomic<bool> failsFurther = false;
thread_local bool isCaller = false; // whether `malloc` and its like count

// Not inlined, or GCC 12 sees `std::free` after `operator new` and takes it for a mistake.
[[gnu::noinline]] void giveBack(void* block) noexcept {
    living -= block != nullptr ? 1 : 0;
    std::free(block);
}

} // namespace

Faults::Faults(unsigned kinds, bool allFurther) {
    failsFurther = allFurther;
    failing = kinds;
    isCaller = true;
}

Faults::~Faults() {
    isCaller = false;
    failing = noFault;
}

bool failsNow(Fault kind) {
    if ((failing & kind) == 0) {
        return false;
    }
    const long now = --left;
    return now == 0 || (now < 0 && failsFurther);
}

} // namespace test

// NOLINTBEGIN: the standard's names and signatures
void* operator new(std::size_t size) {
    const bool fails = test::failsNow(test::news) || size > test::largest;
    const bool wasCaller = std::exchange(test::isCaller, false);
    void* const block = fails ? nullptr : std::malloc(size == 0 ? 1 : size);
    test::isCaller = wasCaller;
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++test::living;
    return block;
}
void operator delete(void* block) noexcept {
    test::giveBack(block);
}
void operator delete(void* block, std::size_t) noexcept {
    test::giveBack(block);
}
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_realloc(void*, std::size_t);
__attribute__((visibility("default"))) void* malloc(std::size_t size) {
    return test::isCaller && test::failsNow(test::mallocs) ? nullptr : __libc_malloc(size);
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
    return test::isCaller && test::failsNow(test::reallocs) ? nullptr : __libc_realloc(block, size);
}
__attribute__((visibility("default"))) void* mmap(void* at, std::size_t size, int protection,
                                                  int flags, int file, off_t offset) noexcept {
    if (test::isCaller && test::failsNow(test::mappings)) {
        errno = ENOMEM;
        return MAP_FAILED;
    }
    return reinterpret_cast<void*>(::syscall(SYS_mmap, at, size, protection, flags, file, offset));
}
}
#endif
// NOLINTEND
