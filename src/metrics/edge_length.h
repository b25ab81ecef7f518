#pragma once

#include <cmath>
#include <limits>

namespace qv7::plexo {

/// Stands for an infinite length, quality or bound.
inline constexpr double LARGEST_DOUBLE = std::numeric_limits<double>::max();

/// Entries of a packed symmetric N×N matrix.
constexpr unsigned int packed_size(unsigned int N) {
    return N * (N + 1) / 2;
}

/// The logarithmic mean (M - m) / ln(M / m) of two sizes: the constant size that gives an edge the same
/// length as a size that varies geometrically from one end to the other. 0 when a size is not positive, NaN
/// when one is NaN and none is the cause of a 0.
///
/// Sizes within 0.1 % of each other are averaged by M / (1 + t/2 + t²/3 + …), t = 1 - m/M, where the closed
/// form would cancel.
inline double logarithmic_mean(double a, double b) {
    const double larger = a >= b ? a : b;
    const double smaller = a >= b ? b : a;
    if (smaller <= 0) return 0;
    const double ratio = smaller / larger;
    const double x = ratio - 1;
    if (x < -0.001) return larger * x / std::log(ratio);
    const double t = -x;
    if (t <= 1e-12) return larger;
    double sum = 1;
    double power = t;
    for (int k = 1;; ++k, power *= t) {
        const double term = power / (k + 1);
        sum += term;
        if (!(term > 1e-12)) break; // also on NaN
    }
    return larger / sum;
}

/// Length, measured in a size field, of an edge of Euclidean length `length` between nodes of sizes a and b.
/// The largest double when the mean size is not positive.
inline double length_in_sizes(double length, double a, double b) {
    const double mean = logarithmic_mean(a, b);
    return mean > 0 ? length / mean : LARGEST_DOUBLE;
}

/// vᵀMv for a packed symmetric matrix M: every off-diagonal entry counts twice.
template <unsigned int N>
double quadratic_form(const double* m, const double* v) {
    static_assert(N == 2 || N == 3);
    double sum = m[0] * v[0] * v[0] + 2 * (m[1] * v[0] * v[1]) + m[2] * v[1] * v[1];
    if constexpr (N == 3) {
        sum += 2 * (m[3] * v[0] * v[2]) + 2 * (m[4] * v[1] * v[2]) + m[5] * v[2] * v[2];
    }
    return sum;
}

/// Sizes that the metrics at the two ends of an edge prescribe along it, in units of the edge's own length.
struct end_sizes {
    double a = 0;
    double b = 0;
};

/// End sizes of the edge with vector v between nodes of (packed) metrics A and B; false, and nothing written,
/// when a metric is not positive along the edge. The length of the edge in the metrics is length_in_sizes(1,
/// a, b).
template <unsigned int N>
bool sizes_along_edge(const double* A, const double* B, const double* v, end_sizes& sizes) {
    const double qa = quadratic_form<N>(A, v);
    const double qb = quadratic_form<N>(B, v);
    if (!(qa > 0 && qb > 0)) return false;
    sizes = {std::sqrt(1 / qa), std::sqrt(1 / qb)};
    return true;
}

/// v = q - p; returns its Euclidean length.
template <unsigned int N>
double edge_vector(const double* p, const double* q, double* v) {
    double sum = 0;
    for (unsigned int i = 0; i < N; ++i) {
        v[i] = q[i] - p[i];
        sum += v[i] * v[i];
    }
    if (!(sum <= 0x1p-900 || sum >= 0x1p900)) return std::sqrt(sum); // also NaN
    // Squares of extreme lengths overflow or vanish. The hypot of three arguments errs on infinite ones.
    double length = std::hypot(v[0], v[1]);
    if constexpr (N == 3) length = std::hypot(length, v[2]);
    return length;
}

} // namespace qv7::plexo
