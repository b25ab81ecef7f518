#include "limited_memory.h"
#include "test_metrics.h"

#include <gtest/gtest.h>

#include <limits>

using namespace test_metrics;

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double INF = std::numeric_limits<double>::infinity();

using sizes_t = dense1D<double, 16>;
using field_t = dense2D<double>;
using edges_t = dense2D<unsigned int>;

const edges_t ONE_EDGE = matrix_of<unsigned int>(2, {0, 1});

/// The shock of one edge on the x axis.
double shock_between(double length, double size, double other_size) {
    sizes_t shocks;
    const field_t pos = matrix_of<double>(2, {0, 0, length, 0});
    EXPECT_EQ(H_shock(pos, ONE_EDGE, vector_of({size, other_size}), shocks), 0);
    EXPECT_EQ(shocks.size(), 2u);
    EXPECT_EQ(shocks[0], shocks[1]);
    return shocks[0];
}

struct random_case {
    field_t pos, metrics;
    edges_t edges;
    sizes_t sizes;
};

template <unsigned int N>
random_case random_mesh(unsigned int nodes, unsigned int edge_count, unsigned int seed) {
    generator random(seed);
    random_case mesh{field_t(N, nodes), field_t(N == 2 ? 3 : 6, nodes), edges_t(2, edge_count),
                     sizes_t(nodes)};
    for (unsigned int j = 0; j < nodes; ++j) {
        for (unsigned int i = 0; i < N; ++i) mesh.pos(i, j) = random.uniform(0, 3);
        mesh.sizes[j] = random.uniform(0.1, 1);
        const auto M = random_metric<N>(random, 0.1, 1);
        std::copy_n(M.data(), M.size(), mesh.metrics.col_data(j));
    }
    for (unsigned int e = 0; e < edge_count; ++e) {
        mesh.edges(0, e) = random.below(nodes);
        mesh.edges(1, e) = random.below(nodes);
    }
    return mesh;
}

TEST(SizeShock, KnownEdges) {
    EXPECT_NEAR(shock_between(1, 1, 2), std::exp(1.0) - 1, 1e-15);
    EXPECT_NEAR(shock_between(1, 2, 1), std::exp(1.0) - 1, 1e-15);
    EXPECT_EQ(shock_between(3, 2, 2), 0);
    EXPECT_NEAR(shock_between(2, 1, 1.0005) / std::expm1(0.00025), 1, 1e-11);
    EXPECT_NEAR(shock_between(1, 1, 1 + 1e-9) / std::expm1((1 + 1e-9) - 1), 1,
                1e-11);                   // digits of a tiny shock
    EXPECT_EQ(shock_between(0, 1, 2), 0); // an edge without length
    for (const double bad : {0.0, -1.0, NaN, INF, -INF}) {
        EXPECT_EQ(shock_between(1, 1, bad), 0) << bad;
        EXPECT_EQ(shock_between(1, bad, 1), 0) << bad;
    }
    EXPECT_EQ(shock_between(NaN, 1, 2), 0);
    EXPECT_EQ(shock_between(INF, 1, 2), 0);
    EXPECT_EQ(shock_between(1e-5, 1, 1e5), INF);
}

TEST(SizeShock, IsTheDifferenceOfSizesOverTheLength) {
    generator random(2);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const double length = random.uniform(0.5, 2);
        const double a = random.uniform(0.1, 5), b = a + std::pow(10.0, random.uniform(-8, 0.5));
        EXPECT_NEAR(shock_between(length, a, b) / std::expm1((b - a) / length), 1, 1e-10);
    }
}

TEST(SizeShock, TakesTheLargestAtEachNode) {
    const field_t pos = matrix_of<double>(3, {0, 0, 0, 1, 0, 0, 0, 2, 0, 9, 9, 9});
    const edges_t edges = matrix_of<unsigned int>(2, {0, 1, 2, 0, 1, 0, 0, 0});
    sizes_t shocks(9, 5.0); // old entries do not survive
    ASSERT_EQ(H_shock(pos, edges, vector_of({1, 1.1, 1.5, 3}), shocks), 0);
    ASSERT_EQ(shocks.size(), 4u);
    EXPECT_NEAR(shocks[0], std::expm1(0.25), 1e-14);
    EXPECT_NEAR(shocks[1], std::expm1(0.1), 1e-14);
    EXPECT_NEAR(shocks[2], std::expm1(0.25), 1e-14);
    EXPECT_EQ(shocks[3], 0);
}

template <unsigned int N>
void compare_metric_form_with_sizes() {
    random_case mesh = random_mesh<N>(60, 300, N);
    for (unsigned int j = 0; j < 60; ++j) {
        symmetric_fixed<double, N> M;
        metric_iso_to_aniso(mesh.sizes[j], M);
        std::copy_n(M.data(), M.size(), mesh.metrics.col_data(j));
    }
    sizes_t isotropic, anisotropic;
    ASSERT_EQ(H_shock(mesh.pos, mesh.edges, mesh.sizes, isotropic), 0);
    ASSERT_EQ(H_shock(mesh.pos, mesh.edges, mesh.metrics, anisotropic), 0);
    for (unsigned int j = 0; j < 60; ++j) EXPECT_NEAR(anisotropic[j], isotropic[j], 1e-11 * isotropic[j]);
}

TEST(SizeShock, MetricFormAgreesWithSizes) {
    compare_metric_form_with_sizes<2>();
    compare_metric_form_with_sizes<3>();
}

template <unsigned int N>
void compare_with_literal_formulas() {
    const random_case mesh = random_mesh<N>(40, 200, 10 + N);
    sizes_t shocks, expected(40, 0.0);
    ASSERT_EQ(H_shock(mesh.pos, mesh.edges, mesh.metrics, shocks), 0);
    for (unsigned int e = 0; e < mesh.edges.cols(); ++e) {
        const unsigned int a = mesh.edges(0, e), b = mesh.edges(1, e);
        vector_fixed<double, N> v;
        symmetric_fixed<double, N> A, B;
        for (unsigned int i = 0; i < N; ++i) v[i] = mesh.pos(i, b) - mesh.pos(i, a);
        std::copy_n(mesh.metrics.col_data(a), A.size(), A.data());
        std::copy_n(mesh.metrics.col_data(b), B.size(), B.data());
        const double ha = std::sqrt(1 / static_cast<double>(form(A, v)));
        const double hb = std::sqrt(1 / static_cast<double>(form(B, v)));
        if (a == b || ha == hb) continue;
        const double L = std::log(ha / hb) / (ha - hb);
        const double shock = std::pow(std::max(ha / hb, hb / ha), 1 / L) - 1;
        expected[a] = std::max(expected[a], shock);
        expected[b] = std::max(expected[b], shock);
    }
    for (unsigned int j = 0; j < 40; ++j) EXPECT_NEAR(shocks[j], expected[j], 1e-10 * (1 + expected[j]));
}

TEST(SizeShock, MetricFormAgreesWithTheFormulas) {
    compare_with_literal_formulas<2>();
    compare_with_literal_formulas<3>();
}

TEST(SizeShock, DegenerateMetricsHaveNone) {
    const field_t pos = matrix_of<double>(2, {0, 0, 1, 0});
    sizes_t shocks;
    // Indefinite, but positive along the edge: measured. Negative or NaN along it: not.
    ASSERT_EQ(H_shock(pos, ONE_EDGE, matrix_of<double>(3, {1, 0, -7, 0.25, 0, 1}), shocks), 0);
    EXPECT_NEAR(shocks[0], std::expm1(1.0), 1e-14);
    for (const double bad : {0.0, -1.0, NaN, INF}) {
        ASSERT_EQ(H_shock(pos, ONE_EDGE, matrix_of<double>(3, {bad, 0, 1, 0.25, 0, 1}), shocks), 0);
        EXPECT_EQ(shocks[0], 0) << bad;
        EXPECT_EQ(shocks[1], 0) << bad;
    }
}

TEST(SizeShock, ChecksInTheirOrder) {
    sizes_t shocks = vector_of({7, 8});
    const sizes_t sizes = vector_of({1, 2});
    const field_t metrics(3, 2, 1.0);
    const edges_t beyond = matrix_of<unsigned int>(2, {0, 2}),
                  absent = matrix_of<unsigned int>(2, {0, NO_ID});
    EXPECT_EQ(H_shock(field_t(4, 2), edges_t(), sizes, shocks), 0);
    EXPECT_EQ(H_shock(field_t(4, 2), edges_t(2, 0), metrics, shocks), 0);
    EXPECT_EQ(H_shock(field_t(4, 2), beyond, sizes, shocks), -1);
    EXPECT_EQ(H_shock(field_t(1, 2), beyond, metrics, shocks), -1);
    EXPECT_EQ(H_shock(field_t(2, 2), beyond, sizes, shocks), -2);
    EXPECT_EQ(H_shock(field_t(3, 2), absent, metrics, shocks), -2);
    EXPECT_EQ(H_shock(field_t(3, 2), edges_t(3, 1), sizes, shocks), -2);
    EXPECT_TRUE(shocks == vector_of({7, 8}));
}

TEST(SizeShock, NodesWithoutASizeHaveNone) {
    const field_t pos = matrix_of<double>(2, {0, 0, 1, 0, 2, 0});
    const edges_t edges = matrix_of<unsigned int>(2, {0, 1, 1, 2});
    sizes_t shocks;
    ASSERT_EQ(H_shock(pos, edges, vector_of({1, 2}), shocks), 0);
    ASSERT_EQ(shocks.size(), 3u);
    EXPECT_GT(shocks[1], 1);
    EXPECT_EQ(shocks[2], 0);
    ASSERT_EQ(H_shock(pos, edges, matrix_of<double>(3, {1, 0, 1, 4, 0, 4}), shocks), 0);
    EXPECT_GT(shocks[1], 0.1);
    EXPECT_EQ(shocks[2], 0);
    ASSERT_EQ(H_shock(field_t(3, 3, 1.0), edges, field_t(3, 3, 1.0), shocks), 0); // 2-D metrics of a 3-D mesh
    EXPECT_TRUE(shocks == vector_of({0, 0, 0}));
}

TEST(SizeShock, ReportsMissingMemoryAndKeepsTheOutput) {
    test::expect_survives_without_memory([] {
        const field_t pos(2, 24000000);
        if (pos.empty()) return false;
        sizes_t shocks = vector_of({7});
        return H_shock(pos, ONE_EDGE, vector_of({1, 2}), shocks) == -199 && shocks == vector_of({7});
    });
}

TEST(SizeShock, ViewsAndSharedStorage) {
    random_case mesh = random_mesh<3>(50, 150, 77);
    sizes_t expected, of_views, of_metrics, of_metric_views;
    const field_t pos_view = as_view(mesh.pos, NaN), metric_view = as_view(mesh.metrics, NaN);
    const edges_t edge_view = as_view(mesh.edges, NO_ID);
    ASSERT_EQ(H_shock(mesh.pos, mesh.edges, mesh.sizes, expected), 0);
    ASSERT_EQ(H_shock(pos_view, edge_view, mesh.sizes, of_views), 0);
    ASSERT_EQ(H_shock(mesh.pos, mesh.edges, mesh.metrics, of_metrics), 0);
    ASSERT_EQ(H_shock(pos_view, edge_view, metric_view, of_metric_views), 0);
    EXPECT_TRUE(same_bits(expected, of_views));
    EXPECT_TRUE(same_bits(of_metrics, of_metric_views));

    const sizes_t kept = mesh.sizes;
    const double first = kept[0];
    ASSERT_EQ(H_shock(mesh.pos, mesh.edges, mesh.sizes, mesh.sizes), 0); // the output is an input
    EXPECT_TRUE(same_bits(mesh.sizes, expected));
    EXPECT_EQ(kept[0], first);
}

} // namespace
