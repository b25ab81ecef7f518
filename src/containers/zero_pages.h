#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace qv7::math1 {

/// Zeroes a block from __vector_num_alloc of which little may ever be used: whole pages are handed back to
/// the system, which gives zeros, page by page, to whoever touches them. Pages are small again afterwards, so
/// that one entry does not cost a huge page.
inline void zero_lazily(void* block, std::size_t bytes) noexcept {
    auto* const first = static_cast<unsigned char*>(block);
#if defined(__linux__)
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first_page = (begin + page - 1) / page * page;
    const std::uintptr_t last_page = (begin + bytes) / page * page;
    if (first_page < last_page) {
        unsigned char* const pages = first + (first_page - begin);
        const std::size_t length = last_page - first_page;
        madvise(pages, length, MADV_NOHUGEPAGE); // only a hint
        if (madvise(pages, length, MADV_DONTNEED) == 0) {
            std::memset(first, 0, first_page - begin);
            std::memset(pages + length, 0, begin + bytes - last_page);
            return;
        }
    }
#endif
    if (bytes != 0) std::memset(first, 0, bytes);
}

} // namespace qv7::math1
