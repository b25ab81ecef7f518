#pragma once

/// \file
/// Tests of what happens when memory runs out.

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <fstream>

namespace test {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define PLEXO_TEST_UNDER_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PLEXO_TEST_UNDER_SANITIZER 1
#endif

/// The address space that the process has taken so far, in bytes.
inline std::size_t address_space_in_use() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// Runs `scene` in a child process that may take 512 MB on top of a bare program; it must return true. What
/// earlier tests have left (the heaps of threads, say) does not count.
template <typename Scene>
void expect_survives_without_memory([[maybe_unused]] Scene scene) {
#if defined(PLEXO_TEST_UNDER_SANITIZER)
    GTEST_SKIP() << "a sanitizer needs more address space than that";
#else
    const auto child = [&scene] {
        const rlim_t bytes =
            std::max(std::size_t(512) << 20, address_space_in_use() + (std::size_t(460) << 20));
        const rlimit limit{bytes, bytes};
        const bool survived = setrlimit(RLIMIT_AS, &limit) == 0 && scene();
        std::_Exit(survived ? 0 : 1);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
#endif
}

/// Takes the memory that is left, down to pieces of a megabyte, until the process ends.
inline void use_up_memory() {
    static void* volatile piece;
    do {
        piece = std::malloc(std::size_t(1) << 20);
    } while (piece != nullptr);
}

} // namespace test
