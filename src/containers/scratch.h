#pragma once

#include <plexo/containers/storage.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace qv7::plexo {

/// Uninitialised working memory for the length of one call, from the same huge-page allocator as container
/// storage.
template <typename T>
class scratch {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

public:
    scratch() noexcept = default;
    scratch(const scratch&) = delete;
    scratch& operator=(const scratch&) = delete;
    ~scratch() { math1::__vector_num_free(data_); }

    /// Room for n entries of unspecified value, in place of what was held; false when it cannot be had.
    [[nodiscard]] bool allocate(std::size_t n) noexcept {
        math1::__vector_num_free(data_);
        data_ = nullptr;
        size_ = 0;
        if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) return false;
        data_ = static_cast<T*>(math1::__vector_num_alloc(n * sizeof(T)));
        if (!data_ && n != 0) return false;
        size_ = n;
        return true;
    }

    /// The same with every byte set to `byte` (0x00 or 0xFF: zeros or NO_ID).
    [[nodiscard]] bool allocate_filled(std::size_t n, unsigned char byte) noexcept {
        if (!allocate(n)) return false;
        if (n != 0) std::memset(static_cast<void*>(data_), byte, n * sizeof(T));
        return true;
    }

    /// Forgets the entries from n on.
    void shrink(std::size_t n) noexcept { size_ = n; }

    void swap(scratch& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
    }

    T* data() noexcept { return data_; }
    const T* data() const noexcept { return data_; }
    std::size_t size() const noexcept { return size_; }
    T& operator[](std::size_t i) noexcept { return data_[i]; }
    const T& operator[](std::size_t i) const noexcept { return data_[i]; }

private:
    T* data_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace qv7::plexo
