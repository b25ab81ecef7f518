#include "metrics/metric_algebra.h"

#include "lapack/dspev.h"

#include <cmath>
#include <utility>

namespace qv7::plexo {

namespace {

template <unsigned int N>
using metric = symmetric_fixed<double, N>;
template <unsigned int N>
using values_of = vector_fixed<double, N>;
template <unsigned int N>
using vectors_of = matrix_fixed<double, N, N>;

template <unsigned int N>
bool is_finite(const metric<N>& M) {
    return std::all_of(M.data(), M.data() + M.size(), [](double entry) { return std::isfinite(entry); });
}

template <unsigned int N>
metric<N> scaled_identity(double diagonal) {
    metric<N> M{};
    for (unsigned int i = 0; i < N; ++i) M(i, i) = diagonal;
    return M;
}

/// M times 2^-k for the k returned: 0 unless squares of the entries would overflow or vanish.
int scale_to_safe_range(metric<2>& M) {
    const double largest = std::max({std::abs(M[0]), std::abs(M[1]), std::abs(M[2])});
    if ((largest > 1e-140 && largest < 1e140) || !(largest > 0) || !is_finite(M)) return 0;
    const int k = std::ilogb(largest);
    for (unsigned int i = 0; i < M.size(); ++i) M[i] = std::ldexp(M[i], -k);
    return k;
}

/// Eigenvalues of a 2×2 metric in ascending order; true when they are finite.
bool eigenvalues_in_range(const metric<2>& M, values_of<2>& values) {
    const double a = M[0], b = M[1], e = M[2];
    if (b == 0) { // axis-aligned: every digit of the smaller one is known
        values = {std::min(a, e), std::max(a, e)};
        return is_finite(M);
    }
    const double determinant = a * e - b * b;
    const double spread = std::sqrt((a - e) * (a - e) + 4 * b * b);
    double low = (a + e - spread) * 0.5;
    double high = spread + low;
    // Where the sum cancels, the product of the eigenvalues still has its digits.
    if (std::abs(low) < 1e-12 * std::abs(high)) {
        low = determinant / high;
    } else if (std::abs(high) < 1e-12 * std::abs(low)) {
        high = determinant / low;
    }
    values = {low, high};
    return std::isfinite(low) && std::isfinite(high);
}

/// The unit eigenvector of the lower eigenvalue, from the row of M - λI that gives it the larger norm; the
/// first axis for a multiple of the identity.
vector_fixed<double, 2> lower_eigenvector(const metric<2>& M, double low) {
    const double a = M[0], b = M[1], e = M[2];
    const double to_a = low - a, to_e = low - e;
    const bool second_row = to_a * to_a < to_e * to_e;
    const double x = second_row ? to_e : b;
    const double y = second_row ? b : to_a;
    const double norm2 = x * x + y * y;
    if (1e-24 * std::max(a * a, e * e) >= norm2) return {1, 0};
    const double norm = std::sqrt(norm2);
    return {x / norm, y / norm};
}

/// The smallest eigenvalue; NaN when there is none.
double smallest_eigenvalue(const metric<2>& M) {
    metric<2> scaled = M;
    scale_to_safe_range(scaled); // the sign is what matters
    values_of<2> values;
    eigenvalues_in_range(scaled, values);
    return std::min(values[0], values[1]);
}

double smallest_eigenvalue(const metric<3>& M) {
    metric<3> packed = M;
    values_of<3> values;
    double work[9];
    int info = 0;
    lapack::dspev('N', 'U', 3, packed.data(), values.data(), nullptr, 1, work, info);
    return info == 0 ? values[0] : std::nan("");
}

bool decompose(metric<2> M, values_of<2>& values, vectors_of<2>& vectors) {
    const int k = scale_to_safe_range(M);
    values_of<2> found;
    if (!eigenvalues_in_range(M, found)) return false;
    const vector_fixed<double, 2> v = lower_eigenvector(M, found[0]);
    vectors = {v[0], v[1], -v[1], v[0]};
    if (k != 0) found = {std::ldexp(found[0], k), std::ldexp(found[1], k)};
    values = found;
    return true;
}

bool decompose(metric<3> M, values_of<3>& values, vectors_of<3>& vectors) {
    values_of<3> found;
    vectors_of<3> columns;
    double work[9];
    int info = 0;
    lapack::dspev('V', 'U', 3, M.data(), found.data(), columns.data(), 3, work, info);
    if (info != 0) return false;
    values = found;
    vectors = columns;
    return true;
}

/// R·diag(values)·Rᵀ.
template <unsigned int N>
metric<N> recompose(const values_of<N>& values, const vectors_of<N>& R) {
    metric<N> M;
    for (unsigned int j = 0, packed = 0; j < N; ++j) {
        for (unsigned int i = 0; i <= j; ++i, ++packed) {
            double sum = 0;
            for (unsigned int k = 0; k < N; ++k) sum += values[k] * R(i, k) * R(j, k);
            M[packed] = sum;
        }
    }
    return M;
}

template <unsigned int N>
bool is_positive_definite(const metric<N>& M) {
    const definiteness found = definiteness_by_minors(M);
    if (found != definiteness::uncertain) return found == definiteness::positive;
    return is_finite(M) && smallest_eigenvalue(M) > 0;
}

/// True when rounding cannot hide that every eigenvalue lies between the bounds: M - lowest·I and highest·I -
/// M are positive definite.
template <unsigned int N>
bool certainly_within(const metric<N>& M, double lowest, double highest) {
    constexpr double margin = 1e-12;
    metric<N> above = M, below;
    double trace = 0;
    for (unsigned int k = 0; k < M.size(); ++k) below[k] = -M[k];
    for (unsigned int i = 0; i < N; ++i) {
        above(i, i) = M(i, i) * (1 - margin) - lowest;
        below(i, i) = highest - M(i, i) * (1 + margin);
        trace += M(i, i);
    }
    return definiteness_by_minors(above) == definiteness::positive &&
           (trace * (1 + margin) < highest || definiteness_by_minors(below) == definiteness::positive);
}

template <unsigned int N>
void clamp_sizes(metric<N>& M, double hmin, double hmax) {
    const double highest = hmin > 0 ? 1 / (hmin * hmin) : LARGEST_DOUBLE;
    const double lowest = hmax > 0 ? 1 / (hmax * hmax) : 0;
    if (certainly_within(M, lowest, highest)) return;
    values_of<N> values;
    vectors_of<N> vectors;
    if (!decompose(M, values, vectors)) {
        M = scaled_identity<N>(highest);
        return;
    }
    bool changed = false;
    for (double& value : values) {
        const double found = value;
        if (value > highest) value = highest;
        if (value < lowest) value = lowest; // second, so that hmax prevails when hmin > hmax
        changed |= value != found;
    }
    if (changed) M = recompose(values, vectors);
}

template <unsigned int N>
void normalise_columns(vectors_of<N>& vectors) {
    for (unsigned int k = 0; k < N; ++k) {
        double norm2 = 0;
        for (unsigned int i = 0; i < N; ++i) norm2 += vectors(i, k) * vectors(i, k);
        const double norm = std::sqrt(norm2);
        if (norm == 0) continue;
        for (unsigned int i = 0; i < N; ++i) vectors(i, k) /= norm;
    }
}

/// Generalised eigen-pairs through K = L⁻¹·M2·L⁻ᵀ, M1 = L·Lᵀ.
bool decompose(const metric<2>& M1, const metric<2>& M2, values_of<2>& values, vectors_of<2>& vectors) {
    const double a = M1[0], b = M1[1], e = M1[2];
    const double p = M2[0], q = M2[1], s = M2[2];
    if (!(a > 0)) return false;
    const double r = b / a;
    const double g = e - b * r;
    if (!(g > 0)) return false;
    const double root_a = std::sqrt(a), root_g = std::sqrt(g);
    const metric<2> K{p / a, (q - p * r) / (root_a * root_g), (s - 2 * q * r + p * r * r) / g};
    vectors_of<2> columns;
    if (!decompose(K, values, columns)) return false;
    for (unsigned int k = 0; k < 2; ++k) {
        columns(1, k) /= root_g;
        columns(0, k) = columns(0, k) / root_a - columns(1, k) * r;
    }
    normalise_columns(columns);
    vectors = columns;
    return true;
}

/// The upper triangular U with M = UᵀU, packed like M; false when a pivot does not allow it. The last pivot
/// may be 0.
bool cholesky(const metric<3>& M, metric<3>& U) {
    if (!(M[0] > 0)) return false;
    const double u00 = std::sqrt(M[0]);
    const double u01 = M[1] / u00, u02 = M[3] / u00;
    const double p = M[2] - u01 * u01;
    if (!(p > 0)) return false;
    const double u11 = std::sqrt(p);
    const double u12 = (M[4] - u02 * u01) / u11;
    const double t = M[5] - u02 * u02 - u12 * u12;
    if (t < 0) return false;
    U = {u00, u01, u11, u02, u12, std::sqrt(t)};
    return true;
}

/// The inverse of a packed upper triangular matrix.
metric<3> inverse_of_upper(const metric<3>& U) {
    const double i0 = 1 / U[0], i1 = 1 / U[2], i2 = 1 / U[5];
    return {i0, -U[1] * i0 * i1, i1, (U[1] * U[4] * i1 - U[3]) * i0 * i2, -U[4] * i1 * i2, i2};
}

/// The product of two packed upper triangular matrices.
metric<3> product_of_upper(const metric<3>& A, const metric<3>& B) {
    return {A[0] * B[0],
            A[0] * B[1] + A[1] * B[2],
            A[2] * B[2],
            A[0] * B[3] + A[1] * B[4] + A[3] * B[5],
            A[2] * B[4] + A[4] * B[5],
            A[5] * B[5]};
}

/// PᵀP of a packed upper triangular matrix.
metric<3> gram_of_upper(const metric<3>& P) {
    return {P[0] * P[0],
            P[0] * P[1],
            P[1] * P[1] + P[2] * P[2],
            P[0] * P[3],
            P[1] * P[3] + P[2] * P[4],
            P[3] * P[3] + P[4] * P[4] + P[5] * P[5]};
}

/// Generalised eigen-pairs through K = U⁻ᵀ·M2·U⁻¹ = PᵀP with P = U2·U⁻¹, so that K is symmetric and
/// semi-definite to the last bit.
bool decompose(const metric<3>& M1, const metric<3>& M2, values_of<3>& values, vectors_of<3>& vectors) {
    metric<3> U, U2{};
    if (!cholesky(M1, U)) return false;
    const metric<3> inverse = inverse_of_upper(U);
    const bool is_zero = std::all_of(M2.data(), M2.data() + 6, [](double entry) { return entry == 0; });
    if (!is_zero && !cholesky(M2, U2)) return false;
    vectors_of<3> of_K;
    if (!decompose(gram_of_upper(product_of_upper(U2, inverse)), values, of_K)) return false;
    for (unsigned int k = 0; k < 3; ++k) {
        vectors(0, k) = inverse[0] * of_K(0, k) + inverse[1] * of_K(1, k) + inverse[3] * of_K(2, k);
        vectors(1, k) = inverse[2] * of_K(1, k) + inverse[4] * of_K(2, k);
        vectors(2, k) = inverse[5] * of_K(2, k);
    }
    normalise_columns(vectors);
    return true;
}

/// The inverse; the adjugate when the determinant is 0 or NaN.
vectors_of<2> inverse(const vectors_of<2>& P) {
    vectors_of<2> Q{P(1, 1), -P(1, 0), -P(0, 1), P(0, 0)};
    const double determinant = P(0, 0) * P(1, 1) - P(0, 1) * P(1, 0);
    if (std::abs(determinant) > 0) {
        for (double& entry : Q.entries) entry /= determinant;
    }
    return Q;
}

vectors_of<3> inverse(const vectors_of<3>& P) {
    vectors_of<3> Q;
    for (unsigned int i = 0; i < 3; ++i) {
        const unsigned int i1 = (i + 1) % 3, i2 = (i + 2) % 3;
        for (unsigned int j = 0; j < 3; ++j) {
            const unsigned int j1 = (j + 1) % 3, j2 = (j + 2) % 3;
            Q(j, i) = P(i1, j1) * P(i2, j2) - P(i1, j2) * P(i2, j1);
        }
    }
    const double determinant = P(0, 0) * Q(0, 0) + P(1, 0) * Q(0, 1) + P(2, 0) * Q(0, 2);
    if (std::abs(determinant) > 0) {
        for (double& entry : Q.entries) entry /= determinant;
    }
    return Q;
}

} // namespace

template <unsigned int N>
bool reduce(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
            simultaneous_reduction<N>& result) {
    values_of<N> ratios;
    vectors_of<N> P;
    if (!decompose(M1, M2, ratios, P)) return false;
    const vectors_of<N> Q = inverse(P);
    for (unsigned int k = 0; k < N; ++k) {
        result.first[k] = quadratic_form<N>(M1.data(), P.data() + N * k);
        result.second[k] = ratios[k] * result.first[k];
        for (unsigned int i = 0; i < N; ++i) result.axes(i, k) = Q(k, i);
    }
    return true;
}

template bool reduce(const symmetric_fixed<double, 2>&, const symmetric_fixed<double, 2>&,
                     simultaneous_reduction<2>&);
template bool reduce(const symmetric_fixed<double, 3>&, const symmetric_fixed<double, 3>&,
                     simultaneous_reduction<3>&);

namespace {

/// Has, along each common conjugate direction of two metrics, the preferred one of their values.
template <unsigned int N, typename Preferred>
metric<N> combine(const metric<N>& M1, const metric<N>& M2, Preferred preferred) {
    simultaneous_reduction<N> both;
    if (!reduce(M1, M2, both)) return M1;
    values_of<N> gamma;
    for (unsigned int k = 0; k < N; ++k) {
        gamma[k] = preferred(both.second[k], both.first[k]) ? both.second[k] : both.first[k];
    }
    return recompose(gamma, both.axes);
}

template <unsigned int N>
metric<N> intersection(const metric<N>& M1, const metric<N>& M2) {
    return combine(M1, M2, [](double beta, double alpha) { return beta > alpha; });
}

template <unsigned int N>
metric<N> metric_union(const metric<N>& M1, const metric<N>& M2) {
    return combine(M1, M2, [](double beta, double alpha) { return beta < alpha; });
}

double dot(const double* a, const double* b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

} // namespace

bool is_valid_metric(const symmetric_fixed<double, 2>& M) {
    return is_positive_definite(M);
}

bool is_valid_metric(const symmetric_fixed<double, 3>& M) {
    return is_positive_definite(M);
}

void bound_metric(symmetric_fixed<double, 2>& M, double hmin, double hmax) {
    clamp_sizes(M, hmin, hmax);
}

void bound_metric(symmetric_fixed<double, 3>& M, double hmin, double hmax) {
    clamp_sizes(M, hmin, hmax);
}

bool eigen_pairs(const symmetric_fixed<double, 2>& M, vector_fixed<double, 2>& eigenvalues,
                 matrix_fixed<double, 2, 2>& eigenvectors) {
    return decompose(M, eigenvalues, eigenvectors);
}

bool eigen_pairs(const symmetric_fixed<double, 3>& M, vector_fixed<double, 3>& eigenvalues,
                 matrix_fixed<double, 3, 3>& eigenvectors) {
    return decompose(M, eigenvalues, eigenvectors);
}

bool eigen_pairs(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                 vector_fixed<double, 2>& eigenvalues, matrix_fixed<double, 2, 2>& eigenvectors) {
    return decompose(M1, M2, eigenvalues, eigenvectors);
}

bool eigen_pairs(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                 vector_fixed<double, 3>& eigenvalues, matrix_fixed<double, 3, 3>& eigenvectors) {
    return decompose(M1, M2, eigenvalues, eigenvectors);
}

void metric_iso_to_aniso(double h, symmetric_fixed<double, 2>& M) {
    M = scaled_identity<2>(h > 0 ? 1 / (h * h) : 0);
}

void metric_iso_to_aniso(double h, symmetric_fixed<double, 3>& M) {
    M = scaled_identity<3>(h > 0 ? 1 / (h * h) : 0);
}

void metric_iso_to_aniso2d(double h, const matrix_fixed<double, 3, 2>& F, symmetric_fixed<double, 2>& M) {
    M = 0;
    const double lambda = h > 0 ? 1 / (h * h) : 0;
    if (lambda == 0) return;
    const double* f0 = F.data();
    const double* f1 = f0 + 3;
    M = {lambda * dot(f0, f0), lambda * dot(f0, f1), lambda * dot(f1, f1)};
}

void metric_aniso3d_to_aniso2d(const symmetric_fixed<double, 3>& M3, const matrix_fixed<double, 3, 2>& F,
                               symmetric_fixed<double, 2>& M) {
    const double* f0 = F.data();
    const double* f1 = f0 + 3;
    double t0[3], t1[3]; // M3·F
    for (unsigned int i = 0; i < 3; ++i) {
        const double row[3] = {M3(i, 0), M3(i, 1), M3(i, 2)};
        t0[i] = dot(row, f0);
        t1[i] = dot(row, f1);
    }
    M = {dot(f0, t0), dot(f0, t1), dot(f1, t1)};
}

void minimum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                    symmetric_fixed<double, 2>& M) {
    M = intersection(M1, M2);
}

void minimum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                    symmetric_fixed<double, 3>& M) {
    M = intersection(M1, M2);
}

void maximum_metric(const symmetric_fixed<double, 2>& M1, const symmetric_fixed<double, 2>& M2,
                    symmetric_fixed<double, 2>& M) {
    M = metric_union(M1, M2);
}

void maximum_metric(const symmetric_fixed<double, 3>& M1, const symmetric_fixed<double, 3>& M2,
                    symmetric_fixed<double, 3>& M) {
    M = metric_union(M1, M2);
}

} // namespace qv7::plexo
