#include "limited_memory.h"
#include "test_metrics.h"

using namespace test_metrics;

namespace {

template <typename T>
class MetricFields : public testing::Test {};
TYPED_TEST_SUITE(MetricFields, dimensions, );

/// Metrics of which every third is invalid in one of the ways there are.
template <unsigned int N>
field_t random_field(unsigned int nodes, dice& random) {
    field_t field(metric<N>().size(), nodes);
    for (unsigned int j = 0; j < nodes; ++j) {
        auto M = random_metric<N>(random, 0.01, 10);
        if (random.one_in(3)) M[0] = reals({-M[0], 0, NaN, INF})[random.below(4)];
        std::copy_n(M.data(), M.size(), field.col_data(j));
    }
    return field;
}

real_list random_sizes(unsigned int nodes, dice& random) {
    real_list sizes(nodes);
    for (double& size : sizes) {
        size = random.between(0, 2);
        if (random.one_in(3)) size = reals({-1, 0, NaN, INF, -INF})[random.below(5)];
    }
    return sizes;
}

TYPED_TEST(MetricFields, ApplyTheSingleOperationToEveryColumn) {
    constexpr unsigned int N = TypeParam::value;
    dice random(N);
    for (const unsigned int defaults : {50u, 70u}) { // fewer and more than there are nodes
        const field_t field = random_field<N>(60, random), other_metrics = random_field<N>(80, random);
        const real_list other_sizes = random_sizes(80, random);
        framed<double> bounded(field), by_sizes(field), by_metrics(field);
        const field_t isotropic = isotropic_metrics<N>(other_sizes);
        EXPECT_EQ(bound_metrics(bounded.view, 0.1, 1), 0);
        EXPECT_EQ(overwrite_invalid_metrics(by_sizes.view, other_sizes.sub_vector(0, defaults)), 0);
        EXPECT_EQ(overwrite_invalid_metrics(by_metrics.view,
                                            other_metrics.sub_matrix(0, 0, other_metrics.rows(), defaults)),
                  0);
        EXPECT_EQ(isotropic.cols(), 80u);
        const field_t view = as_view(field);
        for (unsigned int j = 0; j < 60; ++j) {
            const auto M = column<N>(field, j), fallback = column<N>(other_metrics, j);
            const double h = other_sizes[j], value = h > 0 ? 1 / (h * h) : 0;
            const auto of_size = diagonal<N>({value, value, value});
            auto clamped = M;
            bound_metric(clamped, 0.1, 1);
            const bool valid = is_valid_metric(M), keeps = valid || j >= defaults;
            EXPECT_TRUE(same_bits(column<N>(bounded.view, j), clamped));
            EXPECT_TRUE(same_bits(column<N>(by_sizes.view, j), keeps || !(h > 0) ? M : of_size));
            EXPECT_TRUE(
                same_bits(column<N>(by_metrics.view, j), keeps || !is_valid_metric(fallback) ? M : fallback));
            EXPECT_TRUE(same_bits(column<N>(isotropic, j), of_size));
            const unsigned int k = j == 0 ? 0 : j - 1;
            const bool both_valid = valid && is_valid_metric(column<N>(field, k));
            EXPECT_EQ(are_valid_metrics(view.sub_matrix(0, k, view.rows(), j - k + 1)), both_valid);
            EXPECT_EQ(are_valid_metrics(ids({j, k}), view), both_valid);
        }
        EXPECT_TRUE(bounded.frame_intact() && by_sizes.frame_intact() && by_metrics.frame_intact());
    }
    const field_t two = isotropic_metrics<N>(reals({1, 1, 1})).sub_matrix(0, 0, metric<N>().size(), 2);
    for (const unsigned int ID : {2u, NO_ID}) EXPECT_FALSE(are_valid_metrics(ids({0, ID}), two));
    EXPECT_TRUE(are_valid_metrics(ids({0, 1}), two));
}

TEST(SizeFields, FollowTheRulesForEveryNode) {
    dice random(4);
    const double bounds[][2] = {{0.5, 1}, {1, 0.5}, {-1, -2}, {0, 0}, {NaN, NaN}};
    for (const auto& [hmin, hmax] : bounds) {
        const real_list sizes = random_sizes(60, random), defaults = random_sizes(60, random);
        real_list bounded = copy_of(sizes), overwritten = copy_of(sizes);
        const real_list written_through = bounded;
        EXPECT_EQ(bound_metrics(bounded, hmin, hmax), 0);
        EXPECT_TRUE(same_bits(written_through, bounded));
        EXPECT_EQ(overwrite_invalid_metrics(overwritten, defaults.sub_vector(0, 50)), 0);
        for (unsigned int j = 0; j < 60; ++j) {
            double expected = hmin > sizes[j] ? hmin : sizes[j];
            if (expected > hmax) expected = hmax;
            EXPECT_TRUE(same_bits(bounded.sub_vector(j, 1), reals({expected})));
            const bool replaced = j < 50 && sizes[j] <= 0 && defaults[j] > 0;
            EXPECT_TRUE(
                same_bits(overwritten.sub_vector(j, 1), (replaced ? defaults : sizes).sub_vector(j, 1)));
            const unsigned int k = j == 0 ? 0 : j - 1;
            const auto is_valid = [](double size) { return size > 0 && size < INF; };
            const bool both_valid = is_valid(sizes[j]) && is_valid(sizes[k]);
            EXPECT_EQ(are_valid_metrics(sizes.sub_vector(k, j - k + 1)), both_valid);
            EXPECT_EQ(are_valid_metrics(ids({j, k}), sizes), both_valid);
        }
    }
    EXPECT_TRUE(are_valid_metrics(real_list()) && are_valid_metrics(ids({}), real_list()));
    for (const unsigned int ID : {2u, NO_ID}) {
        EXPECT_FALSE(are_valid_metrics(ids({ID}), reals({1, 1, 1}).sub_vector(0, 2)));
    }
}

TEST(MetricFrames, RestrictMetricsToTheirPlanes) {
    dice random(99);
    const real_list sizes = random_sizes(60, random);
    field_t metrics(6, 60), frames(6, 60), of_sizes, of_metrics;
    for (unsigned int k = 0; k < frames.size(); ++k) {
        frames.data()[k] = random.between(-1, 1); // not orthonormal
        metrics.data()[k] = random.between(-1, 1);
    }
    ASSERT_EQ(metrics_iso_to_aniso2d(sizes, as_view(frames), of_sizes), 0);
    ASSERT_EQ(metrics_aniso3d_to_aniso2d(as_view(metrics), as_view(frames), of_metrics), 0);
    for (unsigned int j = 0; j < 60; ++j) {
        const bool is_size = sizes[j] > 0 && sizes[j] < INF;
        EXPECT_TRUE(is_size || same_bits(column<2>(of_sizes, j), {0, 0, 0})) << sizes[j];
        for (int repeat = 0; repeat < 5; ++repeat) {
            const vector<2> x = random_direction<2>(random);
            vector<3> v; // the same direction in space
            for (unsigned int i = 0; i < 3; ++i) v[i] = x[0] * frames(i, j) + x[1] * frames(i + 3, j);
            const double q = double(form(column<3>(metrics, j), v));
            EXPECT_NEAR(double(form(column<2>(of_metrics, j), x)), q, 1e-12);
            const double q_of_size = is_size ? dot(v, v) / (sizes[j] * sizes[j]) : 0;
            EXPECT_NEAR(double(form(column<2>(of_sizes, j), x)), q_of_size, 1e-12 * (1 + q_of_size));
        }
    }
    // The output is an input.
    field_t first = copy_of(metrics), second = copy_of(frames), third = copy_of(frames);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(first, frames, first), 0);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(metrics, second, second), 0);
    EXPECT_EQ(metrics_iso_to_aniso2d(sizes, third, third), 0);
    EXPECT_TRUE(same_bits(first, of_metrics) && same_bits(second, of_metrics) && same_bits(third, of_sizes));
}

TEST(MetricFieldChecks, ComeInOrderAndLeaveOutputsAlone) {
    field_t output(3, 1, 7.0), solid(6, 2, 1.0), plane(3, 2, 1.0);
    for (const unsigned int rows : {2u, 4u, 5u, 7u}) {
        field_t wrong(rows, 2, 1.0), empty(rows, 0);
        EXPECT_FALSE(are_valid_metrics(wrong) || are_valid_metrics(empty) ||
                     are_valid_metrics(ids({}), wrong));
        EXPECT_TRUE(are_valid_metrics(ids({}), empty));
        EXPECT_EQ(bound_metrics(wrong, -1, -1), 0); // two negative bounds come before the rows
        EXPECT_EQ(bound_metrics(wrong, 0, -1), -1);
        EXPECT_EQ(bound_metrics(empty, 1, 2), 0);
        EXPECT_EQ(overwrite_invalid_metrics(wrong, reals({1})), -1);
        EXPECT_EQ(overwrite_invalid_metrics(wrong, wrong), -1);
        EXPECT_EQ(overwrite_invalid_metrics(wrong, solid), -1);
        EXPECT_EQ(overwrite_invalid_metrics(solid, wrong), -2);
        EXPECT_EQ(overwrite_invalid_metrics(empty, reals({1})), 0);
        EXPECT_EQ(overwrite_invalid_metrics(empty, wrong), 0);
        EXPECT_EQ(metrics_aniso3d_to_aniso2d(wrong, wrong, output), -1);
        EXPECT_EQ(metrics_aniso3d_to_aniso2d(solid, wrong, output), -2);
        EXPECT_EQ(metrics_iso_to_aniso2d(reals({1, 1}), wrong, output), -2);
    }
    EXPECT_EQ(overwrite_invalid_metrics(plane, solid), -2);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(plane, solid, output), -1);
    for (const unsigned int frames : {1u, 3u}) {
        EXPECT_EQ(metrics_aniso3d_to_aniso2d(solid, field_t(6, frames), output), -2);
        EXPECT_EQ(metrics_iso_to_aniso2d(reals({1, 1}), field_t(6, frames), output), -2);
    }
    EXPECT_TRUE(same_bits(output, field_t(3, 1, 7.0)));
    EXPECT_TRUE(are_valid_metrics(field_t(3, 0)) && are_valid_metrics(field_t(6, 0)));

    field_t bad = real_matrix(3, {NaN, 0, 1, -2, 0, 1});
    EXPECT_EQ(bound_metrics(bad, -1, -1), 0);
    EXPECT_TRUE(std::isnan(bad(0, 0)) && bad(0, 1) == -2);
    EXPECT_EQ(bound_metrics(bad, 0, 0), 0); // no bounds, but negative eigenvalues rise to 0
    EXPECT_TRUE(bad(0, 0) == LARGEST && bad(0, 1) == 0);

    // Empty fields need no frames, and become empty fields of plane metrics.
    EXPECT_EQ(metrics_iso_to_aniso2d(real_list(), field_t(5, 1), output), 0);
    EXPECT_TRUE(output.rows() == 3 && output.cols() == 0);
    for (const field_t& empty : {field_t(4, 0), field_t(0, 5)}) {
        output = field_t(3, 1, 7.0);
        EXPECT_EQ(metrics_aniso3d_to_aniso2d(empty, field_t(5, 1), output), 0);
        EXPECT_TRUE(output.rows() == 3 && output.cols() == 0);
    }
}

TEST(MetricFieldSharing, LeavesDefaultsAndSourcesIntact) {
    real_list all = reals({-1, -2, 3, 4}), head = all.sub_vector(0, 3);
    EXPECT_EQ(overwrite_invalid_metrics(head, all.sub_vector(2, 2)), 0);
    EXPECT_TRUE(head == reals({3, 4, 3}));
    EXPECT_EQ(overwrite_invalid_metrics(all, all), 0);
    EXPECT_TRUE(all == reals({-1, -2, 3, 4}));

    const field_t metrics = real_matrix(3, {-1, 0, -1, 0.5, 0, 2});
    field_t by_metrics = metrics.sub_matrix(0, 0, 3, 2), by_sizes = metrics, through = copy_of(metrics);
    EXPECT_EQ(overwrite_invalid_metrics(by_metrics, metrics.sub_matrix(0, 1, 3, 1)), 0);
    EXPECT_TRUE(same_bits(by_metrics, real_matrix(3, {0.5, 0, 2, 0.5, 0, 2})));
    EXPECT_EQ(overwrite_invalid_metrics(by_sizes, metrics.col(1)), 0);
    EXPECT_TRUE(same_bits(by_sizes, real_matrix(3, {4, 0, 4, 0.5, 0, 2})));
    EXPECT_TRUE(same_bits(metrics, real_matrix(3, {-1, 0, -1, 0.5, 0, 2})));

    const field_t written_through = through;
    EXPECT_EQ(bound_metrics(through, 1, 0), 0);
    EXPECT_TRUE(same_bits(written_through, real_matrix(3, {0, 0, 0, 0.5, 0, 1})));
    metrics_iso_to_aniso2d(through.col(1), through); // sizes 0.5, 0, 1
    EXPECT_TRUE(same_bits(through, real_matrix(3, {4, 0, 4, 0, 0, 0, 1, 0, 1})));
}

TEST(MetricsWithoutMemory, ReportItAndLeaveOutputsAlone) {
    expect_survives_without_memory([] {
        const unsigned int n = 300000;
        field_t frames(6, n, 1.0), metrics(3, n, 1.0), pos(2, n), output(3, 1, 7.0);
        real_list sizes(n, 9.0), shocks(1, 7.0);
        const edges_t edge = id_matrix(2, {0, 1});
        const field_t metrics_before = copy_of(metrics);
        const real_list sizes_before = copy_of(sizes), default_sizes = metrics.col(0);
        const real_list later_sizes = sizes.sub_vector(1, 9);
        use_up_memory();
        metrics_iso_to_aniso3d(sizes, output);
        const int codes[] = {metrics_iso_to_aniso2d(sizes, frames, output),
                             metrics_aniso3d_to_aniso2d(frames, frames, output),
                             overwrite_invalid_metrics(sizes, later_sizes),
                             overwrite_invalid_metrics(metrics, default_sizes),
                             overwrite_invalid_metrics(metrics, metrics.sub_matrix(0, 1, 3, 9)),
                             H_shock(pos, edge, sizes, shocks),
                             H_shock(pos, edge, metrics, shocks),
                             bound_metric_gradation(pos, edge, sizes, 0.1),
                             bound_metric_gradation(pos, edge, metrics, 0.1)};
        return std::count(std::begin(codes), std::end(codes), -199) == 9 && sizes == sizes_before &&
               metrics.as_vector() == metrics_before.as_vector() && output.cols() == 1 && output(2, 0) == 7 &&
               shocks[0] == 7;
    });
}

} // namespace
