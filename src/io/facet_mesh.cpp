#include "io/facet_mesh.h"

#include "geometry/crowded_nodes.h"

#include <plexo/geometry.h>
#include <plexo/ids.h>

#include <algorithm>
#include <bit>
#include <cmath>

namespace qv7::plexo::io {

namespace {

struct vector3 {
    double x, y, z;
};

inline vector3 difference(const double* a, const double* b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
inline vector3 cross(const vector3& a, const vector3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double squared_length(const vector3& a) {
    return a.x * a.x + a.y * a.y + a.z * a.z;
}
inline double length(const vector3& a) {
    return std::sqrt(squared_length(a));
}

// The distance from p to the line through q and r; where these are one point, the (zero) length of the
// product.
double distance_to_line(const double* p, const double* q, const double* r) {
    const vector3 base = difference(r, q);
    const double product = length(cross(difference(p, q), base));
    const double base_length = length(base);
    return base_length != 0 ? product / base_length : product;
}

double triangle_height(const double* corners) {
    const double *a = corners, *b = corners + 3, *c = corners + 6;
    return std::min({distance_to_line(a, b, c), distance_to_line(b, c, a), distance_to_line(c, a, b)});
}

// True when the height is certainly above `height`. The height is twice the area over the longest side; what
// rounding can change of it, here and in triangle_height, is far below the margins.
inline bool surely_higher(const double* corners, double height) {
    const vector3 ab = difference(corners + 3, corners), ac = difference(corners + 6, corners),
                  bc = difference(corners + 6, corners + 3);
    const double product = squared_length(cross(ab, ac));
    const double longest = std::max({squared_length(ab), squared_length(ac), squared_length(bc)});
    return product > 1e-200 && product > height * height * longest * 1.00001 + 1e-20 * longest * longest;
}

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

constexpr std::size_t MOST_FACETS = NO_ID / 3; // whose nodes can be numbered
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

bool facet_mesh::reserve(std::size_t facets) {
    if (facets > MOST_FACETS || !connectM_.resize_for_overwrite(3, unsigned(facets))) return false;
    // a closed surface has half as many points as facets, one with borders somewhat more
    likely_points_ = unsigned(facets / 2 + facets / 32);
    return points_.reserve(3, likely_points_) && table_.reserve(likely_points_);
}

bool facet_mesh::add(const facet* facets, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        if (surely_higher(facets[i].data(), smallest_height_)) continue;
        const double height = triangle_height(facets[i].data());
        if (height > 0 && height < smallest_height_) smallest_height_ = height;
    }
    if (triangles_ + count > connectM_.cols()) {
        const std::size_t more = std::max(triangles_ + count, triangles_ + triangles_ / 2);
        if (more > MOST_FACETS || !connectM_.resize(3, unsigned(more))) return false;
    }
    if (!merging_) {
        if (smallest_height_ == std::numeric_limits<double>::max()) return add_unmerged(facets, count);
        if (!merge_equal_points()) return false;
    }
    if (!table_.find_or_add(facets->data(), 3 * count, connectM_.col_data(unsigned(triangles_))))
        return false;
    triangles_ += count;
    return true;
}

bool facet_mesh::add_unmerged(const facet* facets, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        unsigned int* const nodes = connectM_.col_data(unsigned(triangles_++));
        for (unsigned int k = 0; k < 3; ++k) {
            nodes[k] = points_.cols();
            if (!points_.push_back_col(facets[i].data() + 3 * k)) return false;
        }
    }
    return true;
}

// Does for the facets so far what the table does from now on.
bool facet_mesh::merge_equal_points() {
    merging_ = true;
    const dense2D<double> unmerged = points_;
    points_ = dense2D<double>(3, 0);
    if (!points_.reserve(3, likely_points_)) return false;
    return table_.find_or_add(unmerged.data(), unmerged.cols(), connectM_.data());
}

// The facets name the points in increasing order, which the list of crowded ones keeps.
int facet_mesh::merge_close_points() {
    const double tol = 0.05 * smallest_height_;
    dense1D<unsigned int, 16> crowded, new_IDs;
    if (!list_crowded_nodes(points_, tol, crowded)) return -199;
    if (crowded.empty()) return 0;
    const int merged = merge(points_, crowded, new_IDs, tol);
    if (merged > 0) change_indices(connectM_, new_IDs);
    return merged;
}

int facet_mesh::finish(dense2D<double>& pos, dense2D<unsigned int>& connectM) {
    table_.release();
    if (!connectM_.resize(3, unsigned(triangles_))) return -199;
    if (merging_) {
        const int merged = merge_close_points();
        if (merged < 0) return merged;
        dense1D<unsigned int, 16> new_IDs;
        const int removed = remove_degenerated(connectM_, new_IDs, false);
        if (removed < 0) return removed;
        // until a point is merged or a triangle removed, every point is in use
        const int unused = merged > 0 || removed > 0 ? simplify(points_, connectM_, 0) : 0;
        if (unused < 0) return unused;
    }
    pos = points_;
    connectM = connectM_;
    return int(connectM.cols());
}

} // namespace qv7::plexo::io
