#pragma once

/// \file
/// The ratings of single elements. `Corners` is anything whose operator[](k) gives corner k as a vector2 or
/// vector3 of doubles, or of `lanes`: then several elements are rated side by side by the same arithmetic,
/// which is why selections stand in place of branches.

#include "solid_shapes.h"

#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <utility>

namespace qv7::plexo {

/// Doubles that the vector units of every 64-bit machine process together.
inline constexpr unsigned int LANES = 2;
using lanes = double __attribute__((vector_size(LANES * sizeof(double))));

inline double root(double a) {
    return std::sqrt(a);
}
inline lanes root(lanes a) {
    lanes result;
    for (unsigned int i = 0; i < LANES; ++i) result[i] = std::sqrt(a[i]);
    return result;
}

template <typename Real>
Real smaller(Real a, Real b) {
    return b < a ? b : a;
}
template <typename Real>
Real larger(Real a, Real b) {
    return a < b ? b : a;
}
template <typename Real>
Real every_lane(double value) {
    return Real{} + value;
}

/// Conditions joined by & and |, which leave an int of two bools, and an integer per lane of two comparisons.
inline bool in_every_lane(int condition) {
    return condition != 0;
}
template <typename Mask>
bool in_every_lane(Mask condition) {
    bool all = true;
    for (unsigned int i = 0; i < LANES; ++i) all &= condition[i] != 0;
    return all;
}

template <typename Real>
struct vector2 {
    Real x, y;
};
template <typename Real>
struct vector3 {
    Real x, y, z;
};

template <typename Real>
vector2<Real> operator-(const vector2<Real>& a, const vector2<Real>& b) {
    return {a.x - b.x, a.y - b.y};
}
template <typename Real>
vector3<Real> operator-(const vector3<Real>& a, const vector3<Real>& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
template <typename Real>
Real dot(const vector2<Real>& a, const vector2<Real>& b) {
    return a.x * b.x + a.y * b.y;
}
template <typename Real>
Real dot(const vector3<Real>& a, const vector3<Real>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
template <typename Real>
Real cross(const vector2<Real>& a, const vector2<Real>& b) {
    return a.x * b.y - a.y * b.x;
}
template <typename Real>
vector3<Real> cross(const vector3<Real>& a, const vector3<Real>& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
/// a · (b × c)
template <typename Real>
Real determinant(const vector3<Real>& a, const vector3<Real>& b, const vector3<Real>& c) {
    return dot(a, cross(b, c));
}

/// What a rating gives when its arithmetic cannot be trusted; never the rating of finite coordinates.
inline constexpr double UNDECIDED = std::numeric_limits<double>::quiet_NaN();

/// `q` when fourth powers of lengths can neither overflow nor lose digits to underflow, judged by a sum of
/// squared lengths; else, also for coordinates that are not finite, UNDECIDED.
template <typename Real>
Real trusted(Real q, Real sum_of_squares) {
    const auto moderate = (sum_of_squares > 0x1p-400) & (sum_of_squares < 0x1p400);
    return moderate ? q : every_lane<Real>(UNDECIDED);
}

template <typename Real>
Real clamp_rating(Real q) {
    return larger(every_lane<Real>(-1), smaller(every_lane<Real>(1), q));
}

/// Twice the area of the triangle spanned by two sides: signed in 2-D.
template <typename Real>
Real parallelogram(const vector2<Real>& u, const vector2<Real>& v) {
    return cross(u, v);
}
template <typename Real>
Real parallelogram(const vector3<Real>& u, const vector3<Real>& v) {
    const vector3<Real> normal = cross(u, v);
    return root(dot(normal, normal));
}

template <typename Corners>
auto triangle_rating(const Corners& p) {
    const auto u = p[1] - p[0], v = p[2] - p[0], w = p[2] - p[1];
    const auto uu = dot(u, u), vv = dot(v, v), ww = dot(w, w);
    const auto l01 = root(uu), l02 = root(vv), l12 = root(ww);
    const auto longest = larger(larger(l01, l02), l12);
    const auto q = 2 * SQRT_3 * parallelogram(u, v) / (longest * (l01 + l02 + l12));
    return trusted(clamp_rating(q), uu + vv + ww);
}

/// Corner value of a quadrangle between its incoming and outgoing side.
template <typename Real>
Real corner_value(const vector2<Real>& in, const vector2<Real>& out, const Real&) {
    return cross(in, out);
}
template <typename Real>
Real corner_value(const vector3<Real>& in, const vector3<Real>& out, const vector3<Real>& mean_normal) {
    const vector3<Real> normal = cross(in, out);
    const Real value = root(dot(normal, normal));
    const Real side = dot(normal, mean_normal);
    return side > 0 ? value : (side < 0 ? -value : Real{});
}

template <typename Corners>
auto quadrangle_rating(const Corners& p) {
    const auto e0 = p[1] - p[0], e1 = p[2] - p[1], e2 = p[3] - p[2], e3 = p[0] - p[3];
    const auto d = p[2] - p[0], f = p[3] - p[1];
    const auto s0 = dot(e0, e0), s1 = dot(e1, e1), s2 = dot(e2, e2), s3 = dot(e3, e3);
    const auto dd = dot(d, d), ff = dot(f, f);
    const auto perimeter = root(s0) + root(s1) + root(s2) + root(s3);
    const auto longest = root(larger(larger(larger(s0, s1), larger(s2, s3)), larger(dd, ff)));
    const auto mean_normal = cross(d, f);
    const auto least = smaller(smaller(corner_value(e3, e0, mean_normal), corner_value(e0, e1, mean_normal)),
                               smaller(corner_value(e1, e2, mean_normal), corner_value(e2, e3, mean_normal)));
    const auto q = clamp_rating(4 * SQRT_2 * least / (perimeter * longest));
    return trusted(larger(dd, ff) > 0 ? q : decltype(q){}, s0 + s1 + s2 + s3 + dd + ff);
}

/// Rates a tetrahedron of moderate size or less, given the edges from its last corner; `sum_of_squares`
/// becomes the sum of its squared lengths.
template <typename Real>
Real tetrahedron_rating(const vector3<Real>& a, const vector3<Real>& b, const vector3<Real>& c,
                        Real& sum_of_squares) {
    const vector3<Real> u = a - b, v = a - c, w = b - c;
    const Real aa = dot(a, a), bb = dot(b, b), cc = dot(c, c), uu = dot(u, u), vv = dot(v, v), ww = dot(w, w);
    const Real ab = dot(a, b), ac = dot(a, c), bc = dot(b, c), uv = dot(u, v);
    const Real f1 = aa * bb - ab * ab, f2 = aa * cc - ac * ac, f3 = bb * cc - bc * bc, f4 = uu * vv - uv * uv;
    const Real faces = root(f1) + root(f2) + root(f3) + root(f4);
    const Real longest = root(larger(larger(larger(aa, bb), larger(cc, uu)), larger(vv, ww)));
    const Real q = clamp_rating(2 * SQRT_6 * determinant(a, b, c) / (faces * longest));
    sum_of_squares = aa + bb + cc + uu + vv + ww;
    const auto has_surface = (f1 > 0) & (f2 > 0) & (f3 > 0) & (f4 > 0) & (faces * longest > 0);
    return has_surface ? q : Real{};
}

template <typename Corners>
auto tetrahedron_rating(const Corners& p) {
    auto sum_of_squares = decltype(p[0].x){};
    const auto q = tetrahedron_rating(p[0] - p[3], p[1] - p[3], p[2] - p[3], sum_of_squares);
    return trusted(q, sum_of_squares);
}

/// Calls visit(0) … visit(N - 1), unrolled so that table entries are constants of the arithmetic.
template <std::size_t N, typename Visit>
[[gnu::always_inline]] inline void unrolled(Visit visit) {
    [&]<std::size_t... K>(std::index_sequence<K...>) __attribute__((always_inline)) {
        (visit(K), ...);
    }
    (std::make_index_sequence<N>());
}

/// The mean of the corners of a solid.
template <typename Solid, typename Corners>
auto centre_of(const Corners& p) {
    constexpr double SHARE = 1.0 / Solid::CORNERS; // taken of each corner, as their sum might overflow
    auto centre = decltype(p[0] - p[0]){};
    unrolled<Solid::CORNERS>([&](std::size_t k) __attribute__((always_inline)) {
        const auto corner = p[k];
        centre = {centre.x + corner.x * SHARE, centre.y + corner.y * SHARE, centre.z + corner.z * SHARE};
    });
    return centre;
}

/// Calls visit(a, b, c) with the edges of each validity tetrahedron from its last corner.
template <typename Solid, typename Corners, typename Visit>
[[gnu::always_inline]] inline void for_each_validity_tetrahedron(const Corners& p, Visit visit) {
    const auto centre = centre_of<Solid>(p);
    unrolled<std::size(Solid::VALIDITY)>([&](std::size_t k) __attribute__((always_inline)) {
        const validity_tetrahedron& t = Solid::VALIDITY[k];
        const auto apex = t[3] == Solid::CORNERS ? centre : p[t[3]];
        visit(p[t[0]] - apex, p[t[1]] - apex, p[t[2]] - apex);
    });
}

/// The smallest corner product over the 1.5th power of the sum of squared lengths.
template <typename Solid, typename Corners, typename Real>
Real volume_rating(const Corners& p, Real& sum_of_squares) {
    Real sum{};
    unrolled<Solid::EDGES.count>([&](std::size_t k) __attribute__((always_inline)) {
        const auto& ends = Solid::EDGES.nodes[k];
        const auto side = p[ends[1]] - p[ends[0]];
        sum += Solid::weight(ends[0], ends[1]) * dot(side, side);
    });
    Real least = every_lane<Real>(std::numeric_limits<double>::infinity());
    unrolled<std::size(Solid::RATED_CORNERS)>([&](std::size_t k) __attribute__((always_inline)) {
        const corner_edges& c = Solid::RATED_CORNERS[k];
        const auto corner = p[c.corner];
        const auto normal = cross(p[c.neighbours[0]] - corner, p[c.neighbours[1]] - corner);
        least = smaller(least, dot(normal, p[c.neighbours[2]] - corner));
    });
    sum_of_squares = sum;
    const Real q = clamp_rating(Solid::FACTOR * least / (sum * root(sum)));
    return sum > 0 ? q : Real{};
}

/// Elements that rate more than this are tested for validity, which is bad below it.
inline constexpr double VALIDITY_THRESHOLD = 1e-12;

/// The rating of a pyramid, wedge or hexahedron: its volume rating or, where that hides an invalid element,
/// the least rating of its validity tetrahedra.
///
/// Elements that are clearly valid, or not good anyway, are told by determinants alone: no length L in a
/// validity tetrahedron exceeds B = 2 √ΣL². Where its determinant exceeds 1e-7 B³, its rating exceeds 1e-7
/// (as F ≤ 2√3 Lmax²), and the areas of its faces exceed 1e-7 B², too much for rounding to turn their squares
/// negative.
template <typename Solid, typename Corners>
auto solid_rating(const Corners& p) {
    using real = decltype(p[0].x);
    real sum_of_squares{};
    const real volume = volume_rating<Solid>(p, sum_of_squares);
    real least = every_lane<real>(std::numeric_limits<double>::infinity());
    for_each_validity_tetrahedron<Solid>(
        p, [&](const auto& a, const auto& b, const auto& c)
               __attribute__((always_inline)) { least = smaller(least, determinant(a, b, c)); });
    const auto decided =
        (volume <= VALIDITY_THRESHOLD) | (least > 8e-7 * sum_of_squares * root(sum_of_squares));
    if (in_every_lane(decided)) return trusted(volume, sum_of_squares);

    real validity = every_lane<real>(1);
    for_each_validity_tetrahedron<Solid>(p, [&](const auto& a, const auto& b, const auto& c) {
        real its_sum_of_squares{};
        validity = smaller(validity, tetrahedron_rating(a, b, c, its_sum_of_squares));
    });
    const auto invalid = (volume > VALIDITY_THRESHOLD) & (validity < VALIDITY_THRESHOLD);
    return trusted(invalid ? validity : volume, sum_of_squares);
}

} // namespace qv7::plexo
