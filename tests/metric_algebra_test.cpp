#include "lapack/dspev.h"
#include "metrics/edge_length.h"
#include "test_metrics.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

extern "C" void dspev_(const char* job, const char* triangle, const int* n, double* packed, double* values,
                       double* vectors, const int* ld, double* work, int* info, std::size_t, std::size_t);

using namespace test_metrics;

namespace {

constexpr double NaN = std::numeric_limits<double>::quiet_NaN();
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double LARGEST = std::numeric_limits<double>::max();
constexpr long double ULP = std::numeric_limits<double>::epsilon();
constexpr long double ACCURACY = 4 * ULP;

template <unsigned int N>
struct dimension : std::integral_constant<unsigned int, N> {};

template <typename T>
class MetricAlgebra : public testing::Test {};
using dimensions = testing::Types<dimension<2>, dimension<3>>;
TYPED_TEST_SUITE(MetricAlgebra, dimensions, );

template <unsigned int N>
symmetric_fixed<double, N> diagonal(const vector_fixed<double, N>& values) {
    symmetric_fixed<double, N> M{};
    for (unsigned int i = 0; i < N; ++i) M(i, i) = values[i];
    return M;
}

template <unsigned int N>
symmetric_fixed<double, N> identity_times(double value) {
    vector_fixed<double, N> values;
    values = value;
    return diagonal(values);
}

template <unsigned int N>
bool same(const symmetric_fixed<double, N>& a, const symmetric_fixed<double, N>& b) {
    return std::memcmp(a.data(), b.data(), sizeof a) == 0;
}

template <unsigned int N>
void expect_near(const symmetric_fixed<double, N>& a, const symmetric_fixed<double, N>& b, double tolerance) {
    for (unsigned int k = 0; k < a.size(); ++k) EXPECT_NEAR(a[k], b[k], tolerance * norm(b)) << "entry " << k;
}

/// The largest |Mv - λv| / |M| and the largest departure of VᵀV from the identity, evaluated in long double.
template <unsigned int N>
struct accuracy {
    long double residual = 0, orthogonality = 0;

    accuracy() = default;
    accuracy(const symmetric_fixed<double, N>& M, const vector_fixed<double, N>& values,
             const matrix_fixed<double, N, N>& V) {
        long double scale = 0;
        for (const double value : values) scale = std::max(scale, std::abs(static_cast<long double>(value)));
        for (unsigned int k = 0; k < N; ++k) {
            long double norm2 = 0;
            for (unsigned int i = 0; i < N; ++i) {
                long double sum = -static_cast<long double>(values[k]) * V(i, k);
                for (unsigned int j = 0; j < N; ++j) sum += static_cast<long double>(M(i, j)) * V(j, k);
                norm2 += sum / scale * (sum / scale);
            }
            if (scale > 0) residual = std::max(residual, std::sqrt(norm2));
            for (unsigned int l = 0; l <= k; ++l) {
                long double sum = k == l ? -1 : 0;
                for (unsigned int i = 0; i < N; ++i) sum += static_cast<long double>(V(i, k)) * V(i, l);
                orthogonality = std::max(orthogonality, std::abs(sum));
            }
        }
    }
};

/// The matrices on which solvers differ: condition numbers up to 1e16, double and triple eigenvalues exact
/// and within rounding, negative ones, axis-aligned and nearly so, sizes of 1e-6 … 1e3 in one metric, zeros.
template <unsigned int N>
std::vector<symmetric_fixed<double, N>> hard_matrices() {
    generator random(7);
    std::vector<symmetric_fixed<double, N>> result;
    const auto rotated = [&](vector_fixed<double, N> values) {
        const auto R = random_rotation(random, std::integral_constant<unsigned int, N>());
        result.push_back(metric_with(R, values));
        result.push_back(diagonal(values));
    };
    for (int repeat = 0; repeat < 3000; ++repeat) {
        const double condition = std::pow(10.0, random.uniform(0, 16));
        vector_fixed<double, N> values;
        for (double& value : values) value = std::pow(condition, random.uniform(0, 1));
        rotated(values);
        values[0] = condition;
        values[1] = 1;
        rotated(values);
        for (unsigned int k = 1; k < N; ++k) values[k] = 1 + random.uniform(-1, 1) * 1e-14;
        rotated(values);
        values[1] = values[0];
        rotated(values);
        values = 1 + 1e-10 * random.uniform(0, 1);
        values[0] = 1;
        rotated(values);
        for (double& value : values) value = random.uniform(-1, 1);
        rotated(values);
        values = condition;
        rotated(values);
        symmetric_fixed<double, N> nearly_diagonal;
        for (unsigned int k = 0; k < nearly_diagonal.size(); ++k) {
            nearly_diagonal[k] = random.uniform(-1, 1) * std::pow(10.0, random.uniform(-20, -4));
        }
        for (unsigned int i = 0; i < N; ++i) nearly_diagonal(i, i) += 1 + i;
        result.push_back(nearly_diagonal);
        symmetric_fixed<double, N> small_integers;
        for (unsigned int k = 0; k < small_integers.size(); ++k) small_integers[k] = int(random.below(5)) - 2;
        result.push_back(small_integers);
    }
    return result;
}

TYPED_TEST(MetricAlgebra, EigenPairsAreAccurateToRounding) {
    constexpr unsigned int N = TypeParam::value;
    accuracy<N> worst;
    for (const auto& M : hard_matrices<N>()) {
        vector_fixed<double, N> values;
        matrix_fixed<double, N, N> V;
        ASSERT_TRUE(eigen_pairs(M, values, V));
        for (unsigned int k = 1; k < N; ++k) ASSERT_LE(values[k - 1], values[k]);
        const accuracy<N> found(M, values, V);
        worst.residual = std::max(worst.residual, found.residual);
        worst.orthogonality = std::max(worst.orthogonality, found.orthogonality);
    }
    // In 2-D, what is within 1e-12 of a multiple of the identity is taken for one.
    EXPECT_LE(worst.residual, N == 2 ? 1e-12L : ACCURACY);
    EXPECT_LE(worst.orthogonality, ACCURACY);
    this->RecordProperty("residual in ulp", std::to_string(double(worst.residual / ULP)));
    this->RecordProperty("orthogonality in ulp", std::to_string(double(worst.orthogonality / ULP)));
}

TYPED_TEST(MetricAlgebra, EigenPairsScaleWithPowersOfTwo) {
    constexpr unsigned int N = TypeParam::value;
    generator random(11);
    for (int repeat = 0; repeat < 200; ++repeat) {
        const auto M = random_metric<N>(random, 1e-3, 1e3);
        vector_fixed<double, N> values, scaled_values;
        matrix_fixed<double, N, N> V, scaled_V;
        ASSERT_TRUE(eigen_pairs(M, values, V));
        for (const int exponent : {-900, -400, -60, 31, 500, 950}) {
            auto scaled = M;
            for (unsigned int k = 0; k < scaled.size(); ++k) scaled[k] = std::ldexp(M[k], exponent);
            ASSERT_TRUE(eigen_pairs(scaled, scaled_values, scaled_V));
            for (unsigned int k = 0; k < N; ++k) {
                EXPECT_NEAR(std::ldexp(scaled_values[k], -exponent), values[k], 2e-15 * values[N - 1]);
            }
            EXPECT_LE(accuracy<N>(scaled, scaled_values, scaled_V).residual, ACCURACY);
            EXPECT_TRUE(is_valid_metric(scaled));
        }
    }
    // Entries that are denormal, or as large as they come.
    for (const double extreme : {5e-324, 1e-310, LARGEST}) {
        vector_fixed<double, N> values;
        matrix_fixed<double, N, N> V;
        ASSERT_TRUE(eigen_pairs(identity_times<N>(extreme), values, V));
        for (const double value : values) EXPECT_EQ(value, extreme);
        EXPECT_TRUE(is_valid_metric(identity_times<N>(extreme)));
        EXPECT_FALSE(is_valid_metric(identity_times<N>(-extreme)));
    }
}

TYPED_TEST(MetricAlgebra, AxisAlignedSizesKeepEveryDigit) {
    constexpr unsigned int N = TypeParam::value;
    generator random(5);
    for (int repeat = 0; repeat < 1000; ++repeat) {
        vector_fixed<double, N> expected;
        for (double& value : expected) value = std::pow(10.0, random.uniform(-6, 12));
        const auto M = diagonal(expected);
        EXPECT_TRUE(is_valid_metric(M));
        vector_fixed<double, N> values;
        matrix_fixed<double, N, N> V;
        ASSERT_TRUE(eigen_pairs(M, values, V));
        std::sort(expected.begin(), expected.end());
        for (unsigned int k = 0; k < N; ++k) EXPECT_EQ(values[k], expected[k]);
    }
}

TYPED_TEST(MetricAlgebra, NothingNotFiniteIsDecomposedOrValid) {
    constexpr unsigned int N = TypeParam::value;
    for (const double bad : {NaN, INF, -INF}) {
        for (unsigned int k = 0; k < packed_size(N); ++k) {
            auto M = identity_times<N>(4);
            M[k] = bad;
            EXPECT_FALSE(is_valid_metric(M));
            vector_fixed<double, N> values;
            matrix_fixed<double, N, N> V;
            V = 77;
            EXPECT_FALSE(eigen_pairs(M, values, V));
            for (const double entry : V.entries) EXPECT_EQ(entry, 77);
            auto bounded = M;
            bound_metric(bounded, 0.5, 0.25); // no step to hmax here
            EXPECT_TRUE(same(bounded, identity_times<N>(4)));
            bounded = M;
            bound_metric(bounded, 0, 10);
            EXPECT_TRUE(same(bounded, identity_times<N>(LARGEST)));
        }
    }
}

TYPED_TEST(MetricAlgebra, ValidityAgreesWithTheSmallestEigenvalue) {
    constexpr unsigned int N = TypeParam::value;
    unsigned int valid = 0, compared = 0;
    for (const auto& M : hard_matrices<N>()) {
        vector_fixed<double, N> values;
        matrix_fixed<double, N, N> V;
        ASSERT_TRUE(eigen_pairs(M, values, V));
        if (std::abs(values[0]) < 1e-14 * std::max(std::abs(values[0]), std::abs(values[N - 1]))) continue;
        EXPECT_EQ(is_valid_metric(M), values[0] > 0);
        valid += values[0] > 0;
        ++compared;
    }
    EXPECT_GT(valid, 1000u);
    EXPECT_GT(compared - valid, 1000u);
    EXPECT_FALSE(is_valid_metric(symmetric_fixed<double, N>{}));
    auto flat = identity_times<N>(1);
    flat(N - 1, N - 1) = 0;
    EXPECT_FALSE(is_valid_metric(flat));
    flat(N - 1, N - 1) = 5e-324;
    EXPECT_TRUE(is_valid_metric(flat));
    const int direction[3] = {1, -3, -2}; // of rank 1, where rounding may raise an eigenvalue above 0
    symmetric_fixed<double, N> line;
    for (unsigned int j = 0; j < N; ++j) {
        for (unsigned int i = 0; i <= j; ++i) line(i, j) = direction[i] * direction[j];
    }
    EXPECT_FALSE(is_valid_metric(line));
}

TEST(MetricAlgebra2D, Validity) {
    EXPECT_FALSE(is_valid_metric(symmetric_fixed<double, 2>{1, 0, 0}));
    EXPECT_FALSE(is_valid_metric(symmetric_fixed<double, 2>{1, 2, 1}));
    EXPECT_TRUE(is_valid_metric(symmetric_fixed<double, 2>{4, 0, 9}));
}

/// Matrices whose axes have sizes far apart, but are not aligned with the coordinate axes: the decision does
/// not depend on the scale of each axis.
TEST(MetricAlgebra3D, ValidityOfGradedMetrics) {
    const double scale[3] = {1e6, 1, 1e-6};
    const symmetric_fixed<double, 3> inner{2, 1, 2, 1, 1, 2}, indefinite{2, 1, 2, 1, -2, 2};
    symmetric_fixed<double, 3> graded, graded_indefinite;
    for (unsigned int i = 0; i < 3; ++i) {
        for (unsigned int j = i; j < 3; ++j) {
            graded(i, j) = inner(i, j) * scale[i] * scale[j];
            graded_indefinite(i, j) = indefinite(i, j) * scale[i] * scale[j];
        }
    }
    EXPECT_TRUE(is_valid_metric(graded));
    EXPECT_FALSE(is_valid_metric(graded_indefinite));
}

TEST(MetricAlgebra2D, EigenvectorConventions) {
    vector_fixed<double, 2> values;
    matrix_fixed<double, 2, 2> V;
    ASSERT_TRUE(eigen_pairs(symmetric_fixed<double, 2>{5, 0, 5}, values, V));
    EXPECT_EQ(values[0], 5);
    EXPECT_EQ(values[1], 5);
    EXPECT_EQ(V(0, 0), 1);
    EXPECT_EQ(V(1, 0), 0);
    EXPECT_EQ(V(0, 1), 0);
    EXPECT_EQ(V(1, 1), 1);

    generator random(3);
    for (int repeat = 0; repeat < 100; ++repeat) {
        ASSERT_TRUE(eigen_pairs(random_metric<2>(random, 0.1, 10), values, V));
        EXPECT_EQ(V(0, 1), -V(1, 0)); // the second is the first turned by a quarter
        EXPECT_EQ(V(1, 1), V(0, 0));
    }
}

TEST(MetricAlgebra3D, EigenvaluesAgreeWithLapack) {
    for (const auto& M : hard_matrices<3>()) {
        vector_fixed<double, 3> values;
        matrix_fixed<double, 3, 3> V;
        ASSERT_TRUE(eigen_pairs(M, values, V));
        auto packed = M;
        double expected[3], work[9];
        const int three = 3, one = 1;
        int info = -1;
        dspev_("N", "U", &three, packed.data(), expected, nullptr, &one, work, &info, 1, 1);
        ASSERT_EQ(info, 0);
        for (unsigned int k = 0; k < 3; ++k) {
            ASSERT_NEAR(values[k], expected[k], 1e-15 * 3 * norm(M)) << "eigenvalue " << k;
        }
    }
}

/// Sizes far apart along axes that are nearly, or in part, the coordinate axes: every eigenvalue keeps its
/// own digits.
TEST(MetricAlgebra3D, SmallEigenvaluesKeepTheirDigitsBesideLargeOnes) {
    generator random(19);
    for (int repeat = 0; repeat < 500; ++repeat) {
        double scale[3];
        for (double& s : scale) s = std::pow(10.0, random.uniform(-3, 6));
        symmetric_fixed<double, 3> M;
        for (unsigned int i = 0; i < 3; ++i) {
            for (unsigned int j = i; j < 3; ++j) {
                M(i, j) = scale[i] * scale[j] * (i == j ? random.uniform(1, 2) : random.uniform(-1e-5, 1e-5));
            }
        }
        vector_fixed<double, 3> values;
        matrix_fixed<double, 3, 3> V;
        ASSERT_TRUE(eigen_pairs(M, values, V));
        EXPECT_LE(accuracy<3>(M, values, V).residual, ACCURACY);
        // The determinant is the product of the eigenvalues, and does not cancel here.
        const auto entry = [&M](unsigned int i, unsigned int j) { return static_cast<long double>(M(i, j)); };
        const long double determinant =
            entry(0, 0) * (entry(1, 1) * entry(2, 2) - entry(1, 2) * entry(1, 2)) -
            entry(0, 1) * (entry(0, 1) * entry(2, 2) - entry(1, 2) * entry(0, 2)) +
            entry(0, 2) * (entry(0, 1) * entry(1, 2) - entry(1, 1) * entry(0, 2));
        const long double product = static_cast<long double>(values[0]) *
                                    static_cast<long double>(values[1]) * static_cast<long double>(values[2]);
        EXPECT_NEAR(static_cast<double>(product / determinant), 1, 4e-15);

        // A plane of its own: two sizes mixed, the third untouched.
        symmetric_fixed<double, 3> plane =
            metric_with(rotation<3>{{{0.8L, -0.6L, 0}, {0.6L, 0.8L, 0}, {0, 0, 1}}},
                        vector_fixed<double, 3>{scale[0], scale[1], 1e-12});
        ASSERT_TRUE(eigen_pairs(plane, values, V));
        EXPECT_EQ(values[0], 1e-12);
        EXPECT_EQ(std::abs(V(2, 0)), 1);
    }
}

TEST(Dspev, SolvesOtherOrdersAndTheLowerTriangle) {
    double packed[10] = {2, 0, 3, 0, 0, 4, 0, 0, 0, 1}, values[4], vectors[16], work[12];
    int info = -1;
    EXPECT_EQ(qv7::lapack::dspev('V', 'U', 4, packed, values, vectors, 4, work, info), 0);
    EXPECT_EQ(info, 0);
    for (int k = 0; k < 4; ++k) EXPECT_EQ(values[k], k + 1);

    double lower[6] = {2, 1, 0, 2, 0, 5}; // (m00, m10, m20, m11, m21, m22)
    EXPECT_EQ(qv7::lapack::dspev('V', 'L', 3, lower, values, vectors, 3, work, info), 0);
    EXPECT_NEAR(values[0], 1, 1e-15);
    EXPECT_NEAR(values[1], 3, 1e-15);
    EXPECT_NEAR(values[2], 5, 1e-15);

    double with_nan[6] = {1, 0, 1, 0, NaN, 1};
    EXPECT_NE(qv7::lapack::dspev('N', 'U', 3, with_nan, values, nullptr, 1, work, info), 0);
    EXPECT_NE(info, 0);
}

TEST(Dspev, WritesColumnsAtTheLeadingDimension) {
    double packed[6] = {2, 1, 3, 0.5, 0.25, 4}, values[3], vectors[15], work[9];
    std::fill(std::begin(vectors), std::end(vectors), 77.0);
    int info = -1;
    ASSERT_EQ(qv7::lapack::dspev('V', 'U', 3, packed, values, vectors, 5, work, info), 0);
    matrix_fixed<double, 3, 3> V;
    for (unsigned int k = 0; k < 3; ++k) {
        for (unsigned int i = 0; i < 3; ++i) V(i, k) = vectors[5 * k + i];
        EXPECT_EQ(vectors[5 * k + 3], 77);
        EXPECT_EQ(vectors[5 * k + 4], 77);
    }
    const accuracy<3> found({2, 1, 3, 0.5, 0.25, 4}, {values[0], values[1], values[2]}, V);
    EXPECT_LE(found.residual, ACCURACY);
}

TYPED_TEST(MetricAlgebra, BoundsClampEigenvaluesInTheirOwnFrame) {
    constexpr unsigned int N = TypeParam::value;
    auto M = identity_times<N>(1 / (0.01 * 0.01));
    bound_metric(M, 0.1, 10);
    expect_near(M, identity_times<N>(100), 1e-15);
    M = identity_times<N>(9);
    bound_metric(M, 2, 1); // hmax prevails
    EXPECT_TRUE(same(M, identity_times<N>(1)));
    M = identity_times<N>(1e8);
    bound_metric(M, 0, 1);
    EXPECT_TRUE(same(M, identity_times<N>(1e8)));
    M = identity_times<N>(-3);
    bound_metric(M, 1, 0); // no lower bound is 0, so negative eigenvalues rise to it
    expect_near(M, identity_times<N>(0), 0);

    generator random(17);
    for (int repeat = 0; repeat < 500; ++repeat) {
        vector_fixed<double, N> values, clamped;
        for (unsigned int k = 0; k < N; ++k) {
            values[k] = std::pow(10.0, random.uniform(-3, 3));
            clamped[k] = std::min(std::max(values[k], 1 / 16.0), 4.0);
        }
        const auto R = random_rotation(random, std::integral_constant<unsigned int, N>());
        M = metric_with(R, values);
        bound_metric(M, 0.5, 4);
        expect_near(M, metric_with(R, clamped), 1e-11);
    }
}

TYPED_TEST(MetricAlgebra, MetricsInsideTheBoundsKeepEveryBit) {
    constexpr unsigned int N = TypeParam::value;
    generator random(23);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const auto M = random_metric<N>(random, 1e-3, 1e3);
        auto bounded = M;
        bound_metric(bounded, 0.999e-3, 1.001e3);
        EXPECT_TRUE(same(bounded, M));
        bound_metric(bounded, 0.999e-3, 0);
        EXPECT_TRUE(same(bounded, M));
        bound_metric(bounded, -1, NaN);
        EXPECT_TRUE(same(bounded, M));
    }
    auto exactly_at_the_bounds = identity_times<N>(4);
    bound_metric(exactly_at_the_bounds, 0.5, 0.5);
    EXPECT_TRUE(same(exactly_at_the_bounds, identity_times<N>(4)));
}

TYPED_TEST(MetricAlgebra, GeneralisedPairsReduceBothMetrics) {
    constexpr unsigned int N = TypeParam::value;
    generator random(29);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const auto M1 = random_metric<N>(random, 0.1, 10), M2 = random_metric<N>(random, 0.1, 10);
        vector_fixed<double, N> values;
        matrix_fixed<double, N, N> V;
        ASSERT_TRUE(eigen_pairs(M1, M2, values, V));
        for (unsigned int k = 0; k < N; ++k) {
            if (k > 0) {
                EXPECT_LE(values[k - 1], values[k]);
            }
            double length2 = 0;
            for (unsigned int i = 0; i < N; ++i) {
                double m1v = 0, m2v = 0;
                for (unsigned int j = 0; j < N; ++j) {
                    m1v += M1(i, j) * V(j, k);
                    m2v += M2(i, j) * V(j, k);
                }
                EXPECT_NEAR(m2v, values[k] * m1v, 1e-10 * (norm(M2) + values[k] * norm(M1)));
                length2 += V(i, k) * V(i, k);
            }
            EXPECT_NEAR(length2, 1, 1e-15 * 4);
        }
    }
}

TYPED_TEST(MetricAlgebra, GeneralisedPairsWithTheIdentityAreTheOrdinaryOnes) {
    constexpr unsigned int N = TypeParam::value;
    generator random(31);
    const auto M = random_metric<N>(random, 0.2, 5);
    vector_fixed<double, N> values, generalised_values;
    matrix_fixed<double, N, N> V, generalised_V;
    ASSERT_TRUE(eigen_pairs(M, values, V));
    ASSERT_TRUE(eigen_pairs(identity_times<N>(1), M, generalised_values, generalised_V));
    for (unsigned int k = 0; k < N; ++k) {
        EXPECT_NEAR(generalised_values[k], values[k], 1e-13 * values[N - 1]);
        double cosine = 0;
        for (unsigned int i = 0; i < N; ++i) cosine += V(i, k) * generalised_V(i, k);
        EXPECT_NEAR(std::abs(cosine), 1, 1e-12);
    }
}

TYPED_TEST(MetricAlgebra, GeneralisedPairsRefuseWhatHasNoCholeskyFactor) {
    constexpr unsigned int N = TypeParam::value;
    vector_fixed<double, N> values;
    matrix_fixed<double, N, N> V;
    const auto I = identity_times<N>(1);
    EXPECT_FALSE(eigen_pairs(identity_times<N>(0), I, values, V));
    EXPECT_FALSE(eigen_pairs(identity_times<N>(-1), I, values, V));
    auto indefinite = I;
    indefinite[1] = 2;
    EXPECT_FALSE(eigen_pairs(indefinite, I, values, V));
    auto with_nan = I;
    with_nan[packed_size(N) - 1] = NaN;
    EXPECT_FALSE(eigen_pairs(with_nan, I, values, V));
    EXPECT_FALSE(eigen_pairs(I, with_nan, values, V));
    ASSERT_TRUE(
        eigen_pairs(I, identity_times<N>(0), values, V)); // the zero metric is allowed as the second one
    for (const double value : values) EXPECT_EQ(value, 0);
    // An indefinite second metric has eigenvalues in 2-D, but no Cholesky factor for the product form in 3-D.
    EXPECT_EQ(eigen_pairs(I, indefinite, values, V), N == 2);
}

TYPED_TEST(MetricAlgebra, Conversions) {
    constexpr unsigned int N = TypeParam::value;
    symmetric_fixed<double, N> M;
    for (const double size : {0.0, -1.0, NaN, -INF, INF}) {
        M = 7;
        metric_iso_to_aniso(size, M);
        EXPECT_TRUE(same(M, symmetric_fixed<double, N>{})) << size;
    }
    metric_iso_to_aniso(0.5, M);
    EXPECT_TRUE(same(M, identity_times<N>(4)));
}

TEST(MetricAlgebra3D, RestrictionToAPlane) {
    const matrix_fixed<double, 3, 2> xz{1, 0, 0, 0, 0, 1};
    symmetric_fixed<double, 2> M;
    metric_aniso3d_to_aniso2d({1, 0, 4, 0, 0, 9}, xz, M);
    EXPECT_TRUE(same(M, {1, 0, 9}));

    generator random(37);
    const auto M3 = random_metric<3>(random, 0.5, 2);
    const matrix_fixed<double, 3, 2> F{0.5, -1, 2, 3, 0.25, 1}; // not orthonormal
    metric_aniso3d_to_aniso2d(M3, F, M);
    for (int repeat = 0; repeat < 20; ++repeat) {
        const double x = random.uniform(-1, 1), y = random.uniform(-1, 1);
        vector_fixed<double, 3> v;
        for (unsigned int i = 0; i < 3; ++i) v[i] = x * F(i, 0) + y * F(i, 1);
        EXPECT_NEAR(double(form<2>(M, {x, y})), double(form(M3, v)), 1e-12);
    }

    symmetric_fixed<double, 2> of_size;
    metric_iso_to_aniso2d(0.5, F, of_size);
    symmetric_fixed<double, 3> isotropic;
    metric_iso_to_aniso(0.5, isotropic);
    metric_aniso3d_to_aniso2d(isotropic, F, M);
    expect_near(of_size, M, 1e-15);
    for (const double size : {0.0, -2.0, NaN, INF}) {
        of_size = 7;
        metric_iso_to_aniso2d(size, F, of_size);
        EXPECT_TRUE(same(of_size, {0, 0, 0})) << size;
    }
}

TYPED_TEST(MetricAlgebra, IntersectionAndUnionOfKnownMetrics) {
    constexpr unsigned int N = TypeParam::value;
    symmetric_fixed<double, N> M;
    minimum_metric(identity_times<N>(1), identity_times<N>(4), M);
    EXPECT_TRUE(same(M, identity_times<N>(4)));
    maximum_metric(identity_times<N>(1), identity_times<N>(4), M);
    EXPECT_TRUE(same(M, identity_times<N>(1)));
    auto wide = identity_times<N>(1), tall = identity_times<N>(1);
    wide(1, 1) = 4;
    tall(0, 0) = 4;
    auto both = identity_times<N>(1);
    both(0, 0) = both(1, 1) = 4;
    minimum_metric(wide, tall, M);
    expect_near(M, both, 1e-15);
    maximum_metric(wide, tall, M);
    expect_near(M, identity_times<N>(1), 1e-15);
}

TYPED_TEST(MetricAlgebra, IntersectionAndUnionBracketBothMetrics) {
    constexpr unsigned int N = TypeParam::value;
    generator random(41);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const auto M1 = random_metric<N>(random, 0.2, 5), M2 = random_metric<N>(random, 0.2, 5);
        symmetric_fixed<double, N> smaller, larger;
        minimum_metric(M1, M2, smaller);
        maximum_metric(M1, M2, larger);
        for (int direction = 0; direction < 20; ++direction) {
            vector_fixed<double, N> v;
            for (double& component : v) component = random.uniform(-1, 1);
            const long double q1 = form(M1, v), q2 = form(M2, v);
            EXPECT_GE(form(smaller, v), std::max(q1, q2) * (1 - 1e-9L));
            EXPECT_LE(form(larger, v), std::min(q1, q2) * (1 + 1e-9L));
        }
        // Along the common conjugate directions the value is that of one of them.
        vector_fixed<double, N> ratios;
        matrix_fixed<double, N, N> P;
        ASSERT_TRUE(eigen_pairs(M1, M2, ratios, P));
        for (unsigned int k = 0; k < N; ++k) {
            vector_fixed<double, N> e;
            std::copy_n(P.data() + N * k, N, e.data());
            const long double q1 = form(M1, e), q2 = form(M2, e);
            EXPECT_NEAR(double(form(smaller, e) / std::max(q1, q2)), 1, 1e-9);
            EXPECT_NEAR(double(form(larger, e) / std::min(q1, q2)), 1, 1e-9);
        }
        // The output may be an input.
        auto first = M1, second = M2;
        minimum_metric(first, M2, first);
        EXPECT_TRUE(same(first, smaller));
        minimum_metric(M1, second, second);
        EXPECT_TRUE(same(second, smaller));
        first = M1, second = M2;
        maximum_metric(first, second, first);
        EXPECT_TRUE(same(first, larger));
        maximum_metric(M1, second, second);
        EXPECT_TRUE(same(second, larger));
    }
}

TEST(EdgeLength, LogarithmicMeanMatchesLongDouble) {
    generator random(43);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const double a = random.uniform(0.1, 10);
        const double spread = std::pow(10.0, random.uniform(-14, 6));
        const double b = a * (1 + spread);
        const long double A = static_cast<long double>(a), B = static_cast<long double>(b);
        const long double expected = (B - A) / std::log1p((B - A) / A);
        EXPECT_NEAR(logarithmic_mean(a, b) / double(expected), 1, 1e-12);
        EXPECT_EQ(logarithmic_mean(a, b), logarithmic_mean(b, a));
    }
    EXPECT_EQ(logarithmic_mean(3, 3), 3);
    EXPECT_EQ(logarithmic_mean(0, 3), 0);
    EXPECT_EQ(logarithmic_mean(3, -1), 0);
    EXPECT_TRUE(std::isnan(logarithmic_mean(NaN, 1)));
    EXPECT_TRUE(std::isnan(logarithmic_mean(1, NaN)));
    EXPECT_EQ(length_in_sizes(2, 0, 1), LARGEST);
    EXPECT_EQ(length_in_sizes(2, NaN, 1), LARGEST);
    EXPECT_EQ(length_in_sizes(2, 0.5, 0.5), 4);
}

TEST(EdgeLength, QuadraticFormCountsOffDiagonalEntriesTwice) {
    const double m2[] = {2, 3, 5}, m3[] = {2, 3, 5, 7, 11, 13}, v[] = {1, -2, 4};
    EXPECT_EQ(quadratic_form<2>(m2, v), 2 - 12 + 20);
    EXPECT_EQ(quadratic_form<3>(m3, v), 2 - 12 + 20 + 56 - 176 + 208);
}

} // namespace
