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

template <unsigned int N>
field_t random_field(unsigned int nodes, unsigned int seed) {
    generator random(seed);
    field_t field(N == 2 ? 3 : 6, nodes);
    for (unsigned int j = 0; j < nodes; ++j) {
        auto M = random_metric<N>(random, 0.01, 10);
        if (random.below(4) == 0) M[0] = -M[0];
        std::copy_n(M.data(), M.size(), field.col_data(j));
    }
    return field;
}

field_t random_frames(unsigned int nodes) {
    generator random(99);
    field_t frames(6, nodes);
    for (double* entry = frames.data(); entry != frames.data() + frames.size(); ++entry) {
        *entry = random.uniform(-1, 1);
    }
    return frames;
}

template <unsigned int N>
symmetric_fixed<double, N> column(const field_t& field, unsigned int j) {
    symmetric_fixed<double, N> M;
    std::copy_n(field.col_data(j), M.size(), M.data());
    return M;
}

TEST(ValidSizes, WholeFieldAndList) {
    EXPECT_TRUE(are_valid_metrics(sizes_t()));
    EXPECT_TRUE(are_valid_metrics(vector_of({1, 5e-324, 1e308})));
    for (const double bad : {0.0, -1.0, NaN, INF, -INF}) {
        const sizes_t sizes = vector_of({1, bad, 2});
        EXPECT_FALSE(are_valid_metrics(sizes)) << bad;
        EXPECT_TRUE(are_valid_metrics(IDs_of({2, 0, 2}), sizes));
        EXPECT_FALSE(are_valid_metrics(IDs_of({2, 1}), sizes));
        EXPECT_TRUE(are_valid_metrics(IDs_of({}), sizes));
    }
    EXPECT_FALSE(are_valid_metrics(IDs_of({0, 3}), vector_of({1, 1, 1})));
    EXPECT_FALSE(are_valid_metrics(IDs_of({NO_ID}), vector_of({1, 1, 1})));
    EXPECT_TRUE(are_valid_metrics(IDs_of({}), sizes_t()));
    EXPECT_FALSE(are_valid_metrics(IDs_of({0}), sizes_t()));
}

TEST(ValidMetrics, RowsDecideTheTest) {
    EXPECT_TRUE(are_valid_metrics(field_t(3, 0)));
    EXPECT_TRUE(are_valid_metrics(field_t(6, 0)));
    EXPECT_FALSE(are_valid_metrics(field_t()));
    EXPECT_FALSE(are_valid_metrics(field_t(4, 0)));
    EXPECT_FALSE(are_valid_metrics(field_t(4, 2, 1.0)));
    EXPECT_TRUE(are_valid_metrics(matrix_of<double>(3, {4, 0, 9, 2, 1, 2})));
    EXPECT_FALSE(are_valid_metrics(matrix_of<double>(3, {4, 0, 9, 1, 2, 1})));
    EXPECT_TRUE(are_valid_metrics(matrix_of<double>(6, {4, 0, 9, 0, 0, 1})));
    EXPECT_FALSE(are_valid_metrics(matrix_of<double>(6, {4, 0, 9, 0, 0, 0})));
}

TEST(ValidMetrics, ListedNodes) {
    const field_t field = matrix_of<double>(3, {4, 0, 9, 1, 2, 1});
    EXPECT_TRUE(are_valid_metrics(IDs_of({0, 0}), field));
    EXPECT_FALSE(are_valid_metrics(IDs_of({0, 1}), field));
    EXPECT_FALSE(are_valid_metrics(IDs_of({0, 2}), field));
    EXPECT_FALSE(are_valid_metrics(IDs_of({NO_ID}), field));
    EXPECT_TRUE(are_valid_metrics(IDs_of({}), field));
    EXPECT_TRUE(are_valid_metrics(IDs_of({}), field_t()));
    EXPECT_TRUE(are_valid_metrics(IDs_of({}), field_t(4, 0)));
    EXPECT_FALSE(are_valid_metrics(IDs_of({}), field_t(4, 2)));
    EXPECT_FALSE(are_valid_metrics(IDs_of({0}), field_t(3, 0)));
}

TEST(BoundSizes, ClampsInOrder) {
    sizes_t sizes = vector_of({0.5, 5, 50});
    EXPECT_EQ(bound_metrics(sizes, 1, 10), 0);
    EXPECT_TRUE(sizes == vector_of({1, 5, 10}));
    EXPECT_EQ(bound_metrics(sizes, 20, 10), 0);
    EXPECT_TRUE(sizes == vector_of({10, 10, 10}));
    EXPECT_EQ(bound_metrics(sizes, -1, -2), 0); // no bound is special here
    EXPECT_TRUE(sizes == vector_of({-2, -2, -2}));
    sizes = vector_of({NaN, -INF, INF});
    EXPECT_EQ(bound_metrics(sizes, 1, 10), 0);
    EXPECT_TRUE(std::isnan(sizes[0]));
    EXPECT_EQ(sizes[1], 1);
    EXPECT_EQ(sizes[2], 10);
    EXPECT_EQ(bound_metrics(sizes, NaN, NaN), 0);
    EXPECT_EQ(sizes[1], 1);
    sizes_t none;
    EXPECT_EQ(bound_metrics(none, 1, 10), 0);
}

TEST(BoundMetrics, AppliesTheSingleFormToEveryColumn) {
    for (const unsigned int rows : {3u, 6u}) {
        const field_t original = rows == 3 ? random_field<2>(200, 1) : random_field<3>(200, 1);
        field_t field, view = as_view(original, -5.0);
        ASSERT_TRUE(field.copy(original));
        EXPECT_EQ(bound_metrics(field, 0.1, 1), 0);
        EXPECT_EQ(bound_metrics(view, 0.1, 1), 0);
        EXPECT_TRUE(same_bits(field, view));
        for (unsigned int j = 0; j < field.cols(); ++j) {
            if (rows == 3) {
                auto M = column<2>(original, j);
                bound_metric(M, 0.1, 1);
                EXPECT_EQ(std::memcmp(M.data(), field.col_data(j), sizeof M), 0);
            } else {
                auto M = column<3>(original, j);
                bound_metric(M, 0.1, 1);
                EXPECT_EQ(std::memcmp(M.data(), field.col_data(j), sizeof M), 0);
            }
        }
        EXPECT_TRUE(are_valid_metrics(field));
    }
}

TEST(BoundMetrics, ChecksInTheirOrder) {
    field_t wrong(4, 2, 1.0);
    EXPECT_EQ(bound_metrics(wrong, 1, 2), -1);
    EXPECT_EQ(bound_metrics(wrong, -1, -1), 0); // two negative bounds come before the rows
    EXPECT_EQ(bound_metrics(wrong, 0, -1), -1);
    field_t empty(4, 0);
    EXPECT_EQ(bound_metrics(empty, 1, 2), 0);
    field_t with_nan = matrix_of<double>(3, {NaN, 0, 1, -2, 0, 1});
    EXPECT_EQ(bound_metrics(with_nan, -1, -1), 0);
    EXPECT_TRUE(std::isnan(with_nan(0, 0)));
    EXPECT_EQ(bound_metrics(with_nan, 0, 0), 0); // no bounds, but negative eigenvalues rise to 0
    EXPECT_EQ(with_nan(0, 0), std::numeric_limits<double>::max());
    EXPECT_EQ(with_nan(0, 1), 0);
}

TEST(BoundMetrics, WritesThroughSharedStorage) {
    field_t field = matrix_of<double>(3, {100, 0, 100});
    const field_t other = field;
    EXPECT_EQ(bound_metrics(field, 1, 0), 0);
    EXPECT_EQ(other(0, 0), 1);
    sizes_t sizes = vector_of({5});
    const sizes_t same_sizes = sizes;
    EXPECT_EQ(bound_metrics(sizes, 0, 1), 0);
    EXPECT_EQ(same_sizes[0], 1);
}

TEST(OverwriteInvalid, SizesBySizes) {
    sizes_t sizes = vector_of({-1, 0, 2});
    EXPECT_EQ(overwrite_invalid_metrics(sizes, vector_of({3, -3})), 0);
    EXPECT_TRUE(sizes == vector_of({3, 0, 2}));
    sizes = vector_of({-1, NaN, INF, -INF, 0, 0});
    EXPECT_EQ(overwrite_invalid_metrics(sizes, vector_of({1, 2, 3, 4, NaN, INF, 9})), 0);
    EXPECT_EQ(sizes[0], 1);
    EXPECT_TRUE(std::isnan(sizes[1])); // not at most 0
    EXPECT_EQ(sizes[2], INF);
    EXPECT_EQ(sizes[3], 4);
    EXPECT_EQ(sizes[4], 0);
    EXPECT_EQ(sizes[5], INF);
    sizes_t none;
    EXPECT_EQ(overwrite_invalid_metrics(none, vector_of({1})), 0);
    EXPECT_TRUE(none.empty());
}

TEST(OverwriteInvalid, MetricsBySizes) {
    field_t field = matrix_of<double>(3, {1, 2, 1, 4, 0, 9, 0, 0, 0, NaN, 0, 1, -1, 0, 1});
    EXPECT_EQ(overwrite_invalid_metrics(field, vector_of({0.5, 0.25, -1, 2})), 0);
    EXPECT_TRUE(same_bits(field.sub_matrix(0, 0, 3, 4),
                          matrix_of<double>(3, {4, 0, 4, 4, 0, 9, 0, 0, 0, 0.25, 0, 0.25})));
    EXPECT_EQ(field(0, 4), -1); // beyond the defaults
    field_t wrong(5, 1);
    EXPECT_EQ(overwrite_invalid_metrics(wrong, vector_of({1})), -1);
    field_t empty(5, 0);
    EXPECT_EQ(overwrite_invalid_metrics(empty, vector_of({1})), 0);
    field_t solid(6, 1);
    EXPECT_EQ(overwrite_invalid_metrics(solid, vector_of({0.5})), 0);
    EXPECT_TRUE(same_bits(solid, matrix_of<double>(6, {4, 0, 4, 0, 0, 4})));
}

TEST(OverwriteInvalid, MetricsByMetrics) {
    field_t field = matrix_of<double>(3, {1, 2, 1, 4, 0, 9, 0, 0, 0, 0, 0, 0});
    const field_t defaults = matrix_of<double>(3, {2, 1, 2, 7, 0, 7, 1, 2, 1});
    EXPECT_EQ(overwrite_invalid_metrics(field, defaults), 0);
    EXPECT_TRUE(same_bits(field, matrix_of<double>(3, {2, 1, 2, 4, 0, 9, 0, 0, 0, 0, 0, 0})));
    field_t wrong(4, 1);
    EXPECT_EQ(overwrite_invalid_metrics(wrong, field_t(4, 1)), -1);
    EXPECT_EQ(overwrite_invalid_metrics(field, field_t(4, 1)), -2);
    EXPECT_EQ(overwrite_invalid_metrics(field, field_t(6, 1)), -2);
    field_t empty(4, 0);
    EXPECT_EQ(overwrite_invalid_metrics(empty, field_t(5, 1)), 0);
}

TEST(OverwriteInvalid, DefaultsThatShareStorageStayIntact) {
    sizes_t all = vector_of({-1, -2, 3, 4});
    sizes_t field = all.sub_vector(0, 3);
    EXPECT_EQ(overwrite_invalid_metrics(field, all.sub_vector(2, 2)), 0);
    EXPECT_TRUE(field == vector_of({3, 4, 3}));
    EXPECT_TRUE(all == vector_of({-1, -2, 3, 4}));
    EXPECT_EQ(overwrite_invalid_metrics(all, all), 0);
    EXPECT_TRUE(all == vector_of({-1, -2, 3, 4}));

    field_t metrics = matrix_of<double>(3, {0, 0, 0, 1, 0, 1, 5, 0, 5});
    field_t head = metrics.sub_matrix(0, 0, 3, 2);
    const field_t tail = metrics.sub_matrix(0, 1, 3, 2);
    EXPECT_EQ(overwrite_invalid_metrics(head, tail), 0);
    EXPECT_EQ(head(0, 0), 1);
    EXPECT_EQ(metrics(0, 0), 0);
}

TEST(ConvertSizes, ToIsotropicMetrics) {
    field_t metrics(5, 7, 3.0);
    const field_t other = metrics;
    metrics_iso_to_aniso3d(vector_of({2, 0}), metrics);
    EXPECT_TRUE(same_bits(metrics, matrix_of<double>(6, {0.25, 0, 0.25, 0, 0, 0.25, 0, 0, 0, 0, 0, 0})));
    metrics_iso_to_aniso2d(vector_of({2, NaN, -INF, -1}), metrics);
    EXPECT_TRUE(same_bits(metrics, matrix_of<double>(3, {0.25, 0, 0.25, 0, 0, 0, 0, 0, 0, 0, 0, 0})));
    EXPECT_TRUE(same_bits(other, field_t(5, 7, 3.0)));
    metrics_iso_to_aniso2d(sizes_t(), metrics);
    EXPECT_EQ(metrics.rows(), 3u);
    EXPECT_EQ(metrics.cols(), 0u);

    field_t shared(3, 1, 2.0); // the sizes are a column of the output
    metrics_iso_to_aniso2d(shared.col(0), shared);
    EXPECT_TRUE(same_bits(shared, matrix_of<double>(3, {0.25, 0, 0.25, 0.25, 0, 0.25, 0.25, 0, 0.25})));
}

TEST(ConvertSizes, IntoFrames) {
    const unsigned int n = 20;
    generator random(3);
    sizes_t sizes(n);
    for (double& size : sizes) size = random.uniform(-0.2, 2);
    const field_t frames = random_frames(n);
    field_t metrics, from_view;
    ASSERT_EQ(metrics_iso_to_aniso2d(sizes, frames, metrics), 0);
    ASSERT_EQ(metrics_iso_to_aniso2d(sizes, as_view(frames, NaN), from_view), 0);
    EXPECT_TRUE(same_bits(metrics, from_view));
    for (unsigned int j = 0; j < n; ++j) {
        matrix_fixed<double, 3, 2> F;
        std::copy_n(frames.col_data(j), 6, F.data());
        symmetric_fixed<double, 2> M;
        metric_iso_to_aniso2d(sizes[j], F, M);
        EXPECT_EQ(std::memcmp(M.data(), metrics.col_data(j), sizeof M), 0);
    }
    const field_t kept = from_view;
    EXPECT_EQ(metrics_iso_to_aniso2d(sizes, field_t(5, n), metrics), -2);
    EXPECT_EQ(metrics_iso_to_aniso2d(sizes, field_t(6, n - 1), metrics), -2);
    EXPECT_TRUE(same_bits(metrics, kept));
    EXPECT_EQ(metrics_iso_to_aniso2d(sizes_t(), field_t(6, 0), metrics), 0);
    EXPECT_EQ(metrics.rows(), 3u);
    EXPECT_TRUE(metrics.empty());

    field_t frames_and_output;
    ASSERT_TRUE(frames_and_output.copy(frames));
    ASSERT_EQ(metrics_iso_to_aniso2d(sizes, frames_and_output, frames_and_output), 0);
    EXPECT_TRUE(same_bits(frames_and_output, from_view));
}

TEST(ConvertMetrics, ReportsMissingMemoryAndKeepsTheOutput) {
    test::expect_survives_without_memory([] {
        const unsigned int n = 9000000;
        const field_t frames(6, n, 1.0);
        if (frames.empty()) return false;
        field_t metrics(3, 1, 7.0);
        const field_t kept = metrics;
        return metrics_aniso3d_to_aniso2d(frames, frames, metrics) == -199 && same_bits(metrics, kept);
    });
    test::expect_survives_without_memory([] {
        const unsigned int n = 10000000;
        const sizes_t sizes(n);
        if (sizes.empty()) return false;
        field_t metrics(3, 1, 7.0);
        metrics_iso_to_aniso3d(sizes, metrics);
        return metrics.cols() == 1 && metrics(2, 0) == 7;
    });
}

TEST(ConvertMetrics, RestrictsEveryColumnToItsFrame) {
    const unsigned int n = 20;
    const field_t metrics3d = random_field<3>(n, 8), frames = random_frames(n);
    field_t metrics2d, from_views;
    ASSERT_EQ(metrics_aniso3d_to_aniso2d(metrics3d, frames, metrics2d), 0);
    ASSERT_EQ(metrics_aniso3d_to_aniso2d(as_view(metrics3d, NaN), as_view(frames, NaN), from_views), 0);
    EXPECT_TRUE(same_bits(metrics2d, from_views));
    for (unsigned int j = 0; j < n; ++j) {
        matrix_fixed<double, 3, 2> F;
        std::copy_n(frames.col_data(j), 6, F.data());
        symmetric_fixed<double, 2> M;
        metric_aniso3d_to_aniso2d(column<3>(metrics3d, j), F, M);
        EXPECT_EQ(std::memcmp(M.data(), metrics2d.col_data(j), sizeof M), 0);
    }
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(field_t(3, n, 1.0), field_t(5, n), metrics2d), -1);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(metrics3d, field_t(5, n), metrics2d), -2);
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(metrics3d, field_t(6, n + 1), metrics2d), -2);
    EXPECT_TRUE(same_bits(metrics2d, from_views));
    EXPECT_EQ(metrics_aniso3d_to_aniso2d(field_t(6, 0), field_t(6, 0), metrics2d), 0);
    EXPECT_EQ(metrics2d.rows(), 3u);
    EXPECT_EQ(metrics2d.cols(), 0u);

    field_t in_place;
    ASSERT_TRUE(in_place.copy(metrics3d));
    ASSERT_EQ(metrics_aniso3d_to_aniso2d(in_place, frames, in_place), 0);
    EXPECT_TRUE(same_bits(in_place, from_views));
}

} // namespace
