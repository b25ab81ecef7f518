#pragma once

/// \file
/// Making and comparing metrics and size fields in tests.

#include "test_containers.h"

#include <plexo/metrics.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>

namespace test_metrics {

using namespace test;

inline constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
inline constexpr double INF = std::numeric_limits<double>::infinity();
inline constexpr double LARGEST = std::numeric_limits<double>::max();

using field_t = dense2D<double>;
using edges_t = dense2D<unsigned int>;
template <unsigned int N>
using metric = symmetric_fixed<double, N>;
template <unsigned int N>
using vector = vector_fixed<double, N>;

using dimensions =
    testing::Types<std::integral_constant<unsigned int, 2>, std::integral_constant<unsigned int, 3>>;

template <unsigned int N>
vector<N> random_direction(dice& random) {
    vector<N> v;
    for (double& component : v) component = random.between(-1, 1);
    return v;
}

template <unsigned int N>
double dot(const vector<N>& a, const vector<N>& b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

template <unsigned int N>
using rotation = matrix_fixed<double, N, N>;

/// An orthogonal matrix: the product of two reflections.
template <unsigned int N>
rotation<N> random_rotation(dice& random) {
    rotation<N> R{};
    for (unsigned int i = 0; i < N; ++i) R(i, i) = 1;
    for (int reflection = 0; reflection < 2; ++reflection) {
        const vector<N> v = random_direction<N>(random);
        for (unsigned int i = 0; i < N; ++i) {
            double along = 0;
            for (unsigned int j = 0; j < N; ++j) along += R(i, j) * v[j];
            for (unsigned int j = 0; j < N; ++j) R(i, j) -= 2 * along / dot(v, v) * v[j];
        }
    }
    return R;
}

/// R·diag(values)·Rᵀ; of the three values, 2-D takes the first two.
template <unsigned int N>
metric<N> metric_with(const rotation<N>& R, const vector<3>& values) {
    metric<N> M{};
    for (unsigned int j = 0; j < N; ++j) {
        for (unsigned int i = 0; i <= j; ++i) {
            for (unsigned int k = 0; k < N; ++k) M(i, j) += values[k] * R(i, k) * R(j, k);
        }
    }
    return M;
}

template <unsigned int N>
metric<N> diagonal(const vector<3>& values) {
    metric<N> M{};
    for (unsigned int i = 0; i < N; ++i) M(i, i) = values[i];
    return M;
}

/// A size of random order of magnitude.
inline double random_size(dice& random, double smallest, double largest) {
    return smallest * std::pow(largest / smallest, random.between(0, 1));
}

template <unsigned int N>
metric<N> random_metric(dice& random, double smallest, double largest) {
    vector<3> values;
    for (double& value : values) value = std::pow(random_size(random, smallest, largest), -2);
    return metric_with(random_rotation<N>(random), values);
}

/// vᵀMv in long double.
template <unsigned int N>
long double form(const metric<N>& M, const vector<N>& v) {
    long double sum = 0;
    for (unsigned int i = 0; i < N; ++i) {
        for (unsigned int j = 0; j < N; ++j) sum += static_cast<long double>(M(i, j)) * v[i] * v[j];
    }
    return sum;
}

/// The metric in a column of a field.
template <unsigned int N>
metric<N> column(const field_t& field, unsigned int j) {
    metric<N> M;
    std::copy_n(field.col_data(j), M.size(), M.data());
    return M;
}

/// The metrics of sizes.
template <unsigned int N>
field_t isotropic_metrics(const real_list& sizes) {
    field_t metrics(5, 7, 3.0); // does not survive
    if constexpr (N == 2) metrics_iso_to_aniso2d(sizes, metrics);
    if constexpr (N == 3) metrics_iso_to_aniso3d(sizes, metrics);
    return metrics;
}

template <typename Field>
Field copy_of(const Field& field) {
    Field result;
    EXPECT_TRUE(result.copy(field));
    return result;
}

/// The same size and bits, NaN included.
template <typename Values>
bool same_bits(const Values& a, const Values& b) {
    const auto equal_bits = [](double x, double y) {
        return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
    };
    return std::equal(a.data(), a.data() + a.size(), b.data(), b.data() + b.size(), equal_bits);
}
inline bool same_bits(const field_t& a, const field_t& b) {
    return a.rows() == b.rows() && same_bits(entries(a), entries(b));
}

/// Nodes in a box of the given side, with sizes and metrics from smallest to largest, and edges from a node
/// to the nearest of some random candidates.
template <unsigned int N>
struct random_mesh {
    field_t pos, metrics;
    edges_t edges;
    real_list sizes;

    random_mesh(unsigned int nodes, unsigned int edge_count, double side, double smallest, unsigned int seed,
                unsigned int candidates = 10)
        : pos(N, nodes), metrics(metric<N>().size(), nodes), edges(2, edge_count), sizes(nodes) {
        dice random(seed);
        for (unsigned int j = 0; j < nodes; ++j) {
            for (unsigned int i = 0; i < N; ++i) pos(i, j) = random.between(0, side);
            sizes[j] = random_size(random, smallest, 1);
            const auto M = random_metric<N>(random, smallest, 1);
            std::copy_n(M.data(), M.size(), metrics.col_data(j));
        }
        for (unsigned int e = 0; e < edge_count; ++e) {
            const unsigned int a = edges(0, e) = random.below(nodes);
            unsigned int& nearest = edges(1, e) = random.below(nodes);
            for (unsigned int k = 1; k < candidates; ++k) {
                const unsigned int b = random.below(nodes);
                if (b != a && distance(a, b) < distance(a, nearest)) nearest = b;
            }
        }
    }

    vector<N> edge_vector(unsigned int a, unsigned int b) const {
        vector<N> v;
        for (unsigned int i = 0; i < N; ++i) v[i] = pos(i, b) - pos(i, a);
        return v;
    }
    double distance(unsigned int a, unsigned int b) const {
        const vector<N> v = edge_vector(a, b);
        return std::sqrt(dot(v, v));
    }
};

} // namespace test_metrics
