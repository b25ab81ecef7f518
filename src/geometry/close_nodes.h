#pragma once

#include <cmath>
#include <cstddef>

namespace qv7::plexo {

/// Coordinates of a node; z = 0 in the plane, which leaves every distance as it is.
struct point {
    double x, y, z;
};

/// The nodes of a coordinate matrix.
struct node_positions {
    const double* data;
    std::size_t ld;
    bool spatial; ///< three rows, else two

    point operator[](unsigned int node) const noexcept {
        const double* column = data + node * ld;
        return {column[0], column[1], spatial ? column[2] : 0.0};
    }
};

/// Infinity times zero is NaN, so one comparison tests all three.
inline bool finite(const point& p) noexcept {
    return p.x * 0.0 + p.y * 0.0 + p.z * 0.0 == 0.0;
}

inline double squared_distance(const point& p, const point& q) noexcept {
    const double dx = q.x - p.x;
    const double dy = q.y - p.y;
    const double dz = q.z - p.z;
    return dx * dx + dy * dy + dz * dz;
}

inline double distance(const point& p, const point& q) noexcept {
    return std::sqrt(squared_distance(p, q));
}

/// True when q lies in the box p ± tol, bounds included. Rounding makes this one-sided: the box of q need not
/// hold p. NaN lies in no box.
inline bool in_box(const point& p, const point& q, double tol) noexcept {
    return q.x >= p.x - tol && q.x <= p.x + tol && q.y >= p.y - tol && q.y <= p.y + tol && q.z >= p.z - tol &&
           q.z <= p.z + tol;
}

/// True when p may absorb q.
inline bool reaches(const point& p, const point& q, double tol) noexcept {
    if (!in_box(p, q, tol)) return false;
    const double d2 = squared_distance(p, q);
    // What is clear from the squares needs no root.
    constexpr double CLEAR = 1 - 0x1p-50;
    return d2 < tol * tol * CLEAR || std::sqrt(d2) <= tol;
}

} // namespace qv7::plexo
