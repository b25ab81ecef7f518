#include "lapack/dspev.h"
#include "metrics/edge_length.h"
#include "test_metrics.h"

#include <functional>

extern "C" void dspev_(const char* job, const char* triangle, const int* n, double* packed, double* values,
                       double* vectors, const int* ld, double* work, int* info, std::size_t, std::size_t);

using namespace test_metrics;

namespace {

template <typename T>
class MetricAlgebra : public testing::Test {};
TYPED_TEST_SUITE(MetricAlgebra, dimensions, );

/// The largest absolute entry.
template <unsigned int N>
double norm(const metric<N>& M) {
    const auto [lowest, highest] = std::minmax_element(M.data(), M.data() + M.size());
    return std::max(-*lowest, *highest);
}

template <unsigned int N>
void expect_near(const metric<N>& a, const metric<N>& b, double tolerance) {
    for (unsigned int k = 0; k < a.size(); ++k) EXPECT_NEAR(a[k], b[k], tolerance * norm(b)) << "entry " << k;
}

constexpr long double ULP = std::numeric_limits<double>::epsilon();

/// The largest |Mv - λv| / |M| and the largest departure of VᵀV from the identity, in long double.
template <unsigned int N>
struct accuracy {
    long double residual = 0, disorder = 0;

    accuracy(const metric<N>& M, const vector<N>& values, const matrix_fixed<double, N, N>& V) {
        const double scale = std::max(-values[0], values[N - 1]);
        for (unsigned int k = 0; k < N; ++k) {
            long double norm2 = 0;
            for (unsigned int i = 0; i < N; ++i) {
                long double sum = -static_cast<long double>(values[k]) * V(i, k), product = i == k ? -1 : 0;
                for (unsigned int j = 0; j < N; ++j) {
                    sum += static_cast<long double>(M(i, j)) * V(j, k);
                    product += static_cast<long double>(V(j, i)) * V(j, k);
                }
                norm2 += sum * sum;
                disorder = std::max(disorder, std::abs(product));
            }
            if (scale > 0) residual = std::max(residual, std::sqrt(norm2) / scale);
        }
    }
};

/// Eigenvalues on which solvers differ: condition numbers up to 1e16, double and triple values exact and
/// within rounding, negative ones, sizes of 1e-6 … 1e3 in one metric, scales up to where numbers end.
std::vector<vector<3>> hard_eigenvalues() {
    dice random(7);
    std::vector<vector<3>> result{{1, 0, 1}, {1, 5e-324, 1}};
    for (const double e : {0.0, 5e-324, 1e-310, LARGEST, -5e-324, -LARGEST}) result.push_back({e, e, e});
    const int exponents[] = {-900, -400, -60, 31, 500, 950};
    for (int repeat = 0; repeat < 3000; ++repeat) {
        const double c = std::pow(10.0, random.between(0, 16)), close = 1 + 1e-10 * random.between(0, 1);
        const double scale = std::ldexp(1.0, exponents[repeat % 6]);
        const auto any = [&random] { return random.between(-1, 1); };
        const auto some = [&random, c] { return random_size(random, 1, c); };
        const auto wide = [&random] { return random_size(random, 1e-6, 1e12); };
        const auto rounded = [&random] { return 1 + random.between(-1e-14, 1e-14); };
        result.insert(result.end(), {{some(), some(), some()},
                                     {scale * some(), scale * some(), scale * some()},
                                     {c, 1, some()},
                                     {c, rounded(), rounded()},
                                     {c, c, rounded()},
                                     {1, close, close},
                                     {any(), any(), any()},
                                     {c, c, c},
                                     {wide(), wide(), wide()}});
    }
    return result;
}

TYPED_TEST(MetricAlgebra, EigenPairsAreAccurateToRoundingAndDecideValidity) {
    constexpr unsigned int N = TypeParam::value;
    dice random(8);
    long double worst_residual = 0, worst_disorder = 0;
    const auto decompose = [&](const metric<N>& M) {
        vector<N> values;
        matrix_fixed<double, N, N> V;
        EXPECT_TRUE(eigen_pairs(M, values, V));
        EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
        const accuracy<N> found(M, values, V);
        worst_residual = std::max(worst_residual, found.residual);
        worst_disorder = std::max(worst_disorder, found.disorder);
        if (std::abs(values[0]) > 1e-14 * std::max(-values[0], values[N - 1])) {
            EXPECT_EQ(is_valid_metric(M), values[0] > 0);
        }
        if constexpr (N == 2) {
            EXPECT_TRUE(V(0, 1) == -V(1, 0) && V(1, 1) == V(0, 0)) << "not turned by a quarter";
            EXPECT_TRUE(M[1] != 0 || M[0] != M[2] || V(0, 0) == 1) << "not the axes of the identity";
        }
        return values;
    };
    for (vector<3> eigenvalues : hard_eigenvalues()) {
        const bool turns = std::isnormal(eigenvalues[0]) && std::abs(eigenvalues[0]) < LARGEST;
        if (turns) decompose(metric_with(random_rotation<N>(random), eigenvalues));
        const auto aligned = diagonal<N>(eigenvalues);
        const vector<N> values = decompose(aligned);
        std::sort(eigenvalues.begin(), eigenvalues.begin() + N);
        EXPECT_TRUE(std::equal(values.begin(), values.end(), eigenvalues.begin())) << "every digit is known";
        EXPECT_EQ(is_valid_metric(aligned), eigenvalues[0] > 0);

        metric<N> nearly_diagonal = diagonal<N>({1, 2, 3}), with_zeros;
        for (unsigned int k = 0; k < with_zeros.size(); ++k) {
            nearly_diagonal[k] += random.between(-1, 1) * random_size(random, 1e-20, 1e-4);
            with_zeros[k] = int(random.below(5)) - 2;
        }
        decompose(nearly_diagonal);
        decompose(with_zeros);
    }
    // In 2-D, what is within 1e-12 of a multiple of the identity is taken for one.
    EXPECT_LE(worst_residual, N == 2 ? 1e-12L : 4 * ULP);
    EXPECT_LE(worst_disorder, 4 * ULP);
}

/// Different scales of the axes, coupled by little.
template <unsigned int N>
metric<N> graded_metric(dice& random, double coupling) {
    vector<N> scale;
    for (double& s : scale) s = random_size(random, 1e-6, 1e6);
    metric<N> M;
    for (unsigned int j = 0; j < N; ++j) {
        for (unsigned int i = 0; i < j; ++i)
            M(i, j) = scale[i] * scale[j] * random.between(-coupling, coupling);
        M(j, j) = scale[j] * scale[j];
    }
    return M;
}

TYPED_TEST(MetricAlgebra, ValidityDependsNeitherOnScalesNorOnRounding) {
    constexpr unsigned int N = TypeParam::value;
    dice random(19);
    for (int repeat = 0; repeat < 500; ++repeat) {
        auto M = graded_metric<N>(random, 0.45);
        EXPECT_TRUE(is_valid_metric(M));
        M(1, 1) = -M(1, 1);
        EXPECT_FALSE(is_valid_metric(M));
    }
    // Of rank 1, where rounding may raise an eigenvalue above 0.
    EXPECT_FALSE(is_valid_metric(metric<2>{1, -3, 9}));
    EXPECT_FALSE(is_valid_metric(metric<2>{1e-100, 1e-100, 1e-100}));
    EXPECT_FALSE(is_valid_metric(metric<3>{1, -3, 9, -2, 6, 4}));
}

TEST(EigenPairs, KeepTheDigitsOfSmallValuesBesideLargeOnes) {
    for (const double sign : {1.0, -1.0}) {
        vector<2> values;
        matrix_fixed<double, 2, 2> V;
        ASSERT_TRUE(eigen_pairs(metric<2>{sign * 1e14, sign * 1e3, sign}, values, V));
        EXPECT_NEAR(values[sign > 0 ? 0 : 1] / sign, 1 - 1e-8, 1e-15);
    }
    dice random(19);
    vector<3> values;
    matrix_fixed<double, 3, 3> V;
    for (int repeat = 0; repeat < 500; ++repeat) {
        const auto M = graded_metric<3>(random, 1e-5);
        ASSERT_TRUE(eigen_pairs(M, values, V));
        EXPECT_LE(accuracy<3>(M, values, V).residual, 4 * ULP);
        // The determinant is the product of the eigenvalues, and does not cancel here.
        const auto minor = [&M](unsigned int i, unsigned int j) {
            return static_cast<long double>(M(1, i)) * M(2, j) - static_cast<long double>(M(1, j)) * M(2, i);
        };
        const long double determinant = M(0, 0) * minor(1, 2) - M(0, 1) * minor(0, 2) + M(0, 2) * minor(0, 1);
        const long double product = static_cast<long double>(values[0]) * values[1] * values[2];
        EXPECT_NEAR(static_cast<double>(product / determinant), 1, 4e-15);
        // A plane of its own: two sizes mixed, the third untouched.
        const rotation<3> turn{0.8, 0.6, 0, -0.6, 0.8, 0, 0, 0, 1};
        ASSERT_TRUE(
            eigen_pairs(metric_with(turn, {std::sqrt(M(0, 0)), std::sqrt(M(1, 1)), 1e-12}), values, V));
        EXPECT_EQ(values[0], 1e-12);
        EXPECT_EQ(std::abs(V(2, 0)), 1);
    }
}

TYPED_TEST(MetricAlgebra, NothingNotFiniteIsDecomposedOrValid) {
    constexpr unsigned int N = TypeParam::value;
    const auto I = diagonal<N>({1, 1, 1});
    for (const double bad : {NaN, INF, -INF}) {
        for (unsigned int k = 0; k < I.size(); ++k) {
            auto M = I;
            M[k] = bad;
            EXPECT_FALSE(is_valid_metric(M));
            vector<N> values;
            matrix_fixed<double, N, N> V;
            V = 77;
            EXPECT_FALSE(eigen_pairs(M, values, V));
            for (const double entry : V.entries) EXPECT_EQ(entry, 77);
            EXPECT_FALSE(eigen_pairs(I, M, values, V));
            EXPECT_TRUE(!std::isnan(bad) || !eigen_pairs(M, I, values, V));
            auto bounded = M;
            bound_metric(bounded, 0.5, 0.25); // no step to hmax here
            EXPECT_TRUE(same_bits(bounded, diagonal<N>({4, 4, 4})));
            bound_metric(M, 0, 10);
            EXPECT_TRUE(same_bits(M, diagonal<N>({LARGEST, LARGEST, LARGEST})));
        }
    }
}

TEST(Dspev, AgreesWithLapackForAnyOrderTriangleAndLeadingDimension) {
    dice random(61);
    for (const char triangle : {'U', 'L'}) {
        for (int n = 1; n <= 4; ++n) {
            const int ld = n + 2;
            std::vector<double> packed(std::size_t(n * (n + 1) / 2));
            for (double& entry : packed) entry = random.between(-1, 1);
            auto own = packed, lapack = packed, with_nan = packed;
            with_nan.back() = NaN;
            double values[4], expected[4], work[12];
            std::vector<double> V(24, 77.0), W(24, 77.0);
            int info = -1;
            dspev_("V", &triangle, &n, lapack.data(), expected, W.data(), &ld, work, &info, 1, 1);
            EXPECT_EQ(qv7::lapack::dspev('V', triangle, n, own.data(), values, V.data(), ld, work, info), 0);
            EXPECT_EQ(info, 0);
            for (int k = 0; k < n; ++k) {
                EXPECT_NEAR(values[k], expected[k], 4e-15);
                const double* const v = V.data() + k * ld;
                double* const w = W.data() + k * ld;
                if (std::inner_product(v, v + n, w, 0.0) < 0) std::transform(w, w + n, w, std::negate());
                for (int i = 0; i < ld; ++i) EXPECT_NEAR(v[i], w[i], 1e-13);
            }
            EXPECT_EQ(qv7::lapack::dspev('N', triangle, n, with_nan.data(), values, nullptr, 1, work, info),
                      -4);
            EXPECT_EQ(info, -4);
        }
    }
}

TYPED_TEST(MetricAlgebra, BoundsClampEigenvaluesInTheirOwnFrame) {
    constexpr unsigned int N = TypeParam::value;
    dice random(17);
    const double bounds[] = {0.5, 1, 2, 4, 0, -2, NaN};
    for (int repeat = 0; repeat < 5000; ++repeat) {
        const double hmin = bounds[random.below(7)], hmax = bounds[random.below(7)];
        const double highest = hmin > 0 ? 1 / (hmin * hmin) : LARGEST;
        const double lowest = hmax > 0 ? 1 / (hmax * hmax) : 0;
        const bool aligned = random.one_in(4);
        vector<3> values, clamped;
        for (unsigned int k = 0; k < 3; ++k) {
            const double some = random_size(random, 1e-3, 1e3), edge = lowest > 0 ? lowest : 1;
            const double inside = aligned ? edge : edge * (1 + 1e-9), outside = edge * (1 - 1e-9);
            values[k] = reals({some, some, some, -1e-3, inside, outside})[random.below(6)];
            clamped[k] = std::max(std::min(values[k], highest), lowest); // hmax prevails
        }
        const auto R = random_rotation<N>(random);
        const auto M = aligned ? diagonal<N>(values) : metric_with(R, values);
        auto bounded = M;
        bound_metric(bounded, hmin, hmax);
        const bool keeps_every_bit = std::equal(clamped.begin(), clamped.begin() + N, values.begin());
        if (aligned || keeps_every_bit) {
            EXPECT_TRUE(same_bits(bounded, aligned ? diagonal<N>(clamped) : M));
        } else {
            expect_near(bounded, metric_with(R, clamped), 1e-11);
        }
    }
}

template <unsigned int N>
using combination = void (*)(const metric<N>&, const metric<N>&, metric<N>&);

TYPED_TEST(MetricAlgebra, GeneralisedPairsAndTheirCombinationsBelongToBothMetrics) {
    constexpr unsigned int N = TypeParam::value;
    const combination<N> minimum = minimum_metric, maximum = maximum_metric;
    dice random(41);
    for (int repeat = 0; repeat < 500; ++repeat) {
        const auto M1 = random_metric<N>(random, 0.1, 10), M2 = random_metric<N>(random, 0.1, 10);
        vector<N> ratios;
        matrix_fixed<double, N, N> P;
        ASSERT_TRUE(eigen_pairs(M1, M2, ratios, P));
        EXPECT_TRUE(std::is_sorted(ratios.begin(), ratios.end()));
        for (const auto combine : {minimum, maximum}) {
            metric<N> both, first = M1, second = M2;
            combine(M1, M2, both);
            // How the value along v compares with the one it should not pass.
            const auto excess = [&](const vector<N>& v) {
                const long double q1 = form(M1, v), q2 = form(M2, v);
                return double(combine == minimum ? form(both, v) / std::max(q1, q2)
                                                 : std::min(q1, q2) / form(both, v)) -
                       1;
            };
            for (int direction = 0; direction < 20; ++direction)
                EXPECT_GE(excess(random_direction<N>(random)), -1e-9);
            for (unsigned int k = 0; k < N; ++k) {
                vector<N> e; // a common conjugate direction
                std::copy_n(P.data() + N * k, N, e.data());
                EXPECT_NEAR(dot(e, e), 1, 4e-15);
                EXPECT_NEAR(excess(e), 0, 1e-9);
                for (unsigned int i = 0; i < N; ++i) {
                    double difference = 0;
                    for (unsigned int j = 0; j < N; ++j)
                        difference += (M2(i, j) - ratios[k] * M1(i, j)) * e[j];
                    EXPECT_NEAR(difference, 0, 1e-10 * (norm(M2) + ratios[k] * norm(M1)));
                }
            }
            combine(first, M2, first); // the output may be an input
            combine(M1, second, second);
            EXPECT_TRUE(same_bits(first, both) && same_bits(second, both));
        }
    }
}

TYPED_TEST(MetricAlgebra, PairsKnownAndRefused) {
    constexpr unsigned int N = TypeParam::value;
    const auto I = diagonal<N>({1, 1, 1}), flat = diagonal<N>({1, N - 2, 0}), zero = diagonal<N>({0, 0, 0});
    metric<N> M, indefinite = I;
    indefinite[1] = 2;
    minimum_metric(I, diagonal<N>({4, 4, 4}), M);
    EXPECT_TRUE(same_bits(M, diagonal<N>({4, 4, 4})));
    maximum_metric(I, diagonal<N>({4, 4, 4}), M);
    EXPECT_TRUE(same_bits(M, I));
    minimum_metric(diagonal<N>({1, 4, 1}), diagonal<N>({4, 1, 1}), M);
    expect_near(M, diagonal<N>({4, 4, 1}), 1e-15);
    maximum_metric(diagonal<N>({1, 4, 1}), diagonal<N>({4, 1, 1}), M);
    expect_near(M, I, 1e-15);

    vector<N> values;
    matrix_fixed<double, N, N> V;
    for (const auto& refused : {zero, diagonal<N>({-1, -1, -1}), indefinite, flat}) {
        EXPECT_FALSE(eigen_pairs(refused, I, values, V));
        minimum_metric(refused, I, M);
        EXPECT_TRUE(same_bits(M, refused));
    }
    // As the second metric, one of zeros is allowed, and one whose last pivot is 0. An indefinite one has
    // eigenvalues in 2-D, but no Cholesky factor for the product form in 3-D.
    EXPECT_EQ(eigen_pairs(I, indefinite, values, V), N == 2);
    EXPECT_TRUE(eigen_pairs(I, flat, values, V));
    EXPECT_TRUE(values[0] == 0 && values[1] == 1 && values[N - 1] == 1);
    EXPECT_TRUE(eigen_pairs(I, zero, values, V));
    EXPECT_TRUE(values[0] == 0 && values[N - 1] == 0);
}

TEST(EdgeLength, LogarithmicMeanMatchesLongDouble) {
    dice random(43);
    for (int repeat = 0; repeat < 2000; ++repeat) {
        const double a = random.between(0.1, 10), b = a * (1 + random_size(random, 1e-14, 1e6));
        const long double difference = static_cast<long double>(b) - a;
        EXPECT_NEAR(double(logarithmic_mean(a, b) * std::log1p(difference / a) / difference), 1, 1e-12);
        EXPECT_EQ(logarithmic_mean(a, b), logarithmic_mean(b, a));
    }
    EXPECT_EQ(logarithmic_mean(3, 3), 3);
    EXPECT_EQ(logarithmic_mean(0, 3), 0);
    EXPECT_EQ(logarithmic_mean(3, -1), 0);
    EXPECT_TRUE(std::isnan(logarithmic_mean(NaN, 1)) && std::isnan(logarithmic_mean(1, NaN)));
    for (const double size : {0.0, NaN}) EXPECT_EQ(length_in_sizes(2, size, 1), LARGEST);
    EXPECT_EQ(length_in_sizes(2, 0.5, 0.5), 4);
}

TEST(EdgeLength, CountsOffDiagonalEntriesTwiceAndHoldsExtremeLengths) {
    const double m2[] = {2, 3, 5}, m3[] = {2, 3, 5, 7, 11, 13}, v[] = {1, -2, 4}, origin[3] = {};
    EXPECT_EQ(quadratic_form<2>(m2, v), 2 - 12 + 20);
    EXPECT_EQ(quadratic_form<3>(m3, v), 2 - 12 + 20 + 56 - 176 + 208);
    for (const double scale : {1.0, 0x1p-600, 0x1p600}) {
        const double end[] = {3 * scale, 4 * scale, 12 * scale};
        double edge[3];
        EXPECT_EQ(edge_vector<2>(origin, end, edge), 5 * scale);
        EXPECT_EQ(edge_vector<3>(origin, end, edge), 13 * scale);
    }
}

} // namespace
