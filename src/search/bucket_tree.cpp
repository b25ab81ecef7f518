#include "bucket_tree.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qv7::plexo {

namespace {

constexpr unsigned int BUCKET = 24;
// Buckets are read in whole groups, beyond their last point when it does not fill one.
constexpr unsigned int GROUP = 4;
static_assert(BUCKET % GROUP == 0);
// Halving cells may peel off a point at a time; from this depth on the points are halved instead.
constexpr unsigned int DEEPEST_MIDDLE = 40;
// Where many points share the median coordinate, halving them may still take several steps; cells at this
// depth stay whole, so that branches that wait always fit.
constexpr unsigned int DEEPEST = 160;

} // namespace

template <unsigned int D>
struct bucket_tree<D>::box {
    double low[D], high[D];

    unsigned int widest_axis() const {
        unsigned int axis = 0;
        for (unsigned int k = 1; k < D; ++k) {
            if (high[k] - low[k] > high[axis] - low[axis]) axis = k;
        }
        return axis;
    }

    static box around(const point* points, unsigned int count) {
        box b;
        for (unsigned int k = 0; k < D; ++k) b.low[k] = b.high[k] = points[0].p[k];
        for (unsigned int i = 1; i < count; ++i) {
            for (unsigned int k = 0; k < D; ++k) {
                b.low[k] = std::min(b.low[k], points[i].p[k]);
                b.high[k] = std::max(b.high[k], points[i].p[k]);
            }
        }
        return b;
    }
};

namespace {

/// The middle of [low, high], below `high` unless both are the same.
double middle_of(double low, double high) {
    const double middle = 0.5 * low + 0.5 * high;
    return middle >= low && middle < high ? middle : low;
}

/// Moves the points above `split` behind the others; returns how many the others are.
template <unsigned int D>
unsigned int partition(located_node<D>* points, unsigned int count, unsigned int axis, double split) {
    unsigned int lows = 0;
    for (unsigned int i = 0; i < count; ++i) {
        const located_node<D> here = points[i];
        const bool is_low = here.p[axis] <= split;
        points[i] = points[lows]; // swapped in any case, because a branch would be mispredicted
        points[lows] = here;
        lows += is_low;
    }
    return lows;
}

} // namespace

template <unsigned int D>
void bucket_tree<D>::put_bucket(const point* points, unsigned int first, unsigned int count) noexcept {
    double* const to = coordinates_.data() + std::size_t(first) * D;
    for (unsigned int k = 0; k < D; ++k) {
        for (unsigned int i = 0; i < count; ++i) to[std::size_t(k) * count + i] = points[i].p[k];
    }
    for (unsigned int i = 0; i < count; ++i)
        keys_[first + i] = std::uint64_t(points[i].rank) << 32 | points[i].node;
}

/// Splits the points into cells down to buckets.
template <unsigned int D>
void bucket_tree<D>::split(point* points, const box& all, cell* cells) noexcept {
    struct task {
        unsigned int cell, begin, end, depth;
        box bounds; ///< not always tight
    };
    task waiting[DEEPEST];
    unsigned int waiting_count = 0;
    task now{0, 0, count_, 0, all};
    cell_count_ = 2; // pairs of children start at even numbers and so share a cache line
    for (;;) {
        point* const mine = points + now.begin;
        const unsigned int count = now.end - now.begin;
        const bool splittable = count > BUCKET && now.depth < DEEPEST;
        unsigned int axis = 0;
        unsigned int lows = 0;
        double at = 0;
        if (splittable && now.depth < DEEPEST_MIDDLE) {
            axis = now.bounds.widest_axis();
            at = middle_of(now.bounds.low[axis], now.bounds.high[axis]);
            lows = partition(mine, count, axis, at);
        }
        if (splittable && (lows == 0 || lows == count)) { // or too deep for the middle of the cell
            now.bounds = box::around(mine, count);
            axis = now.bounds.widest_axis();
            const double low = now.bounds.low[axis], high = now.bounds.high[axis];
            at = middle_of(low, high);
            if (now.depth >= DEEPEST_MIDDLE) {
                point* const median = mine + count / 2;
                std::nth_element(mine, median, mine + count,
                                 [axis](const point& a, const point& b) { return a.p[axis] < b.p[axis]; });
                at = std::min(median->p[axis], std::nextafter(high, low));
            }
            lows = partition(mine, count, axis, at);
        }
        if (lows == 0 || lows == count) { // few points, all of them in one place, or too deep
            put_bucket(mine, now.begin, count);
            cells[now.cell] = {0, now.begin, D + count};
            if (waiting_count == 0) return;
            now = waiting[--waiting_count];
            continue;
        }
        cells[now.cell] = {at, cell_count_, axis};
        task& high_side = waiting[waiting_count++];
        high_side = {cell_count_ + 1, now.begin + lows, now.end, now.depth + 1, now.bounds};
        high_side.bounds.low[axis] = at;
        now = {cell_count_, now.begin, now.begin + lows, now.depth + 1, now.bounds};
        now.bounds.high[axis] = at;
        cell_count_ += 2;
    }
}

template <unsigned int D>
bool bucket_tree<D>::build(point* points, unsigned int count) noexcept {
    count_ = 0;
    if (count == 0 || count > NO_ID - 2 * D) return false;
    scratch<cell> cells;
    if (!cells.allocate(2 * std::size_t(count) + 1) ||
        !coordinates_.allocate(std::size_t(count) * D + BUCKET) || !keys_.allocate(count))
        return false;
    const box all = box::around(points, count);
    bool finite = true;
    for (unsigned int i = 0; i < count; ++i) {
        for (unsigned int k = 0; k < D; ++k)
            finite &= std::abs(points[i].p[k]) <= std::numeric_limits<double>::max();
    }
    if (!finite) return false;
    std::fill_n(coordinates_.data() + std::size_t(count) * D, BUCKET, 0.0);

    std::copy_n(all.low, D, low_);
    std::copy_n(all.high, D, high_);
    count_ = count;
    split(points, all, cells.data());
    if (!cells_.allocate(cell_count_)) {
        count_ = 0;
        return false;
    }
    std::copy_n(cells.data(), cell_count_, cells_.data());
    return true;
}

template <unsigned int D>
bool bucket_tree<D>::copy(const bucket_tree& source) noexcept {
    count_ = 0;
    if (source.empty()) return true;
    if (!cells_.allocate(source.cell_count_) || !coordinates_.allocate(source.coordinates_.size()) ||
        !keys_.allocate(source.count_))
        return false;
    std::copy_n(source.cells_.data(), source.cell_count_, cells_.data());
    std::copy_n(source.coordinates_.data(), source.coordinates_.size(), coordinates_.data());
    std::copy_n(source.keys_.data(), source.count_, keys_.data());
    std::copy_n(source.low_, D, low_);
    std::copy_n(source.high_, D, high_);
    cell_count_ = source.cell_count_;
    count_ = source.count_;
    return true;
}

/// Up to BUCKET points of a bucket; only points in one place, or at the depth limit, share a bucket that
/// takes several runs.
template <unsigned int D>
struct bucket_tree<D>::run {
    const double* x;          ///< of the first point
    std::size_t stride;       ///< from an axis to the next
    const std::uint64_t* key; ///< of the first point
    unsigned int count;
};

template <unsigned int D>
typename bucket_tree<D>::run bucket_tree<D>::run_at(const cell& bucket, unsigned int start) const noexcept {
    return {coordinates_.data() + std::size_t(bucket.first) * D + start, bucket.count(),
            keys_.data() + bucket.first + start, std::min(BUCKET, bucket.count() - start)};
}

/// A search for the closest point under way.
template <unsigned int D>
struct bucket_tree<D>::search {
    // Between a distance and one that a search on another tree may take for it lie less than two roundings,
    // of the distance and of the coordinates.
    static constexpr double SLACK = 0x1p-48;

    double P[D];
    unsigned int skipped;
    double slack; ///< of the coordinates
    answer closest{};
    double limit = std::numeric_limits<double>::infinity(); ///< squared: up to here a point contests

    search(const double* point, unsigned int skipped_node) : skipped(skipped_node) {
        double largest = 0;
        for (unsigned int k = 0; k < D; ++k) {
            P[k] = point[k];
            largest = std::max(largest, std::abs(P[k]));
        }
        slack = largest * SLACK;
        closest.d2 = limit;
    }

    void look_at(const run& points) {
        double d2[BUCKET];
        for (unsigned int i = 0; i < points.count; i += GROUP) {
            for (unsigned int j = i; j < i + GROUP; ++j) {
                double sum = (P[0] - points.x[j]) * (P[0] - points.x[j]);
                for (unsigned int k = 1; k < D; ++k) {
                    const double d = P[k] - points.x[k * points.stride + j];
                    sum += d * d;
                }
                d2[j] = sum;
            }
        }
        for (unsigned int i = 0; i < points.count; ++i) {
            if (d2[i] <= limit) consider(points, i, d2[i]);
        }
    }

    void consider(const run& points, unsigned int i, double d2) {
        const auto node = static_cast<unsigned int>(points.key[i]);
        if (node == skipped) return;
        if (!(d2 < closest.d2)) {
            closest.contested = true;
            return;
        }
        const double reach = std::sqrt(d2) * (1 + SLACK) + slack;
        limit = reach * reach;
        closest.contested = closest.d2 <= limit;
        closest.d2 = d2;
        closest.node = node;
        closest.coincident = true;
        for (unsigned int k = 0; k < D; ++k) closest.coincident &= points.x[k * points.stride + i] == P[k];
    }
};

template <unsigned int D>
typename bucket_tree<D>::answer bucket_tree<D>::find_closest(const double* P,
                                                             unsigned int skipped) const noexcept {
    struct branch {
        double d2;      ///< squared distance of the cell
        double side[D]; ///< its distance along each axis
        unsigned int cell;
    };
    branch waiting[DEEPEST];
    unsigned int waiting_count = 0;
    search state(P, skipped);
    double side[D];
    for (unsigned int k = 0; k < D; ++k) side[k] = std::max({low_[k] - P[k], P[k] - high_[k], 0.0});
    unsigned int at = 0;
    for (;;) {
        const cell& here = cells_[at];
        if (!here.is_bucket()) { // on to the near side; the far one waits
            const double gap = state.P[here.kind] - here.at;
            const bool near_is_low = gap <= 0;
            branch& far = waiting[waiting_count++];
            far.d2 = 0;
            for (unsigned int k = 0; k < D; ++k) {
                far.side[k] = k == here.kind ? gap : side[k];
                far.d2 += far.side[k] * far.side[k];
            }
            far.cell = here.first + near_is_low;
            at = here.first + !near_is_low;
            continue;
        }
        for (unsigned int start = 0; start < here.count(); start += BUCKET)
            state.look_at(run_at(here, start));
        do {
            if (waiting_count == 0) return state.closest;
            --waiting_count;
        } while (waiting[waiting_count].d2 > state.limit);
        at = waiting[waiting_count].cell;
        std::copy_n(waiting[waiting_count].side, D, side);
    }
}

/// Appends the keys of the points in a box and moves `end` behind them; what stands behind is overwritten.
template <unsigned int D>
void bucket_tree<D>::append_inside(const run& points, const double* Pmin, const double* Pmax,
                                   std::uint64_t*& end) noexcept {
    unsigned char outside[BUCKET] = {};
    for (unsigned int k = 0; k < D; ++k) {
        const double* const x = points.x + k * points.stride;
        for (unsigned int i = 0; i < points.count; i += GROUP) {
            for (unsigned int j = i; j < i + GROUP; ++j)
                outside[j] |= !((Pmin[k] <= x[j]) & (x[j] <= Pmax[k]));
        }
    }
    std::uint64_t* to = end; // moved on without a branch, which would be mispredicted
    for (unsigned int i = 0; i < points.count; ++i) {
        *to = points.key[i];
        to += !outside[i];
    }
    end = to;
}

template <unsigned int D>
bool bucket_tree<D>::find_in_box(const double* Pmin, const double* Pmax, std::uint64_t* found,
                                 unsigned int room, unsigned int& count) const noexcept {
    unsigned int waiting[DEEPEST];
    unsigned int waiting_count = 0;
    std::uint64_t* end = found;
    unsigned int at = 0;
    for (;;) {
        const cell& here = cells_[at];
        if (!here.is_bucket()) {
            waiting[waiting_count] = here.first + 1;
            waiting_count += Pmax[here.kind] > here.at;
            if (Pmin[here.kind] <= here.at) {
                at = here.first;
                continue;
            }
            if (waiting_count == 0) break;
            at = waiting[--waiting_count];
            continue;
        }
        for (unsigned int start = 0; start < here.count(); start += BUCKET) {
            const run points = run_at(here, start);
            if (points.count > room - (end - found)) return false;
            append_inside(points, Pmin, Pmax, end);
        }
        if (waiting_count == 0) break;
        at = waiting[--waiting_count];
    }
    std::sort(found, end);
    count = static_cast<unsigned int>(end - found);
    return true;
}

template class bucket_tree<2>;
template class bucket_tree<3>;

} // namespace qv7::plexo
