#include "metrics/node_queue.h"
#include "test_metrics.h"

using namespace test_metrics;

namespace {

const edges_t ONE_EDGE = id_matrix(2, {0, 1});

template <typename T>
class Gradation : public testing::Test {};
TYPED_TEST_SUITE(Gradation, dimensions, );

template <typename Field>
void expect_bounded(const field_t& pos, const edges_t& edges, const Field& field, double max_shock) {
    real_list shocks;
    ASSERT_EQ(H_shock(pos, edges, field, shocks), 0);
    EXPECT_LE(*std::max_element(shocks.begin(), shocks.end()), max_shock * (1 + 1e-9));
    Field again = copy_of(field);
    EXPECT_EQ(bound_metric_gradation(pos, edges, again, max_shock), 0);
    EXPECT_TRUE(same_bits(again, field));
}

/// Relaxes every edge until nothing changes, in long double.
template <unsigned int N>
std::vector<long double> relaxed(const random_mesh<N>& mesh, double max_shock) {
    const long double growth = std::log1p(static_cast<long double>(max_shock));
    std::vector<long double> sizes(mesh.sizes.begin(), mesh.sizes.end());
    for (bool changed = true; changed;) {
        changed = false;
        for (unsigned int k = 0; k < mesh.edges.size(); ++k) {
            const unsigned int a = mesh.edges(k % 2, k / 2), b = mesh.edges(1 - k % 2, k / 2);
            if (mesh.distance(a, b) == 0 || !are_valid_metrics(ids({a, b}), mesh.sizes)) continue;
            const long double bound = sizes[a] + mesh.distance(a, b) * growth;
            changed |= bound < sizes[b];
            sizes[b] = std::min(sizes[b], bound);
        }
    }
    return sizes;
}

TYPED_TEST(Gradation, OfSizesIsTheLargestFieldWithinTheBound) {
    constexpr unsigned int N = TypeParam::value;
    unsigned int seed = N;
    for (const double max_shock : {0.0, 1e-17, 1e-12, 1e-6, 0.01, 0.2, 1.0, 50.0}) {
        random_mesh<N> mesh(300, 1000, 2, 0.01, seed += 2);
        for (unsigned int k = 0; k < 4; ++k) mesh.sizes[50 * k] = reals({NaN, -1, 0, INF})[k]; // passed over
        for (unsigned int i = 0; i < N; ++i) mesh.pos(i, 5) = mesh.pos(i, 6); // no length between them
        mesh.edges(0, 0) = 5, mesh.edges(1, 0) = 6;
        real_list bounded = copy_of(mesh.sizes), from_reversed = copy_of(mesh.sizes);
        const int changed =
            bound_metric_gradation(as_view(mesh.pos, NaN), as_view(mesh.edges), bounded, max_shock);
        const std::vector<long double> expected = relaxed(mesh, max_shock);
        int lowered = 0;
        for (unsigned int j = 0; j < 300; ++j) {
            if (expected[j] < mesh.sizes[j]) {
                EXPECT_NEAR(bounded[j] / static_cast<double>(expected[j]), 1, 1e-13);
                ++lowered;
            } else {
                EXPECT_TRUE(same_bits(bounded.sub_vector(j, 1), mesh.sizes.sub_vector(j, 1)));
            }
        }
        EXPECT_EQ(changed, lowered);
        expect_bounded(mesh.pos, mesh.edges, bounded, max_shock);
        // No bit depends on the order or direction of the edges.
        std::reverse(mesh.edges.data(), mesh.edges.data() + mesh.edges.size());
        EXPECT_EQ(bound_metric_gradation(mesh.pos, mesh.edges, from_reversed, max_shock), changed);
        EXPECT_TRUE(same_bits(from_reversed, bounded));
    }
}

TYPED_TEST(Gradation, OfMetricsHoldsTheBoundAndNeverRaisesASize) {
    constexpr unsigned int N = TypeParam::value;
    unsigned int seed = 100 * N;
    for (const double max_shock : {0.0, 1e-17, 1e-14, 1e-9, 1e-4, 0.05, 0.3, 2.0, 1e3}) {
        for (const double side : {0.3, 3.0, 30.0}) {
            for (const bool thin : {false, true}) { // in contradiction with all neighbours
                SCOPED_TRACE(testing::Message() << "bound " << max_shock << ", side " << side);
                random_mesh<N> mesh(150, 600, side, thin ? 1e-3 : 0.1, ++seed, thin ? 1 : 10);
                for (unsigned int k = 0; k < 4; ++k) {
                    const double invalid = reals({NaN, -1, 0, INF})[k];
                    std::fill_n(mesh.metrics.col_data(40 * k), mesh.metrics.rows(), invalid);
                }
                field_t bounded = as_view(mesh.metrics, NaN);
                const int changed =
                    bound_metric_gradation(as_view(mesh.pos, NaN), as_view(mesh.edges), bounded, max_shock);
                expect_bounded(mesh.pos, mesh.edges, bounded, max_shock);
                dice random(99);
                int differing = 0;
                for (unsigned int j = 0; j < bounded.cols(); ++j) {
                    const auto before = column<N>(mesh.metrics, j), after = column<N>(bounded, j);
                    if (same_bits(before, after)) continue;
                    ++differing;
                    EXPECT_TRUE(is_valid_metric(before) && is_valid_metric(after));
                    for (int direction = 0; direction < 10; ++direction) {
                        const vector<N> v = random_direction<N>(random);
                        EXPECT_GE(form(after, v), form(before, v) * (1 - 1e-10L));
                    }
                }
                EXPECT_EQ(changed, differing);
            }
        }
    }
}

TYPED_TEST(Gradation, OfIsotropicMetricsIsThatOfSizes) {
    constexpr unsigned int N = TypeParam::value;
    const random_mesh<N> mesh(200, 700, 2, 0.01, 40 + N);
    real_list sizes = copy_of(mesh.sizes);
    field_t metrics = isotropic_metrics<N>(sizes);
    EXPECT_EQ(bound_metric_gradation(mesh.pos, mesh.edges, sizes, 0.2),
              bound_metric_gradation(mesh.pos, mesh.edges, metrics, 0.2));
    for (unsigned int j = 0; j < 200; ++j) {
        const auto M = column<N>(metrics, j);
        for (unsigned int i = 0; i < N; ++i) EXPECT_NEAR(1 / std::sqrt(M(i, i)), sizes[j], 1e-11 * sizes[j]);
    }
}

TEST(GradationOfKnownFields, SpreadsAlongEdgesWithLength) {
    const field_t pos = real_matrix(2, {0, 0, 1, 0, 3, 0, 3, 0}); // the last two coincide
    const edges_t edges = id_matrix(2, {0, 1, 2, 1, 2, 3});
    real_list sizes = reals({1, 5, 5, 9});
    EXPECT_EQ(bound_metric_gradation(pos, edges, sizes, std::exp(0.5) - 1),
              2); // half a size per unit of length
    EXPECT_NEAR(sizes[1], 1.5, 1e-15);
    EXPECT_NEAR(sizes[2], 2.5, 1e-15);
    EXPECT_TRUE(sizes[0] == 1 && sizes[3] == 9);

    field_t metrics = real_matrix(3, {1e4, 0, 1e4, 1, 0, 1, 1, 0, 1, 1, 0, 1});
    EXPECT_EQ(bound_metric_gradation(pos, edges, metrics, INF), 0);
    EXPECT_EQ(bound_metric_gradation(pos, edges, metrics, 0), 2);
    EXPECT_TRUE(metrics(0, 2) == 1e4 && metrics(0, 3) == 1);

    sizes = reals({1e-300, 1e300, 7, 7});
    EXPECT_EQ(bound_metric_gradation(pos, edges, sizes, INF), 0);
    EXPECT_EQ(bound_metric_gradation(pos, edges, sizes, LARGEST), 1);
    EXPECT_NEAR(sizes[1], std::log(LARGEST), 1e-9);

    // A boundary layer, thin in y at node 0 and coarse at node 1: the thinness spreads, the size along x
    // stays.
    metrics = real_matrix(3, {1, 0, 1e4, 1, 0, 1});
    EXPECT_EQ(bound_metric_gradation(real_matrix(2, {0, 0, 0, 1}), ONE_EDGE, metrics, std::expm1(0.1)), 1);
    EXPECT_NEAR(metrics(0, 1), 1, 1e-12);
    EXPECT_NEAR(metrics(1, 1), 0, 1e-12);
    EXPECT_NEAR(1 / std::sqrt(metrics(2, 1)), 0.01 + 0.1, 1e-12);
}

TEST(ChecksOfEdgesAndFields, ComeInOrderAndLeaveFieldsAlone) {
    const field_t line(1, 2), square = real_matrix(2, {0, 0, 1, 0}), wrong(4, 2);
    const edges_t none, no_columns(2, 0), beyond = id_matrix(2, {0, 2}), absent = id_matrix(2, {0, NO_ID}),
                                          triangles(3, 1);
    const real_list right = reals({1, 9}), few = reals({1}), many = reals({1, 9, 9});
    const field_t metrics = real_matrix(3, {1, 0, 1, 0.01, 0, 0.01}), few_metrics(3, 1, 1.0),
                  many_metrics(3, 3, 1.0), solid(6, 2, 1.0);
    const struct {
        const field_t& pos;
        const edges_t& edges;
        const real_list& sizes;
        const field_t& metrics;
        double max_shock;
        int code;
    } cases[] = {
        {wrong, none, few, few_metrics, -1, 0},        {wrong, no_columns, few, few_metrics, -1, 0},
        {wrong, beyond, few, solid, -1, -1},           {line, beyond, few, solid, -1, -1},
        {square, beyond, few, solid, -1, -2},          {square, absent, few, solid, -1, -2},
        {square, triangles, few, solid, -1, -2},       {square, ONE_EDGE, few, solid, -1, -3},
        {square, ONE_EDGE, few, few_metrics, NaN, -3}, {square, ONE_EDGE, many, many_metrics, -1, -3},
        {square, ONE_EDGE, right, metrics, -1, -4},    {square, ONE_EDGE, right, metrics, -1e-300, -4},
        {square, ONE_EDGE, right, metrics, NaN, -4}};
    for (const auto& [pos, edges, sizes, metrics_at, max_shock, code] : cases) {
        real_list sizes_after = copy_of(sizes), shocks = reals({7});
        field_t metrics_after = copy_of(metrics_at);
        EXPECT_EQ(bound_metric_gradation(pos, edges, sizes_after, max_shock), code);
        EXPECT_EQ(bound_metric_gradation(pos, edges, metrics_after, max_shock), code);
        EXPECT_TRUE(same_bits(sizes_after, sizes) && same_bits(metrics_after, metrics_at));
        if (code < -2) continue; // what the shock does not look at
        EXPECT_EQ(H_shock(pos, edges, sizes, shocks), code);
        EXPECT_EQ(H_shock(pos, edges, metrics_at, shocks), code);
        EXPECT_TRUE(shocks == reals({7}));
    }
}

TEST(GradationOfSharedStorage, LeavesTheCoordinatesAlone) {
    field_t pos = real_matrix(2, {0, 3, 1, 7});
    real_list second_column = pos.col(1);
    EXPECT_EQ(bound_metric_gradation(pos, ONE_EDGE, second_column, 0.1), 1);
    EXPECT_LT(second_column[1], 7);
    EXPECT_EQ(pos(1, 1), 7);

    field_t metrics = real_matrix(3, {1e4, 0, 1e4, 1, 0, 1});
    pos = metrics.sub_matrix(0, 0, 2, 2);
    EXPECT_EQ(bound_metric_gradation(pos, ONE_EDGE, metrics, 1e-9), 1);
    EXPECT_GT(metrics(0, 1), 1);
    EXPECT_EQ(pos(0, 1), 1);
}

TEST(NodeQueue, GivesTheSmallestKeyAndThenTheSmallestNode) {
    dice random(5);
    std::vector<double> keys(500);
    std::vector<unsigned int> expected(500);
    std::iota(expected.begin(), expected.end(), 0u);
    node_queue queue;
    ASSERT_TRUE(queue.prepare(500, keys.data()));
    for (unsigned int k = 0; k < 3000; ++k) { // again and again, each key lower than before
        const unsigned int node = k < 500 ? k : random.below(500);
        keys[node] -= random.below(50);
        queue.put(node);
    }
    std::stable_sort(expected.begin(), expected.end(),
                     [&](unsigned int a, unsigned int b) { return keys[a] < keys[b]; });
    for (const unsigned int node : expected) EXPECT_EQ(queue.take(), node);
    EXPECT_TRUE(queue.empty());
}

} // namespace
