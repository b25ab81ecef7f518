#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qv7::math1 {

/// The most entries that a container can hold.
inline constexpr std::uint64_t MAX_ENTRIES = 0xFFFFFFFFu;

/// Capacity for a container of `size` entries that grows to `needed`: half as much again, so that appending
/// is amortised constant, but exactly what is asked for on the first allocation.
inline std::size_t grown_capacity(std::size_t size, std::size_t needed) noexcept {
    return static_cast<std::size_t>(std::min<std::uint64_t>(std::max(needed, size + size / 2), MAX_ENTRIES));
}

} // namespace qv7::math1
