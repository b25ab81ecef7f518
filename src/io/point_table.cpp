#include "io/point_table.h"

#include <algorithm>
#include <bit>

namespace qv7::plexo::io {

namespace {

inline std::uint32_t hash_of(const double* xyz) {
    const auto bits = [](double x) { return std::bit_cast<std::uint64_t>(x + 0.0); }; // -0.0 becomes 0.0
    std::uint64_t h = bits(xyz[0]) * 0x9e3779b97f4a7c15u;
    h ^= std::rotl(bits(xyz[1]) * 0xc2b2ae3d27d4eb4fu, 23);
    h ^= std::rotl(bits(xyz[2]) * 0x165667b19e3779f9u, 47);
    h ^= h >> 29;
    h *= 0xd6e8feb86659fd93u;
    return std::uint32_t(h >> 32);
}

inline bool is_finite(const double* xyz) {
    return (xyz[0] - xyz[0]) + (xyz[1] - xyz[1]) + (xyz[2] - xyz[2]) == 0;
}

inline bool equal(const double* a, const double* b) {
    return a[0] == b[0] && a[1] == b[1] && a[2] == b[2];
}

constexpr std::size_t SMALLEST_TABLE = 1024;
constexpr std::size_t LARGEST_TABLE = std::size_t(1) << 32; // slots are found by the bits of a 32-bit hash

} // namespace

// The points are all there is to enter, so the smaller table goes before the larger one comes.
bool point_table::rehash(std::size_t slots) {
    if (slots > LARGEST_TABLE) return false;
    if (recent_.size() == 0 && !recent_.allocate_filled(RECENT, 0xff)) return false;
    if (!slots_.allocate_filled(slots, 0xff)) return false;
    shift_ = unsigned(32 - std::countr_zero(slots));
    for (unsigned int column = 0; column < points_.cols(); ++column) {
        const double* const xyz = points_.col_data(column);
        if (is_finite(xyz)) slots_[free_slot(hash_of(xyz))] = rounded(xyz, column);
    }
    return true;
}

bool point_table::reserve(std::size_t n) {
    // at most three quarters full
    return 4 * n <= 3 * slots_.size() || rehash(std::bit_ceil(std::max(n + n / 3 + 1, SMALLEST_TABLE)));
}

bool point_table::add(const double* xyz, unsigned int& column) {
    column = points_.cols();
    return points_.push_back_col(xyz);
}

inline bool point_table::holds(const slot& s, const double* xyz) const {
    const bool alike = (s.x == float(xyz[0])) & (s.y == float(xyz[1])) & (s.z == float(xyz[2]));
    return alike && (single_precision_ || equal(points_.col_data(s.column), xyz));
}

std::size_t point_table::free_slot(std::uint32_t hash) const {
    std::size_t at = hash >> shift_;
    while (slots_[at].column != NO_ID) at = (at + 1) & (slots_.size() - 1);
    return at;
}

// Finds or adds a finite point in the table proper.
inline bool point_table::search(const double* xyz, std::uint32_t hash, unsigned int& column) {
    slot* const slots = slots_.data();
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = hash >> shift_;
    for (; slots[at].column != NO_ID; at = (at + 1) & mask) {
        if (holds(slots[at], xyz)) {
            column = slots[at].column;
            return true;
        }
    }
    if (!add(xyz, column)) return false;
    slots[at] = rounded(xyz, column);
    ++used_;
    return true;
}

bool point_table::find_or_add(const double* xyz, std::size_t count, unsigned int* columns) {
    constexpr std::size_t SIDE_BY_SIDE = 64;
    std::uint32_t hashes[SIDE_BY_SIDE];
    std::uint32_t misses[SIDE_BY_SIDE]; // the points that are not among the recent ones
    while (count != 0) {
        const std::size_t n = std::min(count, SIDE_BY_SIDE);
        if (!reserve(used_ + n)) return false;
        std::size_t missing = 0;
        for (std::size_t i = 0; i < n; ++i) {
            hashes[i] = hash_of(xyz + 3 * i);
            const slot& recent = recent_[hashes[i] % RECENT];
            if (holds(recent, xyz + 3 * i)) {
                columns[i] = recent.column;
            } else {
                misses[missing++] = std::uint32_t(i);
                __builtin_prefetch(&slots_[hashes[i] >> shift_], 1);
            }
        }
        for (std::size_t k = 0; k < missing; ++k) {
            const std::size_t i = misses[k];
            const double* const point = xyz + 3 * i;
            if (!is_finite(point)) {
                if (!add(point, columns[i])) return false;
                continue;
            }
            if (!search(point, hashes[i], columns[i])) return false;
            recent_[hashes[i] % RECENT] = rounded(point, columns[i]);
        }
        xyz += 3 * n;
        columns += n;
        count -= n;
    }
    return true;
}

void point_table::release() {
    scratch<slot>().swap(slots_);
    scratch<slot>().swap(recent_);
    used_ = 0;
}

} // namespace qv7::plexo::io
