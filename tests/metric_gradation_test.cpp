#include "limited_memory.h"
#include "test_metrics.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <vector>

using namespace test_metrics;

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double INF = std::numeric_limits<double>::infinity();

using sizes_t = dense1D<double, 16>;
using field_t = dense2D<double>;
using edges_t = dense2D<unsigned int>;

template <unsigned int N>
struct random_mesh {
    field_t pos, metrics;
    edges_t edges;
    sizes_t sizes;

    /// `nodes` points in a box of the given side with sizes in [smallest, largest] and edges between points
    /// that are near one another: each the nearest of `candidates` random ones.
    random_mesh(unsigned int nodes, unsigned int edge_count, double side, double smallest, double largest,
                unsigned int seed, unsigned int candidates = 10)
        : pos(N, nodes), metrics(N == 2 ? 3 : 6, nodes), edges(2, edge_count), sizes(nodes) {
        generator random(seed);
        for (unsigned int j = 0; j < nodes; ++j) {
            for (unsigned int i = 0; i < N; ++i) pos(i, j) = random.uniform(0, side);
            sizes[j] = smallest * std::pow(largest / smallest, random.uniform(0, 1));
            const auto M = random_metric<N>(random, smallest, largest);
            std::copy_n(M.data(), M.size(), metrics.col_data(j));
        }
        for (unsigned int e = 0; e < edge_count; ++e) {
            const unsigned int a = random.below(nodes);
            unsigned int nearest = random.below(nodes);
            for (unsigned int k = 1; k < candidates; ++k) {
                const unsigned int b = random.below(nodes);
                if (b != a && distance(a, b) < distance(a, nearest)) nearest = b;
            }
            edges(0, e) = a;
            edges(1, e) = nearest;
        }
    }

    double distance(unsigned int a, unsigned int b) const {
        double sum = 0;
        for (unsigned int i = 0; i < N; ++i) {
            sum += (pos(i, a) - pos(i, b)) * (pos(i, a) - pos(i, b));
        }
        return std::sqrt(sum);
    }
};

template <typename Field>
Field copy_of(const Field& field) {
    Field result;
    EXPECT_TRUE(result.copy(field));
    return result;
}

template <typename Field>
double largest_shock(const field_t& pos, const edges_t& edges, const Field& field) {
    sizes_t shocks;
    EXPECT_EQ(H_shock(pos, edges, field, shocks), 0);
    return shocks.empty() ? 0 : *std::max_element(shocks.begin(), shocks.end());
}

template <unsigned int N>
symmetric_fixed<double, N> column(const field_t& field, unsigned int j) {
    symmetric_fixed<double, N> M;
    std::copy_n(field.col_data(j), M.size(), M.data());
    return M;
}

/// Relaxes every edge until nothing changes, in long double.
template <unsigned int N>
std::vector<long double> relaxed(const random_mesh<N>& mesh, double max_shock) {
    const long double growth = std::log1p(static_cast<long double>(max_shock));
    std::vector<long double> sizes(mesh.sizes.begin(), mesh.sizes.end());
    const auto is_valid = [](double size) { return size > 0 && std::isfinite(size); };
    for (bool changed = true; changed;) {
        changed = false;
        for (unsigned int e = 0; e < mesh.edges.cols(); ++e) {
            for (unsigned int end = 0; end < 2; ++end) {
                const unsigned int a = mesh.edges(end, e), b = mesh.edges(1 - end, e);
                const double length = mesh.distance(a, b);
                if (length == 0 || !is_valid(mesh.sizes[a]) || !is_valid(mesh.sizes[b])) continue;
                const long double bound = sizes[a] + static_cast<long double>(length) * growth;
                if (bound < sizes[b]) {
                    sizes[b] = bound;
                    changed = true;
                }
            }
        }
    }
    return sizes;
}

template <unsigned int N>
void compare_sizes_with_relaxation(double max_shock, unsigned int seed) {
    random_mesh<N> mesh(300, 1000, 2, 0.01, 1, seed);
    for (unsigned int j = 0; j < 300; j += 37) mesh.sizes[j] = j % 2 ? NaN : -1.0; // passed over
    for (unsigned int i = 0; i < N; ++i) mesh.pos(i, 5) = mesh.pos(i, 6);          // no length between them
    mesh.edges(0, 0) = 5, mesh.edges(1, 0) = 6;
    sizes_t bounded = copy_of(mesh.sizes);
    const int changed = bound_metric_gradation(mesh.pos, mesh.edges, bounded, max_shock);
    const std::vector<long double> expected = relaxed(mesh, max_shock);
    int lowered = 0;
    for (unsigned int j = 0; j < 300; ++j) {
        if (!(mesh.sizes[j] > 0)) {
            EXPECT_EQ(std::memcmp(&bounded[j], &mesh.sizes[j], sizeof(double)), 0);
            continue;
        }
        EXPECT_LE(bounded[j], mesh.sizes[j]);
        EXPECT_NEAR(bounded[j] / static_cast<double>(expected[j]), 1, 1e-13);
        lowered += bounded[j] < mesh.sizes[j];
    }
    EXPECT_EQ(changed, lowered);
    EXPECT_LE(largest_shock(mesh.pos, mesh.edges, bounded), max_shock * (1 + 1e-9));
    // Nothing is left to do, and no bit depends on the order or direction of the edges.
    sizes_t again = copy_of(bounded);
    EXPECT_EQ(bound_metric_gradation(mesh.pos, mesh.edges, again, max_shock), 0);
    EXPECT_TRUE(same_bits(again, bounded));
    const unsigned int m = mesh.edges.cols();
    edges_t reversed(2, m);
    for (unsigned int e = 0; e < m; ++e) {
        reversed(0, e) = mesh.edges(1, m - 1 - e);
        reversed(1, e) = mesh.edges(0, m - 1 - e);
    }
    sizes_t from_reversed = copy_of(mesh.sizes);
    EXPECT_EQ(bound_metric_gradation(mesh.pos, reversed, from_reversed, max_shock), changed);
    EXPECT_TRUE(same_bits(from_reversed, bounded));
}

TEST(GradationOfSizes, IsTheLargestFieldWithinTheBound) {
    unsigned int seed = 1;
    for (const double max_shock : {0.0, 1e-17, 1e-12, 1e-6, 0.01, 0.2, 1.0, 50.0}) {
        compare_sizes_with_relaxation<2>(max_shock, ++seed);
        compare_sizes_with_relaxation<3>(max_shock, ++seed);
    }
}

TEST(GradationOfSizes, KnownFields) {
    const field_t pos = matrix_of<double>(2, {0, 0, 1, 0, 3, 0});
    const edges_t edges = matrix_of<unsigned int>(2, {0, 1, 2, 1});
    const double bound = std::exp(0.5) - 1; // half a size per unit of length
    sizes_t sizes = vector_of({1, 5, 5});
    EXPECT_EQ(bound_metric_gradation(pos, edges, sizes, bound), 2);
    EXPECT_EQ(sizes[0], 1);
    EXPECT_NEAR(sizes[1], 1.5, 1e-15);
    EXPECT_NEAR(sizes[2], 2.5, 1e-15);

    sizes = vector_of({3, 2, 7});
    EXPECT_EQ(bound_metric_gradation(pos, edges, sizes, 0), 2);
    EXPECT_TRUE(sizes == vector_of({2, 2, 2}));

    sizes = vector_of({1e-300, 1e300, 7});
    EXPECT_EQ(bound_metric_gradation(pos, edges, sizes, INF), 0);
    EXPECT_EQ(bound_metric_gradation(pos, edges, sizes, std::numeric_limits<double>::max()), 1);
    EXPECT_TRUE(sizes[1] < 800);
}

TEST(GradationOfSizes, CrossesALongChain) {
    const unsigned int n = 100000;
    field_t pos(2, n);
    edges_t edges(2, n - 1);
    for (unsigned int j = 0; j < n; ++j) pos(0, j) = j;
    for (unsigned int e = 0; e + 1 < n; ++e) edges(0, e) = n - 1 - e, edges(1, e) = n - 2 - e;
    sizes_t sizes(n);
    for (double& size : sizes) size = 1e9;
    sizes[n - 1] = 1;
    EXPECT_EQ(bound_metric_gradation(pos, edges, sizes, 0.1), int(n - 1));
    EXPECT_NEAR(sizes[0], 1 + (n - 1) * std::log1p(0.1), 1e-7); // 10^5 steps rounded down
}

TEST(Gradation, ChecksInTheirOrder) {
    const field_t pos = matrix_of<double>(2, {0, 0, 1, 0}), wrong(4, 2);
    const edges_t good = matrix_of<unsigned int>(2, {0, 1}), bad = matrix_of<unsigned int>(2, {0, 2});
    sizes_t sizes = vector_of({1, 9}), few = vector_of({1});
    field_t metrics = matrix_of<double>(3, {1, 0, 1, 0.01, 0, 0.01}), solid(6, 2, 1.0),
            short_field(3, 1, 1.0);
    const field_t metrics_before = copy_of(metrics);

    EXPECT_EQ(bound_metric_gradation(wrong, edges_t(), few, -1), 0);
    EXPECT_EQ(bound_metric_gradation(wrong, edges_t(2, 0), short_field, -1), 0);
    EXPECT_EQ(bound_metric_gradation(wrong, bad, few, -1), -1);
    EXPECT_EQ(bound_metric_gradation(wrong, bad, solid, -1), -1);
    EXPECT_EQ(bound_metric_gradation(pos, bad, few, -1), -2);
    EXPECT_EQ(bound_metric_gradation(pos, bad, solid, -1), -2);
    EXPECT_EQ(bound_metric_gradation(pos, edges_t(3, 1), sizes, -1), -2);
    EXPECT_EQ(bound_metric_gradation(pos, good, few, -1), -3);
    EXPECT_EQ(bound_metric_gradation(pos, good, solid, -1), -3);
    EXPECT_EQ(bound_metric_gradation(pos, good, short_field, NaN), -3);
    for (const double bound : {-1.0, -1e-300, NaN, -INF}) {
        EXPECT_EQ(bound_metric_gradation(pos, good, sizes, bound), -4);
        EXPECT_EQ(bound_metric_gradation(pos, good, metrics, bound), -4);
    }
    EXPECT_TRUE(sizes == vector_of({1, 9}));
    EXPECT_TRUE(same_bits(metrics, metrics_before));
}

TEST(Gradation, ViewsAndSharedStorage) {
    const random_mesh<3> mesh(100, 400, 1, 0.01, 1, 5);
    sizes_t sizes = copy_of(mesh.sizes), sizes_from_views = copy_of(mesh.sizes);
    field_t metrics = copy_of(mesh.metrics), metric_view = as_view(mesh.metrics, NaN);
    const field_t pos_view = as_view(mesh.pos, NaN);
    const edges_t edge_view = as_view(mesh.edges, NO_ID);
    const int changed = bound_metric_gradation(mesh.pos, mesh.edges, sizes, 0.1);
    EXPECT_EQ(bound_metric_gradation(pos_view, edge_view, sizes_from_views, 0.1), changed);
    EXPECT_TRUE(same_bits(sizes, sizes_from_views));
    const int shrunk = bound_metric_gradation(mesh.pos, mesh.edges, metrics, 0.1);
    EXPECT_EQ(bound_metric_gradation(pos_view, edge_view, metric_view, 0.1), shrunk);
    EXPECT_TRUE(same_bits(metrics, metric_view));

    // Sizes that lie in the coordinates' own storage leave the coordinates alone.
    field_t pos = matrix_of<double>(2, {0, 3, 1, 7});
    sizes_t second_column = pos.col(1);
    EXPECT_EQ(bound_metric_gradation(pos, matrix_of<unsigned int>(2, {0, 1}), second_column, 0.1), 1);
    EXPECT_LT(second_column[1], 7);
    EXPECT_EQ(pos(1, 1), 7);
}

TEST(Gradation, ReportsMissingMemoryAndChangesNothing) {
    test::expect_survives_without_memory([] {
        const unsigned int n = 20000000;
        field_t pos(2, n);
        sizes_t sizes(n);
        if (pos.empty() || sizes.empty()) return false;
        sizes = 9;
        sizes[0] = 1;
        pos(0, 1) = 1;
        return bound_metric_gradation(pos, matrix_of<unsigned int>(2, {0, 1}), sizes, 0.1) == -199 &&
               sizes[1] == 9;
    });
}

template <unsigned int N>
void expect_bounded(const random_mesh<N>& mesh, double max_shock) {
    SCOPED_TRACE(testing::Message() << N << "-D, bound " << max_shock);
    field_t bounded = copy_of(mesh.metrics);
    const int changed = bound_metric_gradation(mesh.pos, mesh.edges, bounded, max_shock);
    EXPECT_LE(largest_shock(mesh.pos, mesh.edges, bounded), max_shock * (1 + 1e-9));
    EXPECT_TRUE(are_valid_metrics(bounded));
    generator random(99);
    int differing = 0;
    for (unsigned int j = 0; j < bounded.cols(); ++j) {
        const auto before = column<N>(mesh.metrics, j), after = column<N>(bounded, j);
        differing += std::memcmp(before.data(), after.data(), sizeof before) != 0;
        for (int direction = 0; direction < 10; ++direction) {
            vector_fixed<double, N> v;
            for (double& component : v) component = random.uniform(-1, 1);
            EXPECT_GE(form(after, v), form(before, v) * (1 - 1e-10L));
        }
    }
    EXPECT_EQ(changed, differing);
    field_t again = copy_of(bounded);
    EXPECT_EQ(bound_metric_gradation(mesh.pos, mesh.edges, again, max_shock), 0);
}

TEST(GradationOfMetrics, HoldsTheBoundAndNeverRaisesASize) {
    unsigned int seed = 100;
    for (const double max_shock : {0.0, 1e-17, 1e-14, 1e-9, 1e-4, 0.05, 0.3, 2.0, 1e3}) {
        for (const double side : {0.3, 3.0, 30.0}) {
            expect_bounded<2>(random_mesh<2>(150, 500, side, 0.1, 1, ++seed), max_shock);
            expect_bounded<3>(random_mesh<3>(150, 700, side, 0.1, 1, ++seed), max_shock);
            // Thin metrics in contradiction with all their neighbours.
            expect_bounded<2>(random_mesh<2>(150, 500, side, 1e-3, 1, ++seed, 1), max_shock);
            expect_bounded<3>(random_mesh<3>(150, 700, side, 1e-3, 1, ++seed, 1), max_shock);
        }
    }
}

template <unsigned int N>
void compare_isotropic_metrics_with_sizes() {
    const random_mesh<N> mesh(200, 700, 2, 0.01, 1, 40 + N);
    field_t metrics(N == 2 ? 3 : 6, 200);
    for (unsigned int j = 0; j < 200; ++j) {
        symmetric_fixed<double, N> M;
        metric_iso_to_aniso(mesh.sizes[j], M);
        std::copy_n(M.data(), M.size(), metrics.col_data(j));
    }
    sizes_t sizes = copy_of(mesh.sizes);
    EXPECT_EQ(bound_metric_gradation(mesh.pos, mesh.edges, sizes, 0.2),
              bound_metric_gradation(mesh.pos, mesh.edges, metrics, 0.2));
    for (unsigned int j = 0; j < 200; ++j) {
        for (unsigned int i = 0; i < N; ++i) {
            EXPECT_NEAR(1 / std::sqrt(column<N>(metrics, j)(i, i)), sizes[j], 1e-11 * sizes[j]);
        }
    }
}

TEST(GradationOfMetrics, OfIsotropicMetricsIsThatOfSizes) {
    compare_isotropic_metrics_with_sizes<2>();
    compare_isotropic_metrics_with_sizes<3>();
}

TEST(GradationOfMetrics, KeepsTheDirectionsOfABoundaryLayer) {
    // Thin in y at node 0, coarse at node 1: the thinness spreads, the size along x stays.
    const field_t pos = matrix_of<double>(2, {0, 0, 0, 1});
    field_t metrics = matrix_of<double>(3, {1, 0, 1e4, 1, 0, 1});
    EXPECT_EQ(bound_metric_gradation(pos, matrix_of<unsigned int>(2, {0, 1}), metrics, std::expm1(0.1)), 1);
    EXPECT_NEAR(metrics(0, 1), 1, 1e-12);
    EXPECT_NEAR(metrics(1, 1), 0, 1e-12);
    EXPECT_NEAR(1 / std::sqrt(metrics(2, 1)), 0.01 + 0.1, 1e-12);
}

TEST(GradationOfMetrics, PassesOverWhatIsInvalid) {
    const field_t pos = matrix_of<double>(2, {0, 0, 1, 0, 2, 0, 2, 0});
    const edges_t edges = matrix_of<unsigned int>(2, {0, 1, 1, 2, 2, 3, 0, 0});
    for (const double bad : {NaN, INF, -1.0, 0.0}) {
        field_t metrics = matrix_of<double>(3, {1e4, 0, 1e4, bad, 0, 1, 1, 0, 1, 1e6, 0, 1e6});
        const field_t before = copy_of(metrics);
        // Nodes 2 and 3 coincide: no length, no bound.
        EXPECT_EQ(bound_metric_gradation(pos, edges, metrics, 0.1), 0);
        EXPECT_TRUE(same_bits(metrics, before));
        EXPECT_EQ(bound_metric_gradation(pos, edges, metrics, 0), 0);
        EXPECT_TRUE(same_bits(metrics, before));
    }
    field_t metrics = matrix_of<double>(3, {1e4, 0, 1e4, 1, 0, 1, 1, 0, 1, 1, 0, 1});
    EXPECT_EQ(bound_metric_gradation(pos, edges, metrics, INF), 0);
    EXPECT_EQ(bound_metric_gradation(pos, edges, metrics, 0),
              2); // node 3 has no length to its only neighbour
    EXPECT_EQ(metrics(0, 2), 1e4);
    EXPECT_EQ(metrics(0, 3), 1);
}

} // namespace
