#pragma once

/// \file
/// Counting a stream of values in slices, with its extremes and moments.

#include <plexo/containers.h>

#include <memory>
#include <vector>

namespace qv7::misc {

/// Statistics of a stream of values, with the values counted in slices [bound(k), bound(k + 1)).
///
/// Every value processed is counted exactly once: in not_a_number(), or in count() and then in one slice, in
/// below() or in above(). The largest finite double stands for an infinite quality and is, like both
/// infinities, never in a slice: it counts in above() (below() for the negative infinity) and in min() and
/// max(), but not in mean() and standard_deviation(). Without slices, below() and above() hold the infinite
/// values only.
///
/// The moments are kept in compensated arithmetic, free of overflow, by the updating formulas of Welford
/// (1962) and of Chan, Golub and LeVeque (1983), so they stay accurate to rounding over 10^9 values of any
/// magnitude; counts are exact. Nothing throws.
class PLEXO_API histogram {
public:
    /// Statistics only, without slices.
    histogram() noexcept = default;
    /// `bins` equal slices of [low, high). Statistics only when `bins` is 0, when the bounds are not finite
    /// with low < high, or when memory runs out. Where slices are narrower than the spacing of doubles some
    /// of them are empty intervals, which receive nothing.
    histogram(double low, double high, unsigned int bins) noexcept;
    /// Slices between consecutive bounds, the outermost of which may be infinite. Statistics only when there
    /// are fewer than two, when they are not strictly increasing, or when memory runs out.
    explicit histogram(const std::vector<double>& bounds) noexcept;
    /// A copy is independent of its source. When memory runs out it keeps the statistics and has no slices.
    histogram(const histogram& other) noexcept;
    histogram& operator=(const histogram& other) noexcept;
    /// Leaves `other` like a default-constructed histogram.
    histogram(histogram&& other) noexcept;
    histogram& operator=(histogram&& other) noexcept;
    ~histogram();

    /// Counts one value. O(1) for equal slices, else O(log bins).
    void process(double value) noexcept;
    /// Counts every entry.
    void process(const math1::dense1D<double, 16>& values) noexcept;
    /// Forgets all values and keeps the bounds.
    void clear() noexcept;
    /// Adds the values of `other`, which may be this histogram itself.
    /// \return false, with nothing changed, when the bounds differ
    bool merge(const histogram& other) noexcept;

    /// Values processed, NaN left out.
    unsigned long long count() const noexcept { return tally_.count; }
    /// The extremes of the counted values; NaN when there are none.
    double min() const noexcept;
    double max() const noexcept;
    /// Mean and population standard deviation of the values that are not infinite; NaN when there are none.
    double mean() const noexcept;
    double standard_deviation() const noexcept;

    /// Number of slices.
    unsigned int bins() const noexcept { return bounds_.empty() ? 0 : bounds_.size() - 1; }
    /// The k-th slice is [bound(k), bound(k + 1)); NaN for k > bins() and when there are no slices.
    double bound(unsigned int k) const noexcept;
    /// Values in slice k; 0 for k >= bins().
    unsigned long long bin(unsigned int k) const noexcept { return k < bins() ? counts_[k] : 0; }
    /// Values below the first slice.
    unsigned long long below() const noexcept { return tally_.below; }
    /// Values at or above the last bound.
    unsigned long long above() const noexcept { return tally_.above; }
    unsigned long long not_a_number() const noexcept { return tally_.not_a_number; }

private:
    /// Mean and sum of squared deviations of the values times a power of two, which keeps their magnitudes
    /// moderate and so the squares from overflow and underflow. What a sum loses to rounding is collected in
    /// its error term.
    struct moments {
        unsigned long long count = 0;
        double scale = 0x1p1022;
        double mean = 0;
        double mean_error = 0;
        double squares = 0;
        double squares_error = 0;

        void rescale(double new_scale) noexcept;
        void add(unsigned long long n, double mean_of_n, double squares_of_n) noexcept;
        void add(const double* values, unsigned int n) noexcept;
        void add(moments other) noexcept;
    };

    /// All that clear() forgets, but for the counts of the slices.
    struct tally {
        unsigned long long count = 0;
        unsigned long long below = 0;
        unsigned long long above = 0;
        unsigned long long not_a_number = 0;
        double min = 0;
        double max = 0;
        moments ordinary; // of the values that are not infinite
    };

    bool set_slices(unsigned int bins) noexcept;
    unsigned int slice_of(double value) const noexcept;
    bool count_value(double value) noexcept;

    math1::dense1D<double, 16> bounds_; // never written after construction, so copies may share it
    std::unique_ptr<unsigned long long[]> counts_;
    double slices_per_half_ = 0; // for equal slices: bins over half the width; 0 else
    tally tally_;
};

} // namespace qv7::misc
