#pragma once

#include "metrics/edge_length.h"

#include <plexo/metrics.h>

#include <algorithm>

namespace qv7::plexo {

/// The metric packed in a column of a field.
template <unsigned int N>
symmetric_fixed<double, N> load_metric(const double* column) {
    symmetric_fixed<double, N> M;
    std::copy_n(column, packed_size(N), M.data());
    return M;
}

template <unsigned int N>
void store_metric(const symmetric_fixed<double, N>& M, double* column) {
    std::copy_n(M.data(), packed_size(N), column);
}

/// Two metrics in the form M = Σ value_k·a_k·a_kᵀ with the same vectors a_k, the columns of `axes`.
template <unsigned int N>
struct simultaneous_reduction {
    matrix_fixed<double, N, N> axes;
    vector_fixed<double, N> first;
    vector_fixed<double, N> second;
};

/// Reduces two metrics simultaneously; false when they cannot be.
template <unsigned int N>
bool reduce(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
            simultaneous_reduction<N>& result);

/// What can be said of a metric without its eigenvalues.
enum class definiteness { positive, not_positive, uncertain };

/// The definiteness of M from its principal minors, where these stand out from the products that they are the
/// difference of by a thousand times their rounding error, whatever the scales of the axes. With all minors
/// of order 2 positive no term of the determinant exceeds twice the product of the diagonal, so one margin
/// serves all. A minor of exactly 0 is taken at its word: eigenvalues would only show its rounding.
template <unsigned int N>
definiteness definiteness_by_minors(const symmetric_fixed<double, N>& M) {
    constexpr double margin = 1e-12;
    const auto compare = [](double minor, double product) {
        if (minor > margin * product) return definiteness::positive;
        if (minor < -margin * product || minor == 0) return definiteness::not_positive;
        return definiteness::uncertain;
    };
    for (unsigned int i = 0; i < N; ++i) {
        if (!(M(i, i) > 0)) return definiteness::not_positive;
    }
    for (unsigned int i = 0; i < N; ++i) { // products of such numbers neither overflow nor lose digits
        if (!(M(i, i) > 1e-90 && M(i, i) < 1e90)) return definiteness::uncertain;
    }
    for (unsigned int j = 1; j < N; ++j) {
        for (unsigned int i = 0; i < j; ++i) {
            const double product = M(i, i) * M(j, j);
            const definiteness found = compare(product - M(i, j) * M(i, j), product);
            if (found != definiteness::positive) return found;
        }
    }
    if constexpr (N == 3) {
        const double determinant = M[0] * (M[2] * M[5] - M[4] * M[4]) - M[1] * (M[1] * M[5] - M[4] * M[3]) +
                                   M[3] * (M[1] * M[4] - M[2] * M[3]);
        return compare(determinant, M[0] * M[2] * M[5]);
    }
    return definiteness::positive;
}

} // namespace qv7::plexo
