#include "test_metrics.h"

using namespace test_metrics;

namespace {

const edges_t ONE_EDGE = id_matrix(2, {0, 1});

template <typename T>
class SizeShock : public testing::Test {};
TYPED_TEST_SUITE(SizeShock, dimensions, );

TYPED_TEST(SizeShock, IsTheLargestOfTheLiteralFormulaAtEachNode) {
    constexpr unsigned int N = TypeParam::value;
    const random_mesh<N> mesh(70, 200, 3, 0.1, 10 + N, 1);
    real_list of_sizes(99, 5.0), of_metrics, expected_of_sizes(70, 0.0), expected_of_metrics(70, 0.0);
    for (unsigned int e = 0; e < mesh.edges.cols(); ++e) {
        const unsigned int a = mesh.edges(0, e), b = mesh.edges(1, e);
        const auto raise = [a, b](real_list& shocks, double ha, double hb) { // sizes in units of the length
            const double L = std::log(ha / hb) / (ha - hb);
            const double shock = std::pow(std::max(ha / hb, hb / ha), 1 / L) - 1;
            for (const unsigned int node : {a, b}) shocks[node] = std::max(shocks[node], shock);
        };
        const vector<N> v = mesh.edge_vector(a, b);
        const double d = mesh.distance(a, b);
        if (a == b || a >= 60 || b >= 60) continue;
        raise(expected_of_sizes, mesh.sizes[a] / d, mesh.sizes[b] / d);
        raise(expected_of_metrics, 1 / std::sqrt(double(form(column<N>(mesh.metrics, a), v))),
              1 / std::sqrt(double(form(column<N>(mesh.metrics, b), v))));
    }
    const field_t pos = as_view(mesh.pos, NaN);
    const edges_t edges = as_view(mesh.edges, NO_ID);
    const field_t metrics = as_view(mesh.metrics, NaN); // nodes behind what is given have none
    ASSERT_EQ(H_shock(pos, edges, mesh.sizes.sub_vector(0, 60), of_sizes), 0);
    ASSERT_EQ(H_shock(pos, edges, metrics.sub_matrix(0, 0, metrics.rows(), 60), of_metrics), 0);
    ASSERT_EQ(of_sizes.size(), 70u);
    for (unsigned int j = 0; j < 70; ++j) {
        EXPECT_NEAR(of_sizes[j], expected_of_sizes[j], 1e-11 * (1 + expected_of_sizes[j]));
        EXPECT_NEAR(of_metrics[j], expected_of_metrics[j], 1e-10 * (1 + expected_of_metrics[j]));
    }
    real_list sizes = copy_of(mesh.sizes).sub_vector(0, 60);
    const real_list shared = sizes;
    ASSERT_EQ(H_shock(mesh.pos, mesh.edges, sizes, sizes), 0); // the output is an input
    EXPECT_TRUE(same_bits(sizes, of_sizes));
    EXPECT_TRUE(same_bits(shared, mesh.sizes.sub_vector(0, 60)));
}

TEST(ShockOfAnEdge, KeepsItsDigitsAndIsZeroWhereThereIsNone) {
    const double tiny = (1 + 1e-9) - 1;
    const struct {
        double length, size, other_size, expected;
    } cases[] = {{1, 1, 2, std::exp(1.0) - 1},
                 {3, 2, 2, 0},
                 {2, 1, 1.0005, std::expm1((1.0005 - 1) / 2)},
                 {1, 1, 1 + tiny, std::expm1(tiny)},
                 {1e150, 1e-160, 1e150, std::exp(1.0) - 1},
                 {1e-5, 1, 1e5, INF},
                 {0, 1, 2, 0},
                 {NaN, 1, 2, 0},
                 {INF, 1, 2, 0},
                 {1, 1, 0, 0},
                 {1, 1, -1, 0},
                 {1, 1, NaN, 0},
                 {1, 1, INF, 0},
                 {1, 1, -INF, 0}};
    for (const auto& [length, size, other_size, expected] : cases) {
        const field_t pos = real_matrix(2, {0, 0, length, 0});
        for (const auto& sizes : {reals({size, other_size}), reals({other_size, size})}) {
            real_list shocks;
            ASSERT_EQ(H_shock(pos, ONE_EDGE, sizes, shocks), 0);
            EXPECT_TRUE(shocks[0] == expected || std::abs(shocks[0] / expected - 1) < 2e-15)
                << length << ' ' << sizes[0] << ' ' << sizes[1];
            EXPECT_EQ(shocks[0], shocks[1]);
        }
    }
    // Indefinite, but positive along the edge: measured. Negative or NaN along it: not.
    const field_t pos = real_matrix(2, {0, 0, 1, 0});
    for (const double along : {1.0, 0.0, -1.0, NaN, INF}) {
        for (const unsigned int node : {0u, 1u}) {
            field_t metrics = real_matrix(3, {0.25, 0, -7, 0.25, 0, 1});
            metrics(0, node) = along;
            real_list shocks;
            ASSERT_EQ(H_shock(pos, ONE_EDGE, metrics, shocks), 0);
            EXPECT_DOUBLE_EQ(shocks[0], along == 1 ? std::expm1(1.0) : 0) << along;
        }
    }
}

TEST(ShockOfPlaneMetrics, IsZeroInSpace) {
    const field_t pos = real_matrix(3, {0, 0, 0, 1, 1, 1, 2, 2, 2});
    const field_t metrics = real_matrix(3, {1, 0, 1, 1, 0, 4, 9, 0, 9, 8, 0, 1, 1, 0, 4, 9, 0, 9});
    real_list shocks;
    ASSERT_EQ(H_shock(pos, id_matrix(2, {0, 1, 1, 2}), metrics, shocks), 0);
    EXPECT_TRUE(shocks == reals({0, 0, 0}));
}

} // namespace
