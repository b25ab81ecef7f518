// Numbers as text against printf, over doubles and integers of every kind.

#include "io/number_format.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <string_view>

namespace {

using namespace qv7::plexo::io;

template <typename Number>
struct number_format {
    const char* printf_format;
    char* (*put)(char*, Number);
};

constexpr number_format<double> REALS[] = {
    {"%e", put_scientific}, {"%E", put_scientific_upper}, {"%12.5e", put_scientific_12_5},
    {"%f", put_fixed},      {"%g", put_general},
};
constexpr number_format<long long> SIGNED[] = {{"%lld", put_signed}, {"%8lld", put_signed_8}};
constexpr number_format<unsigned long long> UNSIGNED[] = {{"%llu", put_unsigned}, {"%8llu", put_unsigned_8}};

template <typename... Arguments>
std::string printed(const char* format, Arguments... arguments) {
    char text[400];
    return {text, std::size_t(std::snprintf(text, sizeof text, format, arguments...))};
}

// "%#g" by the rule of the C standard. Some C libraries drop the zeros where 999999.5 rounds up
// to 1.00000e+06.
std::string general_with_point(double value) {
    if (!std::isfinite(value)) return printed("%g", value);
    std::string scientific = printed("%.5e", value);
    const int exponent = std::stoi(scientific.substr(scientific.find('e') + 1));
    if (exponent < -4 || exponent >= 6) return scientific;
    return printed("%#.*f", 5 - exponent, value);
}

template <typename Number>
void expect_text(const std::string& expected, char* (*put)(char*, Number), Number value) {
    char text[LONGEST_NUMBER];
    ASSERT_EQ(std::string_view(text, std::size_t(put(text, value) - text)), expected);
}

template <typename Number, std::size_t N>
void expect_printed(const number_format<Number> (&formats)[N], Number value) {
    for (const auto& [printf_format, put] : formats) expect_text(printed(printf_format, value), put, value);
}

void expect_same_text(double value) {
    expect_printed(REALS, value);
    expect_text(general_with_point(value), put_general_showpoint, value);
}

TEST(number_format, prints_doubles_of_every_kind_as_printf_does) {
    using limits = std::numeric_limits<double>;
    for (double value : {0.0, limits::infinity(), limits::quiet_NaN(), limits::max(), limits::min(),
                         limits::denorm_min(), 1.0, 9.9999995, 0.5, 999999.5}) {
        expect_same_text(value);
        expect_same_text(std::copysign(value, -1.0));
    }
    std::mt19937_64 random(20);
    const std::function<double()> kinds[] = {
        [&] { return std::bit_cast<double>(random()); },
        [&] { return std::bit_cast<double>(random()); },
        [&] { return std::bit_cast<double>(random() & 0x800fffffffffffffu); },    // denormals
        [&] { return double(std::int64_t(random() % 2000000000)) / 1000 - 1e6; }, // short decimals
        [&] { return std::ldexp(double(random() >> 11), -53) * 2 - 1; },          // a unit box
        [&] { return double(float(std::ldexp(double(random() >> 11), -50))); },
        // exact ties: integers and a half, quarter ... of one digit more than any format has
        [&] { return double(random() % 100000000) + 0.5; },
        [&] { return std::ldexp(double(random() % 100000000), -int(random() % 40)); },
        [&] { return double(random() >> (random() % 64)); },
    };
    for (int i = 0; i < 100000; ++i) {
        for (const auto& kind : kinds) expect_same_text(kind());
    }
}

TEST(number_format, rounds_next_to_powers_of_ten) {
    for (int exponent = -323; exponent <= 308; ++exponent) {
        const double power = std::strtod(printed("1e%d", exponent).c_str(), nullptr);
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

TEST(number_format, prints_integers_as_printf_does) {
    const auto expect_same = [](long long value) {
        expect_printed(SIGNED, value);
        expect_printed(UNSIGNED, static_cast<unsigned long long>(value));
    };
    for (long long value = -1100; value < 1100; ++value) expect_same(value);
    expect_same(std::numeric_limits<long long>::min());
    expect_same(std::numeric_limits<long long>::max());
    std::mt19937_64 random(21);
    for (int i = 0; i < 100000; ++i) expect_same(static_cast<long long>(random() >> (random() % 64)));
}

} // namespace
