#include "bucket_tree.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qv7::plexo {

namespace {

constexpr unsigned int BUCKET = 16;
// Buckets are read in whole groups, beyond their last point when it does not fill one.
constexpr unsigned int GROUP = 4;
// Halving cells may peel off a point at a time; from this depth on the points are halved instead.
constexpr unsigned int DEEPEST_MIDDLE = 40;
constexpr unsigned int DEEPEST = DEEPEST_MIDDLE + 32 + 4;

} // namespace

template <unsigned int D>
struct bucket_tree<D>::item {
    double p[D];
    std::uint64_t key;
};

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

    static box around(const item* items, unsigned int count) {
        box b;
        for (unsigned int k = 0; k < D; ++k) b.low[k] = b.high[k] = items[0].p[k];
        for (unsigned int i = 1; i < count; ++i) {
            for (unsigned int k = 0; k < D; ++k) {
                b.low[k] = std::min(b.low[k], items[i].p[k]);
                b.high[k] = std::max(b.high[k], items[i].p[k]);
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

/// Moves the items above `split` behind the others; returns how many the others are.
template <typename Item>
unsigned int partition(Item* items, unsigned int count, unsigned int axis, double split, double& low_end,
                       double& high_begin) {
    unsigned int lows = 0;
    double below = -std::numeric_limits<double>::infinity();
    double above = std::numeric_limits<double>::infinity();
    for (unsigned int i = 0; i < count; ++i) {
        const Item here = items[i];
        const double x = here.p[axis];
        const bool is_low = x <= split;
        items[i] = items[lows]; // swapped in any case, because a branch would be mispredicted
        items[lows] = here;
        lows += is_low;
        below = std::max(below, is_low ? x : below);
        above = std::min(above, is_low ? above : x);
    }
    low_end = below;
    high_begin = above;
    return lows;
}

} // namespace

template <unsigned int D>
void bucket_tree<D>::put_bucket(const item* items, unsigned int first, unsigned int count) noexcept {
    double* const to = coordinates_.data() + std::size_t(first) * D;
    for (unsigned int k = 0; k < D; ++k) {
        for (unsigned int i = 0; i < count; ++i) to[std::size_t(k) * count + i] = items[i].p[k];
    }
    for (unsigned int i = 0; i < count; ++i) keys_[first + i] = items[i].key;
}

/// Splits the items into cells down to buckets.
template <unsigned int D>
void bucket_tree<D>::split(item* items, const box& all, cell* cells) noexcept {
    struct task {
        unsigned int cell, begin, end, depth;
        box bounds; ///< not always tight
    };
    task waiting[DEEPEST];
    unsigned int waiting_count = 0;
    task now{0, 0, count_, 0, all};
    cell_count_ = 1;
    for (;;) {
        item* const mine = items + now.begin;
        const unsigned int count = now.end - now.begin;
        unsigned int axis = 0;
        unsigned int lows = 0;
        double low_end = 0, high_begin = 0;
        if (count > BUCKET && now.depth < DEEPEST_MIDDLE) {
            axis = now.bounds.widest_axis();
            lows = partition(mine, count, axis, middle_of(now.bounds.low[axis], now.bounds.high[axis]),
                             low_end, high_begin);
        }
        if (count > BUCKET && (lows == 0 || lows == count)) { // or too deep for the middle of the cell
            now.bounds = box::around(mine, count);
            axis = now.bounds.widest_axis();
            const double low = now.bounds.low[axis], high = now.bounds.high[axis];
            double at = middle_of(low, high);
            if (now.depth >= DEEPEST_MIDDLE) {
                item* const median = mine + count / 2;
                std::nth_element(mine, median, mine + count,
                                 [axis](const item& a, const item& b) { return a.p[axis] < b.p[axis]; });
                at = std::min(median->p[axis], std::nextafter(high, low));
            }
            lows = partition(mine, count, axis, at, low_end, high_begin);
        }
        if (lows == 0 || lows == count) { // few points, or all of them in one place
            put_bucket(mine, now.begin, count);
            cells[now.cell] = {0, 0, now.begin, count, 0};
            if (waiting_count == 0) return;
            now = waiting[--waiting_count];
            continue;
        }
        cells[now.cell] = {low_end, high_begin, cell_count_, 0, axis};
        task& high_side = waiting[waiting_count++];
        high_side = {cell_count_ + 1, now.begin + lows, now.end, now.depth + 1, now.bounds};
        high_side.bounds.low[axis] = high_begin;
        now = {cell_count_, now.begin, now.begin + lows, now.depth + 1, now.bounds};
        now.bounds.high[axis] = low_end;
        cell_count_ += 2;
    }
}

template <unsigned int D>
bool bucket_tree<D>::build(const located_node<D>* points, const unsigned int* ranks,
                           unsigned int count) noexcept {
    count_ = 0;
    if (count == 0) return false;
    scratch<item> items;
    scratch<cell> cells;
    if (!items.allocate(count) || !cells.allocate(2 * std::size_t(count)) ||
        !coordinates_.allocate(std::size_t(count) * D + BUCKET) || !keys_.allocate(count))
        return false;
    bool finite = true;
    for (unsigned int i = 0; i < count; ++i) {
        for (unsigned int k = 0; k < D; ++k) {
            items[i].p[k] = points[i].p[k];
            finite &= std::abs(points[i].p[k]) <= std::numeric_limits<double>::max();
        }
        items[i].key = std::uint64_t(ranks ? ranks[i] : i) << 32 | points[i].node;
    }
    if (!finite) return false;
    std::fill_n(coordinates_.data() + std::size_t(count) * D, BUCKET, 0.0);

    const box all = box::around(items.data(), count);
    std::copy_n(all.low, D, low_);
    std::copy_n(all.high, D, high_);
    count_ = count;
    split(items.data(), all, cells.data());
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

template <unsigned int D>
typename bucket_tree<D>::answer bucket_tree<D>::find_closest(const double* P,
                                                             unsigned int skipped) const noexcept {
    constexpr double SLACK = 0x1p-48;
    struct branch {
        double d2;
        double side[D];
        unsigned int cell;
    };
    branch waiting[DEEPEST];
    unsigned int waiting_count = 0;
    double position[D];
    double side[D];
    double largest = 0;
    for (unsigned int k = 0; k < D; ++k) {
        position[k] = P[k];
        side[k] = std::max({low_[k] - P[k], P[k] - high_[k], 0.0});
        largest = std::max(largest, std::abs(P[k]));
    }
    const double reach_slack = largest * SLACK;
    answer closest{};
    closest.d2 = std::numeric_limits<double>::infinity();
    double limit = closest.d2; // up to here a point contests the closest one
    unsigned int at = 0;
    for (;;) {
        const cell& here = cells_[at];
        if (here.count == 0) {
            const double x = position[here.axis];
            const double above = x - here.low_end;
            const double below = here.high_begin - x;
            const bool near_is_low = above < below;
            const double gap = near_is_low ? below : above;
            branch& far = waiting[waiting_count++];
            double d2 = 0;
            for (unsigned int k = 0; k < D; ++k) {
                far.side[k] = k == here.axis ? gap : side[k];
                d2 += far.side[k] * far.side[k];
            }
            far.d2 = d2;
            far.cell = here.first + near_is_low;
            at = here.first + !near_is_low;
            continue;
        }
        const double* x = coordinates_.data() + std::size_t(here.first) * D;
        for (unsigned int start = 0; start < here.count; start += BUCKET) {
            const unsigned int n = std::min(BUCKET, here.count - start);
            double d2[BUCKET];
            for (unsigned int i = 0; i < n; i += GROUP) {
                for (unsigned int j = i; j < i + GROUP; ++j) {
                    double sum = 0;
                    for (unsigned int k = 0; k < D; ++k) {
                        const double d = position[k] - x[k * here.count + start + j];
                        sum = k == 0 ? d * d : sum + d * d;
                    }
                    d2[j] = sum;
                }
            }
            for (unsigned int i = 0; i < n; ++i) {
                if (!(d2[i] <= limit)) continue;
                const auto node = static_cast<unsigned int>(keys_[here.first + start + i]);
                if (node == skipped) continue;
                if (!(d2[i] < closest.d2)) {
                    closest.contested = true;
                    continue;
                }
                const double reach = std::sqrt(d2[i]) * (1 + SLACK) + reach_slack;
                limit = reach * reach;
                closest.contested = closest.d2 <= limit;
                closest.d2 = d2[i];
                closest.node = node;
                closest.coincident = true;
                for (unsigned int k = 0; k < D; ++k)
                    closest.coincident &= x[std::size_t(k) * here.count + start + i] == position[k];
            }
        }
        do {
            if (waiting_count == 0) return closest;
            --waiting_count;
        } while (waiting[waiting_count].d2 > limit);
        at = waiting[waiting_count].cell;
        std::copy_n(waiting[waiting_count].side, D, side);
    }
}

template <unsigned int D>
bool bucket_tree<D>::find_in_box(const double* Pmin, const double* Pmax, std::uint64_t* found,
                                 unsigned int room, unsigned int& count) const noexcept {
    unsigned int waiting[DEEPEST];
    unsigned int waiting_count = 0;
    unsigned int at = 0;
    count = 0;
    for (;;) {
        const cell& here = cells_[at];
        if (here.count == 0) {
            const bool low = Pmin[here.axis] <= here.low_end;
            const bool high = Pmax[here.axis] >= here.high_begin;
            waiting[waiting_count] = here.first + 1;
            waiting_count += high;
            if (low) {
                at = here.first;
                continue;
            }
        } else {
            const double* x = coordinates_.data() + std::size_t(here.first) * D;
            for (unsigned int i = 0; i < here.count; ++i) {
                bool inside = true;
                for (unsigned int k = 0; k < D; ++k) {
                    const double p = x[k * here.count + i];
                    inside &= (Pmin[k] <= p) & (p <= Pmax[k]);
                }
                if (!inside) continue;
                if (count == room) return false;
                found[count++] = keys_[here.first + i];
            }
        }
        if (waiting_count == 0) break;
        at = waiting[--waiting_count];
    }
    std::sort(found, found + count);
    return true;
}

template class bucket_tree<2>;
template class bucket_tree<3>;

} // namespace qv7::plexo
