#include "io/facet_mesh.h"

#include "geometry/crowded_nodes.h"

#include <plexo/geometry.h>
#include <plexo/ids.h>

#include <algorithm>
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

constexpr std::size_t MOST_FACETS = NO_ID / 3; // whose nodes can be numbered

} // namespace

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
