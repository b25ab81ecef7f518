#pragma once

#include <plexo/histogram.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace example {

/// A bar of at most 40 marks in proportion to a count, with a mark even for the smallest that is not 0.
inline std::string bar(unsigned long long count, unsigned long long most) {
    constexpr double LONGEST = 40;
    if (count == 0) return "";
    return std::string(std::max<std::size_t>(1, std::size_t(LONGEST * (double(count) / double(most)))), '#');
}

/// Prints a title with the statistics of a histogram, and a line with a bar per slice. What lies below and
/// above the slices has its own lines, where there is any.
inline void print(const char* title, const qv7::misc::histogram& histo) {
    std::printf("%-20s %llu values", title, histo.count());
    if (histo.count() != 0)
        std::printf(", min %.4g, mean %.4g, max %.4g", histo.min(), histo.mean(), histo.max());
    if (histo.not_a_number() != 0) std::printf(", %llu not a number", histo.not_a_number());
    std::printf("\n");
    if (histo.count() == 0) return;

    unsigned long long most = std::max(histo.below(), histo.above());
    for (unsigned int k = 0; k < histo.bins(); ++k) most = std::max(most, histo.bin(k));
    const auto line = [most](const char* from, double bound, unsigned long long count) {
        std::printf("  %5s %-8.3g %10llu  %s\n", from, bound, count, bar(count, most).c_str());
    };
    if (histo.below() != 0) line("below", histo.bound(0), histo.below());
    for (unsigned int k = 0; k < histo.bins(); ++k) line("from", histo.bound(k), histo.bin(k));
    if (histo.above() != 0) line("from", histo.bound(histo.bins()), histo.above());
}

} // namespace example
