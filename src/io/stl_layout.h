#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// The binary STL file: a header, the number of facets, and per facet the normal, three vertices and an
/// attribute. All numbers are little-endian, all reals 4-byte floats.
namespace qv7::plexo::stl {

inline constexpr std::size_t HEADER_SIZE = 80;
inline constexpr std::size_t COUNT_SIZE = 4;
inline constexpr std::size_t NORMAL_SIZE = 12;
inline constexpr std::size_t ATTRIBUTE_SIZE = 2;
inline constexpr std::size_t FACET_SIZE = 50;

constexpr std::uint32_t little_endian(std::uint32_t x) {
    if constexpr (std::endian::native == std::endian::little) return x;
    return (x >> 24) | ((x >> 8) & 0xff00) | ((x << 8) & 0xff0000) | (x << 24);
}

inline void store_u32(char* at, std::uint32_t x) {
    x = little_endian(x);
    std::memcpy(at, &x, sizeof x);
}

inline std::uint32_t load_u32(const char* at) {
    std::uint32_t x;
    std::memcpy(&x, at, sizeof x);
    return little_endian(x);
}

inline float load_float(const char* at) {
    return std::bit_cast<float>(load_u32(at));
}

} // namespace qv7::plexo::stl
