#include <plexo/histogram.h>

#include "test_containers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

using qv7::misc::histogram;
using test::dice;
using test::reals;

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double LARGEST = std::numeric_limits<double>::max();

using counts = std::vector<unsigned long long>;

/// What is below, in and above the slices, and what is not a number.
counts counts_of(const histogram& h) {
    counts all = {h.below()};
    for (unsigned int k = 0; k < h.bins(); ++k) all.push_back(h.bin(k));
    all.insert(all.end(), {h.above(), h.not_a_number()});
    return all;
}

/// The same values, up to the rounding of the moments.
void expect_same(const histogram& a, const histogram& b) {
    EXPECT_EQ(a.count(), b.count());
    EXPECT_EQ(counts_of(a), counts_of(b));
    EXPECT_EQ(a.min(), b.min());
    EXPECT_EQ(a.max(), b.max());
    EXPECT_DOUBLE_EQ(a.mean(), b.mean());
    EXPECT_DOUBLE_EQ(a.standard_deviation(), b.standard_deviation());
}

TEST(Histogram, CountsEveryValueOnce) {
    histogram h(0, 1, 4);
    for (const double statistic : {h.min(), h.max(), h.mean(), h.standard_deviation()})
        EXPECT_TRUE(std::isnan(statistic));
    h.process(reals({0.0, 0.25, 0.2499, 0.75, 0.9999, 1.0, -0.0, -1e-300, 7.0, -3.0, LARGEST, INF, -INF,
                     NOT_A_NUMBER, -LARGEST}));
    EXPECT_EQ(h.count(), 14u);
    EXPECT_EQ(counts_of(h), counts({4, 3, 1, 0, 2, 4, 1}));
    EXPECT_EQ(h.bin(4), 0u);
    EXPECT_EQ(h.min(), -INF);
    EXPECT_EQ(h.max(), INF);

    histogram listed(std::vector<double>{-INF, -1, 0.5, 0.75, 10, INF});
    listed.process(reals({-1e300, -1, 0.4, 0.5, 0.75, 9, 10, 1e300, INF, LARGEST, -INF}));
    EXPECT_EQ(counts_of(listed), counts({1, 1, 2, 1, 2, 2, 2, 0}));

    histogram whole(-LARGEST, LARGEST, 10);
    whole.process(reals({-LARGEST, -1e308, 0.0, 1e308, 1e-308}));
    EXPECT_EQ(counts_of(whole), counts({0, 1, 0, 1, 0, 0, 2, 0, 1, 0, 0, 0, 0}));
}

TEST(Histogram, AValueAtABoundFallsInTheSliceAbove) {
    dice random(5);
    for (int repetition = 0; repetition < 200; ++repetition) {
        const double low = std::ldexp(random.between(-3, 3), repetition % 40 - 20);
        const double high = low + std::ldexp(random.between(0, 3), repetition % 60 - 40) + 1e-13;
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
        EXPECT_EQ(h.below() + h.above(), 0u);
    }
}

TEST(Histogram, MeaninglessBoundsGiveStatisticsOnly) {
    const auto listed = [](const std::vector<double>& bounds) { return histogram(bounds); };
    for (histogram h :
         {histogram(), histogram(0, 1, 0), histogram(1, 1, 3), histogram(2, 1, 3), histogram(0, INF, 3),
          histogram(NOT_A_NUMBER, 1, 3), histogram(0, NOT_A_NUMBER, 3), histogram(0, 1, 4294967295u),
          listed({}), listed({1}), listed({1, 2, 2}), listed({1, NOT_A_NUMBER, 2}), listed({3, 2})}) {
        EXPECT_EQ(h.bins(), 0u);
        EXPECT_TRUE(std::isnan(h.bound(0)));
        h.process(0.5);
        EXPECT_EQ(h.mean(), 0.5);
        EXPECT_EQ(counts_of(h), counts({0, 0, 0}));
    }
}

TEST(Histogram, MomentsHoldForAnyMagnitude) {
    for (const double unit : {1.0, 1e-300, 1e-160, 1e160, 1e300, 0x1p-1070}) {
        histogram h; // infinite values stay out of the moments
        for (const double value : {1 * unit, INF, LARGEST, -INF}) h.process(value);
        h.process(reals({2 * unit, 4 * unit, INF, NOT_A_NUMBER}));
        h.process(5 * unit);
        EXPECT_NEAR(h.mean() / unit, 3, 1e-15) << unit;
        EXPECT_NEAR(h.standard_deviation() / unit, std::sqrt(2.5), unit < 1e-310 ? 1e-1 : 1e-15) << unit;
    }
    histogram opposite, mixed;
    opposite.process(reals({1.5e308, -1.5e308}));
    EXPECT_EQ(opposite.mean(), 0);
    EXPECT_DOUBLE_EQ(opposite.standard_deviation(), 1.5e308);
    for (const double value : {1e-200, 1e200, 3e200}) mixed.process(value);
    EXPECT_DOUBLE_EQ(mixed.mean(), 4e200 / 3);
}

TEST(Histogram, MomentsKeepTheirDigitsOverManyValues) {
    // A large offset ruins sums of squares; many values ruin plain running sums.
    histogram one_by_one, in_blocks, constant;
    test::real_list values(1u << 21);
    for (unsigned int i = 0; i < values.size(); ++i) {
        values[i] = 1e9 + (i % 2 == 0 ? 0.125 : -0.125);
        one_by_one.process(values[i]);
        constant.process(0.1);
    }
    in_blocks.process(values);
    for (int doubling = 0; doubling < 10; ++doubling) ASSERT_TRUE(in_blocks.merge(in_blocks));
    EXPECT_EQ(in_blocks.count(), 1ull << 31);
    for (const histogram& h : {one_by_one, in_blocks}) {
        EXPECT_DOUBLE_EQ(h.mean(), 1e9);
        EXPECT_DOUBLE_EQ(h.standard_deviation(), 0.125);
    }
    EXPECT_EQ(constant.mean(), 0.1);
    EXPECT_EQ(constant.standard_deviation(), 0);
}

TEST(Histogram, MergingEqualsProcessingAll) {
    dice random(2);
    histogram parts[3] = {histogram(0, 1, 7), histogram(0, 1, 7), histogram(0, 1, 7)};
    histogram whole(0, 1, 7), merged(0, 1, 7);
    for (int i = 0; i < 3000; ++i) {
        const double value = i % 100 == 0 ? (i % 200 == 0 ? NOT_A_NUMBER : INF) : random.between(-0.5, 1.3);
        whole.process(value);
        parts[i % 7 == 0 ? 2 : i % 2].process(value);
    }
    for (const histogram& part : parts) ASSERT_TRUE(merged.merge(part));
    ASSERT_TRUE(merged.merge(histogram(0, 1, 7)));
    expect_same(merged, whole);

    for (histogram other : {histogram(), histogram(0, 1, 5), histogram(0, 2, 7)}) {
        other.process(0.25);
        EXPECT_FALSE(merged.merge(other)); // other bounds: nothing changes
    }
    expect_same(merged, whole);
    histogram quarters(0, 1, 4);
    EXPECT_TRUE(quarters.merge(histogram(std::vector<double>{0, 0.25, 0.5, 0.75, 1}))); // the same slices
}

TEST(Histogram, CopiesAreIndependentMovesEmptyTheSourceAndClearKeepsTheBounds) {
    histogram h(std::vector<double>{0, 1, 5});
    h.process(reals({0.5, 3, 9, NOT_A_NUMBER, -1e300}));
    histogram copy = h;
    copy.process(0.75);
    EXPECT_EQ(counts_of(h), counts({1, 1, 1, 1, 1}));
    EXPECT_EQ(counts_of(copy), counts({1, 2, 1, 1, 1}));

    const histogram reference = copy;
    histogram moved = std::move(copy);
    histogram& self = moved;
    moved = self;
    moved = std::move(self);
    expect_same(moved, reference);
    EXPECT_EQ(copy.bins(), 0u); // NOLINT(bugprone-use-after-move): defined for this class
    EXPECT_EQ(copy.count() + copy.below() + copy.above() + copy.not_a_number(), 0u);
    copy.process(3);
    EXPECT_EQ(copy.mean(), 3);

    h.clear();
    EXPECT_EQ(h.bound(2), 5);
    EXPECT_EQ(h.count(), 0u);
    EXPECT_EQ(counts_of(h), counts({0, 0, 0, 0, 0}));
    h.process(3);
    EXPECT_EQ(h.min(), 3);
    EXPECT_EQ(h.mean(), 3);
    EXPECT_EQ(h.bin(1), 1u);
}

} // namespace
