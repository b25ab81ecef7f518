#include <plexo/histogram.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

namespace qv7::misc {

namespace {

constexpr double LARGEST = std::numeric_limits<double>::max();
constexpr double NONE = std::numeric_limits<double>::quiet_NaN();
/// Scaled values beyond this make a histogram choose a new scale.
constexpr double MODERATE = 0x1p256;
/// Values whose moments are formed together before they join the others.
constexpr unsigned int BLOCK = 256;

/// sum + error gains the term with next to no rounding (two-sum, Knuth 1969).
void add_compensated(double& sum, double& error, double term) {
    const double total = sum + term;
    const double added = total - sum;
    error += (sum - (total - added)) + (term - added);
    sum = total;
}

} // namespace

void histogram::moments::rescale(double new_scale) noexcept {
    const double factor = new_scale / scale; // a power of two; what underflows is negligible by then
    mean *= factor;
    mean_error *= factor;
    squares *= factor * factor;
    squares_error *= factor * factor;
    scale = new_scale;
}

/// Joins n scaled values of the given mean and sum of squared deviations (Chan, Golub and LeVeque 1983).
void histogram::moments::add(unsigned long long n, double mean_of_n, double squares_of_n) noexcept {
    const double old_count = static_cast<double>(count);
    count += n;
    const double weight = static_cast<double>(n) / static_cast<double>(count);
    const double step = (mean_of_n - mean) - mean_error;
    add_compensated(mean, mean_error, step * weight);
    add_compensated(squares, squares_error, squares_of_n);
    add_compensated(squares, squares_error, step * step * weight * old_count);
}

/// Joins up to BLOCK values. Their own moments take two passes, the second of which corrects the first.
void histogram::moments::add(const double* values, unsigned int n) noexcept {
    if (n == 0) return;
    double largest = 0;
    for (unsigned int i = 0; i < n; ++i) largest = std::max(largest, std::abs(values[i]));
    if (!(largest * scale <= MODERATE)) rescale(std::ldexp(1.0, -std::ilogb(largest)));

    double scaled[BLOCK];
    double sum = 0;
    for (unsigned int i = 0; i < n; ++i) {
        scaled[i] = values[i] * scale;
        sum += scaled[i];
    }
    const double estimate = sum / n;
    double drift = 0;
    double squares_of_n = 0;
    for (unsigned int i = 0; i < n; ++i) {
        const double deviation = scaled[i] - estimate;
        drift += deviation;
        squares_of_n += deviation * deviation;
    }
    add(n, estimate + drift / n, std::max(0.0, squares_of_n - drift * drift / n));
}

void histogram::moments::add(moments other) noexcept {
    if (other.count == 0) return;
    const double common = std::min(scale, other.scale);
    rescale(common);
    other.rescale(common);
    add(other.count, other.mean + other.mean_error, other.squares + other.squares_error);
}

histogram::histogram(double low, double high, unsigned int bins) noexcept {
    if (!(low < high) || !std::isfinite(low) || !std::isfinite(high) || !set_slices(bins)) return;
    const double half_width = high / 2 - low / 2; // the width itself may overflow
    double* const bounds = bounds_.data();
    bounds[0] = low;
    for (unsigned int k = 1; k < bins; ++k) {
        const double t = static_cast<double>(k) / bins;
        bounds[k] = std::clamp(2 * (low / 2 + t * half_width), low, high);
    }
    bounds[bins] = high;
    slices_per_half_ = bins / half_width;
    if (!std::isfinite(slices_per_half_)) slices_per_half_ = 0;
}

histogram::histogram(const std::vector<double>& bounds) noexcept {
    const auto out_of_order = [](double a, double b) { return !(a < b); };
    if (bounds.size() < 2 || bounds.size() > std::numeric_limits<unsigned int>::max()) return;
    if (std::adjacent_find(bounds.begin(), bounds.end(), out_of_order) != bounds.end()) return;
    if (!set_slices(static_cast<unsigned int>(bounds.size() - 1))) return;
    std::copy(bounds.begin(), bounds.end(), bounds_.begin());
}

histogram::histogram(const histogram& other) noexcept
    : slices_per_half_(other.slices_per_half_), tally_(other.tally_) {
    if (other.bins() == 0) return;
    counts_.reset(new (std::nothrow) unsigned long long[other.bins()]);
    if (!counts_) return;
    std::copy_n(other.counts_.get(), other.bins(), counts_.get());
    bounds_ = other.bounds_;
}

histogram& histogram::operator=(const histogram& other) noexcept {
    if (this != &other) *this = histogram(other);
    return *this;
}

histogram::histogram(histogram&& other) noexcept {
    *this = std::move(other);
}

histogram& histogram::operator=(histogram&& other) noexcept {
    if (this == &other) return *this;
    bounds_ = other.bounds_;
    other.bounds_.clear_hard();
    counts_ = std::move(other.counts_);
    slices_per_half_ = std::exchange(other.slices_per_half_, 0);
    tally_ = std::exchange(other.tally_, tally());
    return *this;
}

histogram::~histogram() = default;

void histogram::process(double value) noexcept {
    if (count_value(value)) tally_.ordinary.add(&value, 1);
}

void histogram::process(const math1::dense1D<double, 16>& values) noexcept {
    double ordinary[BLOCK];
    unsigned int n = 0;
    for (const double value : values) {
        if (!count_value(value)) continue;
        ordinary[n++] = value;
        if (n < BLOCK) continue;
        tally_.ordinary.add(ordinary, n);
        n = 0;
    }
    tally_.ordinary.add(ordinary, n);
}

void histogram::clear() noexcept {
    std::fill_n(counts_.get(), bins(), 0);
    tally_ = tally();
}

bool histogram::merge(const histogram& other) noexcept {
    if (!(bounds_ == other.bounds_)) return false;
    for (unsigned int k = 0; k < bins(); ++k) counts_[k] += other.counts_[k];
    if (other.tally_.count != 0) {
        tally_.min = tally_.count == 0 ? other.tally_.min : std::min(tally_.min, other.tally_.min);
        tally_.max = tally_.count == 0 ? other.tally_.max : std::max(tally_.max, other.tally_.max);
    }
    tally_.count += other.tally_.count;
    tally_.below += other.tally_.below;
    tally_.above += other.tally_.above;
    tally_.not_a_number += other.tally_.not_a_number;
    tally_.ordinary.add(other.tally_.ordinary);
    return true;
}

double histogram::min() const noexcept {
    return tally_.count == 0 ? NONE : tally_.min;
}

double histogram::max() const noexcept {
    return tally_.count == 0 ? NONE : tally_.max;
}

double histogram::mean() const noexcept {
    const moments& m = tally_.ordinary;
    return m.count == 0 ? NONE : (m.mean + m.mean_error) / m.scale;
}

double histogram::standard_deviation() const noexcept {
    const moments& m = tally_.ordinary;
    if (m.count == 0) return NONE;
    return std::sqrt(std::max(0.0, m.squares + m.squares_error) / static_cast<double>(m.count)) / m.scale;
}

double histogram::bound(unsigned int k) const noexcept {
    return k < bounds_.size() ? bounds_[k] : NONE;
}

/// Gets storage for the bounds, to be set by the caller, and zero counts; false without any change.
bool histogram::set_slices(unsigned int bins) noexcept {
    if (bins == 0 || bins == std::numeric_limits<unsigned int>::max()) return false;
    counts_.reset(new (std::nothrow) unsigned long long[bins]());
    if (counts_ && bounds_.resize_for_overwrite(bins + 1)) return true;
    counts_.reset();
    return false;
}

/// The slice of a value in [bound(0), bound(bins())): the last one whose lower bound is not above it. The
/// bounds decide; the division of equal slices is only a guess that rounding may put one slice off.
unsigned int histogram::slice_of(double value) const noexcept {
    const double* const bounds = bounds_.data();
    if (slices_per_half_ != 0) {
        const double guess = (value / 2 - bounds[0] / 2) * slices_per_half_;
        const unsigned int k = guess < bins() ? static_cast<unsigned int>(guess) : bins() - 1;
        if (bounds[k] <= value && value < bounds[k + 1]) return k;
    }
    return static_cast<unsigned int>(std::upper_bound(bounds, bounds + bins(), value) - bounds) - 1;
}

/// Does all the counting; true when the value belongs in the moments.
bool histogram::count_value(double value) noexcept {
    if (std::isnan(value)) {
        ++tally_.not_a_number;
        return false;
    }
    tally_.min = tally_.count == 0 ? value : std::min(tally_.min, value);
    tally_.max = tally_.count == 0 ? value : std::max(tally_.max, value);
    ++tally_.count;
    if (value >= LARGEST) {
        ++tally_.above;
        return false;
    }
    if (value < -LARGEST) {
        ++tally_.below;
        return false;
    }
    if (bins() == 0) return true;
    if (value < bounds_[0])
        ++tally_.below;
    else if (value >= bounds_[bins()])
        ++tally_.above;
    else
        ++counts_[slice_of(value)];
    return true;
}

} // namespace qv7::misc
