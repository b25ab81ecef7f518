#pragma once

/// \file
/// Tests of what happens when memory runs out.

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cstddef>
#include <cstdlib>

namespace test {

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define PLEXO_TEST_UNDER_SANITIZER 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define PLEXO_TEST_UNDER_SANITIZER 1
#endif

/// Runs `scene` in a child process whose whole address space is 512 MB; it must return true.
template <typename Scene>
void expect_survives_without_memory([[maybe_unused]] Scene scene) {
#if defined(PLEXO_TEST_UNDER_SANITIZER)
    GTEST_SKIP() << "a sanitizer needs more address space than that";
#else
    const auto child = [&scene] {
        const rlimit limit{std::size_t(512) << 20, std::size_t(512) << 20};
        const bool survived = setrlimit(RLIMIT_AS, &limit) == 0 && scene();
        std::_Exit(survived ? 0 : 1);
    };
    EXPECT_EXIT(child(), testing::ExitedWithCode(0), "");
#endif
}

} // namespace test
