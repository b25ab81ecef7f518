// Numbers as text against printf, over doubles of every kind.

#include "io/number_format.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>

namespace {

using namespace qv7::plexo::io;

struct real_format {
    const char* printf_format;
    char* (*put)(char*, double);
};

constexpr real_format FORMATS[] = {
    {"%e", put_scientific}, {"%E", put_scientific_upper}, {"%12.5e", put_scientific_12_5},
    {"%f", put_fixed},      {"%g", put_general},
};

std::string text_of(char* (*put)(char*, double), double value) {
    char text[LONGEST_NUMBER];
    return {text, put(text, value)};
}

std::string printed(const char* format, double value) {
    char text[400];
    return {text, std::size_t(std::snprintf(text, sizeof text, format, value))};
}

// "%#g" by the rule of the C standard. Some C libraries drop the zeros where 999999.5 rounds up
// to 1.00000e+06.
std::string general_with_point(double value) {
    if (!std::isfinite(value)) return printed("%g", value);
    const std::string scientific = printed("%.5e", value);
    const int exponent = std::stoi(scientific.substr(scientific.find('e') + 1));
    if (exponent < -4 || exponent >= 6) return scientific;
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%#.*f", 5 - exponent, value);
    return {text, std::size_t(length)};
}

class number_format : public testing::Test {
protected:
    void expect_same_text(double value) {
        for (const real_format& format : FORMATS) {
            if (text_of(format.put, value) == printed(format.printf_format, value)) continue;
            ASSERT_EQ(text_of(format.put, value), printed(format.printf_format, value))
                << format.printf_format;
        }
        if (text_of(put_general_showpoint, value) == general_with_point(value)) return;
        ASSERT_EQ(text_of(put_general_showpoint, value), general_with_point(value)) << "%#g";
    }
    std::mt19937_64 random{20};
};

TEST_F(number_format, prints_special_values_as_printf_does) {
    constexpr double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (double value :
         {0.0, inf, nan, std::numeric_limits<double>::max(), std::numeric_limits<double>::min(),
          std::numeric_limits<double>::denorm_min(), 1.0, 9.9999995, 0.5}) {
        expect_same_text(value);
        expect_same_text(std::copysign(value, -1.0));
    }
    EXPECT_EQ(text_of(put_scientific_upper, std::copysign(nan, -1.0)), "-NAN");
    EXPECT_EQ(text_of(put_scientific_upper, -inf), "-INF");
    EXPECT_EQ(text_of(put_general_showpoint, 999999.5), "1.00000e+06");
    EXPECT_EQ(text_of(put_fixed, std::numeric_limits<double>::lowest()).size(), 317u);
}

TEST_F(number_format, prints_any_bit_pattern_as_printf_does) {
    for (int i = 0; i < 200000; ++i) expect_same_text(std::bit_cast<double>(random()));
    constexpr std::uint64_t denormal = 0x800fffffffffffffu;
    for (int i = 0; i < 50000; ++i) expect_same_text(std::bit_cast<double>(random() & denormal));
}

TEST_F(number_format, prints_what_meshes_hold_as_printf_does) {
    for (int i = 0; i < 100000; ++i) {
        expect_same_text(double(std::int64_t(random() % 2000000000)) / 1000 - 1e6); // short decimals
        expect_same_text(std::ldexp(double(random() >> 11), -53) * 2 - 1);          // a unit box
        expect_same_text(double(float(std::ldexp(double(random() >> 11), -50))));   // floats
    }
}

TEST_F(number_format, rounds_exact_ties_to_even) {
    // an integer of 7 or 8 digits and a half, quarter ... needs one digit more than any format has
    for (int i = 0; i < 100000; ++i) {
        const auto whole = double(random() % 100000000);
        expect_same_text(whole + 0.5);
        expect_same_text(std::ldexp(double(random() % 100000000), -int(random() % 40)));
        expect_same_text(double(random() >> (random() % 64)));
    }
}

TEST_F(number_format, rounds_next_to_powers_of_ten) {
    for (int exponent = -323; exponent <= 308; ++exponent) {
        const double power = std::strtod(std::string("1e").append(std::to_string(exponent)).c_str(), nullptr);
        const auto bits = std::bit_cast<std::uint64_t>(power);
        for (int ulps = -30; ulps <= 30; ++ulps) {
            expect_same_text(std::bit_cast<double>(bits + std::uint64_t(std::int64_t(ulps))));
        }
        for (double factor : {0.99999949, 0.9999995, 0.99999951, 0.999999949, 0.99999995, 0.99999999}) {
            expect_same_text(power * factor);
            expect_same_text(-power * factor);
        }
    }
}

TEST_F(number_format, prints_integers_as_printf_does) {
    char text[LONGEST_NUMBER], expected[64];
    const auto expect_same = [&](std::int64_t value) {
        const auto natural = std::uint64_t(value);
        std::snprintf(expected, sizeof expected, "%lld", static_cast<long long>(value));
        ASSERT_EQ(std::string(text, put_signed(text, value)), expected);
        std::snprintf(expected, sizeof expected, "%8lld", static_cast<long long>(value));
        ASSERT_EQ(std::string(text, put_signed_8(text, value)), expected);
        std::snprintf(expected, sizeof expected, "%llu", static_cast<unsigned long long>(natural));
        ASSERT_EQ(std::string(text, put_unsigned(text, natural)), expected);
        std::snprintf(expected, sizeof expected, "%8llu", static_cast<unsigned long long>(natural));
        ASSERT_EQ(std::string(text, put_unsigned_8(text, natural)), expected);
    };
    for (std::int64_t value = -1100; value < 1100; ++value) expect_same(value);
    expect_same(std::numeric_limits<std::int64_t>::min());
    expect_same(std::numeric_limits<std::int64_t>::max());
    for (int i = 0; i < 100000; ++i) expect_same(std::int64_t(random() >> (random() % 64)));
}

} // namespace
