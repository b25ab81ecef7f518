#pragma once

/// \file
/// For tests of what happens when memory runs out, block by block.

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <climits>

namespace test {

/// How many more blocks for containers and working memory can be had; UINT_MAX is without a limit.
inline std::atomic<unsigned int> blocks_left = UINT_MAX;

} // namespace test

/// Takes the place of the C library's, from which the library has them.
extern "C" [[gnu::used]] inline int posix_memalign(void** memptr, std::size_t alignment,
                                                   std::size_t size) noexcept {
    if (test::blocks_left == 0) return ENOMEM;
    if (test::blocks_left != UINT_MAX) --test::blocks_left;
    *memptr = memalign(alignment, size);
    return *memptr ? 0 : ENOMEM;
}
