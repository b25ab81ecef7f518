#include <plexo/histogram.h>

#include "test_containers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <utility>

using qv7::misc::histogram;

namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr double LARGEST = std::numeric_limits<double>::max();
constexpr double SMALLEST = std::numeric_limits<double>::denorm_min();

using list = std::vector<double>;

void expect_near(double value, long double expected, double tolerance) {
    const auto rounded = static_cast<double>(expected);
    if (value == rounded || (std::isnan(value) && std::isnan(expected))) return;
    EXPECT_LE(std::abs(value - rounded), tolerance) << value << ' ' << rounded;
}

/// Compares with what is left of the values by and by, and with sums that cannot overflow.
void expect_values(const histogram& h, list values) {
    const auto take_out = [&values](auto which) { return std::erase_if(values, which); };
    EXPECT_EQ(h.not_a_number(), take_out([](double v) { return std::isnan(v); }));
    EXPECT_EQ(h.count(), values.size());
    std::sort(values.begin(), values.end());
    expect_near(h.min(), values.empty() ? NOT_A_NUMBER : values.front(), 0);
    expect_near(h.max(), values.empty() ? NOT_A_NUMBER : values.back(), 0);
    std::size_t below = take_out([](double v) { return v == -INF; });
    std::size_t above = take_out([](double v) { return v >= LARGEST; });

    long double sum = 0, squares = 0, largest = 0;
    const auto n = static_cast<long double>(values.size());
    for (const long double v : values) sum += v, largest = std::max(largest, std::abs(v));
    for (const long double v : values) squares += (v - sum / n) * (v - sum / n);
    const auto ulp = static_cast<double>(2.3e-16L * largest) + SMALLEST;
    expect_near(h.mean(), sum / n, 4 * ulp);
    expect_near(h.standard_deviation(), std::sqrt(squares / n), 2 * ulp);

    below += take_out([&h](double v) { return v < h.bound(0); });
    for (unsigned int k = 0; k < h.bins(); ++k)
        EXPECT_EQ(h.bin(k), take_out([&](double v) { return v < h.bound(k + 1); }));
    above += take_out([&h](double v) { return v >= h.bound(h.bins()); });
    EXPECT_EQ(h.bin(h.bins()), 0u);
    EXPECT_EQ(h.below(), below);
    EXPECT_EQ(h.above(), above);
}

/// Processes the values in every way.
void check(const histogram& empty, const list& values) {
    histogram one_by_one = empty, merged = empty, parts[2] = {empty, empty};
    for (const double v : values) {
        one_by_one.process(v);
        parts[one_by_one.count() % 3 == 0].process(v);
    }
    expect_values(one_by_one, values);
    EXPECT_TRUE(merged.merge(parts[1]) && merged.merge(parts[0]) && merged.merge(empty));
    histogram& self = merged;
    merged = self;
    merged = std::move(self);
    histogram moved = std::move(merged);
    expect_values(moved, values);
    EXPECT_EQ(merged.bins(), 0u); // NOLINT(bugprone-use-after-move): defined for this class
    expect_values(merged, {});
    merged.process(-3);
    expect_values(merged, {-3});

    const histogram copy = moved;
    moved.clear();
    EXPECT_TRUE(moved.merge(empty)); // the bounds are still there
    expect_values(moved, {});
    moved.process(test::list_of(values));
    expect_values(moved, values);
    expect_values(copy, values);
}

TEST(Histogram, CountsEveryValueOnceAndKeepsMomentsOfAnyMagnitude) {
    test::dice random(2);
    const double odd[] = {NOT_A_NUMBER, INF, -INF, LARGEST, 0, -0.0, SMALLEST};
    for (const histogram& h : {histogram(), histogram(0, 1, 7), histogram(-LARGEST, LARGEST, 10),
                               histogram(list{-INF, -1, 0.5, 0.75, 10, INF})}) {
        check(h, {});
        check(h, {NOT_A_NUMBER, INF, -INF, LARGEST});
        for (const double unit : {1.0, 1e-300, 1e-160, 1e160, 1e300, 0x1p-1070, LARGEST}) {
            list values(1000);
            for (double& v : values)
                v = random.one_in(50) ? odd[random.below(7)] : random.between(-0.5, 1) * unit;
            check(h, values);
        }
    }
}

TEST(Histogram, EqualSlicesBeginAtTheirBounds) {
    test::dice random(5);
    for (unsigned int round = 0; round < 200; ++round) {
        const auto draw = [&](int scale) { return std::ldexp(random.between(-3, 3), scale); };
        const double a = draw(int(round) % 40 - 20), width = std::abs(draw(int(round) % 60 - 40)) + 1e-13;
        const double b = round % 2 == 0 ? a + width : draw(int(round) % 40 - 20);
        const double low = round == 0 ? -LARGEST : std::min(a, b),
                     high = round == 0 ? LARGEST : std::max(a, b);
        const unsigned int bins = 1 + (round + 2) % 60 * 7;
        const histogram h(low, high, bins);
        list values = {low};
        ASSERT_EQ(h.bins(), bins);
        EXPECT_EQ(h.bound(0), low);
        EXPECT_EQ(h.bound(bins), high);
        for (unsigned int k = 0; k < h.bins(); ++k) { // some bounds are closer together than doubles
            ASSERT_LE(h.bound(k), h.bound(k + 1));
            expect_near(h.bound(k), low + ((long double)high - low) * k / h.bins(),
                        1e-15 * std::max(-low, high));
            values.insert(values.end(), {h.bound(k + 1), std::nextafter(h.bound(k + 1), low)});
        }
        check(h, values);
    }
}

TEST(Histogram, MeaninglessBoundsGiveStatisticsOnly) {
    for (const histogram& h :
         {histogram(0, 1, 0), histogram(1, 1, 3), histogram(2, 1, 3), histogram(0, INF, 3),
          histogram(NOT_A_NUMBER, 1, 3), histogram(0, NOT_A_NUMBER, 3), histogram(0, 1, 4294967295u),
          histogram(list{}), histogram(list{1}), histogram(list{1, 2, 2}),
          histogram(list{1, NOT_A_NUMBER, 2}), histogram(list{3, 2})}) {
        EXPECT_EQ(h.bins(), 0u);
        EXPECT_TRUE(std::isnan(h.bound(0)));
        check(h, {0.5, 0.25});
    }
}

TEST(Histogram, MergesOnlyWithTheSameBounds) {
    const histogram quarters(0, 1, 4);
    EXPECT_TRUE(histogram(quarters).merge(histogram(list{0, 0.25, 0.5, 0.75, 1})));
    for (histogram other : {histogram(), histogram(0, 1, 5), histogram(0, 2, 4)}) {
        other.process(0.25);
        histogram h = quarters;
        EXPECT_FALSE(h.merge(other));
        expect_values(h, {});
    }
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

} // namespace
