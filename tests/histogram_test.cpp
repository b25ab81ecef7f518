#include <plexo/histogram.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <utility>
#include <vector>

using qv7::math1::dense1D;
using qv7::misc::histogram;

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double LARGEST = std::numeric_limits<double>::max();

dense1D<double, 16> list(const std::vector<double>& values) {
    dense1D<double, 16> result(static_cast<unsigned int>(values.size()));
    std::copy(values.begin(), values.end(), result.begin());
    return result;
}

unsigned long long in_slices(const histogram& h) {
    unsigned long long sum = 0;
    for (unsigned int k = 0; k < h.bins(); ++k) sum += h.bin(k);
    return sum;
}

void expect_statistics_only(const histogram& h) {
    EXPECT_EQ(h.bins(), 0u);
    EXPECT_TRUE(std::isnan(h.bound(0)));
    EXPECT_EQ(h.bin(0), 0u);
}

TEST(Histogram, WithoutValuesHasNoStatistics) {
    const histogram h(0, 1, 4);
    EXPECT_EQ(h.count(), 0u);
    for (const double statistic : {h.min(), h.max(), h.mean(), h.standard_deviation()}) {
        EXPECT_TRUE(std::isnan(statistic));
    }
}

TEST(Histogram, CountsEveryValueOnce) {
    histogram h(0, 1, 4);
    for (const double value : {0.0, 0.25, 0.2499, 0.75, 0.9999, 1.0, -0.0, -1e-300, 7.0, -3.0, LARGEST, INF,
                               -INF, NOT_A_NUMBER, -LARGEST}) {
        h.process(value);
    }
    EXPECT_EQ(h.not_a_number(), 1u);
    EXPECT_EQ(h.count(), 14u);
    EXPECT_EQ(h.bin(0), 3u);
    EXPECT_EQ(h.bin(1), 1u);
    EXPECT_EQ(h.bin(2), 0u);
    EXPECT_EQ(h.bin(3), 2u);
    EXPECT_EQ(h.below(), 4u);
    EXPECT_EQ(h.above(), 4u);
    EXPECT_EQ(h.bin(4), 0u);
    EXPECT_EQ(h.min(), -INF);
    EXPECT_EQ(h.max(), INF);
}

TEST(Histogram, InfiniteValuesDoNotPoisonTheMoments) {
    histogram h;
    for (const double value : {INF, LARGEST, -INF}) h.process(value);
    EXPECT_TRUE(std::isnan(h.mean()));
    EXPECT_EQ(h.above(), 2u);
    EXPECT_EQ(h.below(), 1u);
    h.process(list({1, 2, 3, INF, NOT_A_NUMBER, LARGEST, 6}));
    EXPECT_DOUBLE_EQ(h.mean(), 3);
    EXPECT_DOUBLE_EQ(h.standard_deviation(), std::sqrt(3.5));
    EXPECT_EQ(h.count(), 9u);
    EXPECT_EQ(h.not_a_number(), 1u);
}

TEST(Histogram, AValueAtABoundFallsInTheSliceAbove) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> uniform(-3, 3);
    for (int repetition = 0; repetition < 200; ++repetition) {
        const double low = std::ldexp(uniform(random), repetition % 40 - 20);
        const double high = low + std::abs(std::ldexp(uniform(random), repetition % 60 - 40)) + 1e-13;
        const unsigned int bins = 1 + 7 * unsigned(repetition);
        histogram h(low, high, bins);
        ASSERT_EQ(h.bins(), bins);
        EXPECT_EQ(h.bound(0), low);
        EXPECT_EQ(h.bound(bins), high);
        for (unsigned int k = 0; k < bins; ++k) {
            ASSERT_LE(h.bound(k), h.bound(k + 1));
            if (h.bound(k) == h.bound(k + 1)) continue; // narrower than the spacing of doubles
            const unsigned long long before = h.bin(k);
            h.process(h.bound(k));
            h.process(std::nextafter(h.bound(k + 1), low));
            ASSERT_EQ(h.bin(k), before + 2) << low << ' ' << high << ' ' << bins << ' ' << k;
        }
        EXPECT_EQ(in_slices(h), h.count());
    }
}

TEST(Histogram, SlicesMayHaveAnyIncreasingBounds) {
    histogram h(std::vector<double>{-INF, -1, 0.5, 0.75, 10, INF});
    ASSERT_EQ(h.bins(), 5u);
    h.process(list({-1e300, -1, 0.4, 0.5, 0.75, 9, 10, 1e300, INF, LARGEST, -INF}));
    for (const auto& [slice, expected] : {std::pair(0u, 1u), {1u, 2u}, {2u, 1u}, {3u, 2u}, {4u, 2u}}) {
        EXPECT_EQ(h.bin(slice), expected) << slice;
    }
    EXPECT_EQ(h.above(), 2u);
    EXPECT_EQ(h.below(), 1u);
}

TEST(Histogram, MeaninglessBoundsGiveStatisticsOnly) {
    expect_statistics_only(histogram());
    expect_statistics_only(histogram(0, 1, 0));
    expect_statistics_only(histogram(1, 1, 3));
    expect_statistics_only(histogram(2, 1, 3));
    expect_statistics_only(histogram(NOT_A_NUMBER, 1, 3));
    expect_statistics_only(histogram(0, NOT_A_NUMBER, 3));
    expect_statistics_only(histogram(0, INF, 3));
    expect_statistics_only(histogram(0, 1, 4294967295u));
    expect_statistics_only(histogram(std::vector<double>{}));
    expect_statistics_only(histogram(std::vector<double>{1}));
    expect_statistics_only(histogram(std::vector<double>{1, 2, 2}));
    expect_statistics_only(histogram(std::vector<double>{1, NOT_A_NUMBER, 2}));
    expect_statistics_only(histogram(std::vector<double>{3, 2}));
    histogram h(1, 0, 5);
    h.process(0.5);
    EXPECT_EQ(h.count(), 1u);
    EXPECT_EQ(h.mean(), 0.5);
    EXPECT_EQ(h.below() + h.above(), 0u);
}

TEST(Histogram, SpansTheWholeRangeOfDoubles) {
    histogram h(-LARGEST, LARGEST, 10);
    ASSERT_EQ(h.bins(), 10u);
    for (const double value : {-LARGEST, -1e308, 0.0, 1e308, 1e-308}) h.process(value);
    EXPECT_EQ(in_slices(h), 5u);
    EXPECT_EQ(h.bin(0), 1u);
    EXPECT_EQ(h.bin(5), 2u);
}

TEST(Histogram, MomentsHoldForAnyMagnitude) {
    for (const double unit : {1.0, 1e-300, 1e-160, 1e160, 1e300, 0x1p-1070}) {
        histogram h;
        h.process(1 * unit);
        h.process(list({2 * unit, 4 * unit}));
        h.process(5 * unit);
        EXPECT_NEAR(h.mean() / unit, 3, 1e-15) << unit;
        EXPECT_NEAR(h.standard_deviation() / unit, std::sqrt(2.5), unit < 1e-310 ? 1e-1 : 1e-15) << unit;
    }
    histogram opposite;
    opposite.process(list({1.5e308, -1.5e308}));
    EXPECT_EQ(opposite.mean(), 0);
    EXPECT_DOUBLE_EQ(opposite.standard_deviation(), 1.5e308);
    histogram mixed;
    for (const double value : {1e-200, 1e200, 3e200}) mixed.process(value);
    EXPECT_DOUBLE_EQ(mixed.mean(), 4e200 / 3);
}

TEST(Histogram, MomentsKeepTheirDigitsOverManyValues) {
    // A large offset ruins sums of squares; many values ruin plain running sums.
    constexpr unsigned int n = 1u << 21;
    histogram one_by_one;
    histogram in_blocks;
    dense1D<double, 16> values(n);
    for (unsigned int i = 0; i < n; ++i) {
        values[i] = 1e9 + (i % 2 == 0 ? 0.125 : -0.125);
        one_by_one.process(values[i]);
    }
    in_blocks.process(values);
    for (const histogram& h : {one_by_one, in_blocks}) {
        EXPECT_DOUBLE_EQ(h.mean(), 1e9);
        EXPECT_DOUBLE_EQ(h.standard_deviation(), 0.125);
    }
    histogram constant;
    for (int i = 0; i < 100000; ++i) constant.process(0.1);
    EXPECT_EQ(constant.mean(), 0.1);
    EXPECT_EQ(constant.standard_deviation(), 0);
}

TEST(Histogram, DoublingReachesABillionValues) {
    histogram h(0, 1, 3);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> uniform(0, 1);
    for (int i = 0; i < 1000; ++i) h.process(uniform(random));
    const double mean = h.mean();
    const double deviation = h.standard_deviation();
    for (int doubling = 0; doubling < 21; ++doubling) ASSERT_TRUE(h.merge(h));
    EXPECT_EQ(h.count(), 1000ull << 21);
    EXPECT_EQ(in_slices(h), h.count());
    EXPECT_DOUBLE_EQ(h.mean(), mean);
    EXPECT_DOUBLE_EQ(h.standard_deviation(), deviation);
}

TEST(Histogram, MergingEqualsProcessingAll) {
    std::mt19937 random(2);
    std::normal_distribution<double> normal(0.4, 0.3);
    histogram parts[3] = {histogram(0, 1, 7), histogram(0, 1, 7), histogram(0, 1, 7)};
    histogram whole(0, 1, 7);
    for (int i = 0; i < 3000; ++i) {
        const double value = i % 100 == 0 ? (i % 200 == 0 ? NOT_A_NUMBER : INF) : normal(random);
        whole.process(value);
        if (i % 7 != 0) parts[i % 2].process(value);
        if (i % 7 == 0) parts[2].process(value);
    }
    ASSERT_TRUE(parts[0].merge(parts[1]));
    ASSERT_TRUE(parts[0].merge(parts[2]));
    ASSERT_TRUE(parts[0].merge(histogram(0, 1, 7)));
    EXPECT_EQ(parts[0].count(), whole.count());
    EXPECT_EQ(parts[0].below(), whole.below());
    EXPECT_EQ(parts[0].above(), whole.above());
    EXPECT_EQ(parts[0].not_a_number(), whole.not_a_number());
    EXPECT_EQ(parts[0].min(), whole.min());
    EXPECT_EQ(parts[0].max(), whole.max());
    for (unsigned int k = 0; k < 7; ++k) EXPECT_EQ(parts[0].bin(k), whole.bin(k));
    EXPECT_DOUBLE_EQ(parts[0].mean(), whole.mean());
    EXPECT_DOUBLE_EQ(parts[0].standard_deviation(), whole.standard_deviation());

    histogram empty(0, 1, 7);
    ASSERT_TRUE(empty.merge(whole));
    EXPECT_EQ(empty.min(), whole.min());
    EXPECT_EQ(empty.mean(), whole.mean());
}

TEST(Histogram, MergingOtherBoundsChangesNothing) {
    histogram h(0, 1, 4);
    h.process(0.5);
    for (const histogram& other : {histogram(), histogram(0, 1, 5), histogram(0, 2, 4)}) {
        histogram filled = other;
        filled.process(0.25);
        EXPECT_FALSE(h.merge(filled));
    }
    EXPECT_EQ(h.count(), 1u);
    EXPECT_EQ(h.mean(), 0.5);
    histogram listed(std::vector<double>{0, 0.25, 0.5, 0.75, 1});
    EXPECT_TRUE(h.merge(listed)); // the same slices, however they were given
}

TEST(Histogram, ClearKeepsTheBounds) {
    histogram h(std::vector<double>{0, 1, 5});
    h.process(list({0.5, 3, 9, NOT_A_NUMBER, -1e300}));
    h.clear();
    EXPECT_EQ(h.bins(), 2u);
    EXPECT_EQ(h.bound(2), 5);
    EXPECT_EQ(h.count() + h.below() + h.above() + h.not_a_number() + in_slices(h), 0u);
    h.process(3);
    EXPECT_EQ(h.bin(1), 1u);
    EXPECT_EQ(h.mean(), 3);
    EXPECT_EQ(h.min(), 3);
}

TEST(Histogram, CopiesAreIndependentAndMovesEmptyTheSource) {
    histogram h(0, 1, 2);
    h.process(0.25);
    histogram copy = h;
    copy.process(0.75);
    EXPECT_EQ(h.count(), 1u);
    EXPECT_EQ(h.bin(1), 0u);
    EXPECT_EQ(copy.bin(0), 1u);
    EXPECT_EQ(copy.bin(1), 1u);

    histogram moved = std::move(copy);
    EXPECT_EQ(moved.count(), 2u);
    EXPECT_EQ(moved.bin(1), 1u);
    expect_statistics_only(copy); // NOLINT(bugprone-use-after-move): defined for this class
    EXPECT_EQ(copy.count(), 0u);
    copy.process(3);
    EXPECT_EQ(copy.mean(), 3);

    histogram& self = moved;
    moved = self;
    EXPECT_EQ(moved.count(), 2u);
    moved = std::move(self);
    EXPECT_EQ(moved.bin(0), 1u);
    moved = histogram();
    expect_statistics_only(moved);
}

} // namespace
