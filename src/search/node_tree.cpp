#include "node_tree.h"

#include "insertion_order.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

namespace qv7::plexo {

namespace {

constexpr unsigned int FEWEST_FOR_BUCKETS = 32;
// Larger boxes are answered by walking the entries, which stand in the order wanted.
constexpr unsigned int MOST_FOR_BUCKETS = 512;

template <unsigned int D>
unsigned int next_axis(unsigned int axis) {
    return axis + 1 == D ? 0 : axis + 1;
}

template <unsigned int D>
unsigned int previous_axis(unsigned int axis) {
    return axis == 0 ? D - 1 : axis - 1;
}

template <unsigned int D>
double squared_distance(const double* P, const double* p) {
    double sum = (P[0] - p[0]) * (P[0] - p[0]);
    for (unsigned int k = 1; k < D; ++k) sum += (P[k] - p[k]) * (P[k] - p[k]);
    return sum;
}

/// True when no comparison with another coordinate tells the two points apart.
template <unsigned int D>
bool same_place(const double* a, const double* b) {
    for (unsigned int k = 0; k < D; ++k) {
        if (a[k] != b[k] && !(std::isnan(a[k]) && std::isnan(b[k]))) return false;
    }
    return true;
}

/// True when p lies in the closed cube of half width r around P, as rounded.
template <unsigned int D>
bool in_cube(const double* P, double r, const double* p) {
    for (unsigned int k = 0; k < D; ++k) {
        if (!(P[k] - r <= p[k]) || !(P[k] + r >= p[k])) return false;
    }
    return true;
}

template <unsigned int D>
bool is_finite(const double* P) {
    bool finite = true;
    for (unsigned int k = 0; k < D; ++k) finite &= std::abs(P[k]) <= std::numeric_limits<double>::max();
    return finite;
}

template <unsigned int D>
bool in_box(const double* Pmin, const double* Pmax, const double* p) {
    for (unsigned int k = 0; k < D; ++k) {
        if (!(Pmin[k] <= p[k]) || !(p[k] <= Pmax[k])) return false;
    }
    return true;
}

} // namespace

/// Points on their way down that have met the same entries so far.
template <unsigned int D>
struct node_tree<D>::branch {
    unsigned int begin, end; ///< in the array of entries
    unsigned int entry;      ///< the entry they meet; NO_ID: the first of them becomes it
    unsigned int parent;     ///< the entry above, NO_ID at the root
    bool high;               ///< on the high side of it
    unsigned int axis;
    unsigned int alike; ///< so many entries from `parent` upwards stand at one place, at which all of the
    unsigned int sides; ///< points went to the high side of axis k when bit k is set, to the low side else
};

template <unsigned int D>
bool node_tree<D>::reserve(unsigned int capacity) noexcept {
    if (capacity <= points_.size()) return true;
    scratch<point> points;
    scratch<links> all_links;
    if (!points.allocate(capacity) || !all_links.allocate(capacity)) return false;
    std::copy_n(points_.data(), size_, points.data());
    std::copy_n(links_.data(), size_, all_links.data());
    points_.swap(points);
    links_.swap(all_links);
    return true;
}

template <unsigned int D>
bool node_tree<D>::copy(const node_tree& source) noexcept {
    if (!reserve(source.size_)) return false;
    std::copy_n(source.points_.data(), source.size_, points_.data());
    std::copy_n(source.links_.data(), source.size_, links_.data());
    pos_ = source.pos_;
    size_ = source.size_;
    in_buckets_ = source.in_buckets_;
    return buckets_.copy(source.buckets_);
}

template <unsigned int D>
bool node_tree<D>::insert(const dense1D<unsigned int, 16>& nodes, unsigned int& added) noexcept {
    added = 0;
    scratch<unsigned int> order;
    if (!shuffled_nodes(nodes, pos_->cols(), order)) return false;
    const auto count = static_cast<unsigned int>(order.size());
    if (count == 0) return true;

    const std::uint64_t new_size = std::uint64_t(size_) + count;
    const std::uint64_t roomy = size_ == 0 ? count : std::max(new_size, std::uint64_t(size_) + size_ / 2);
    scratch<point> working;
    if (new_size >= NO_ID || !working.allocate(count)) return false;
    if (new_size > points_.size() &&
        !reserve(static_cast<unsigned int>(std::min<std::uint64_t>(roomy, NO_ID))))
        return false;

    const double* const p = pos_->data();
    const std::size_t ld = pos_->ld();
    point* const fresh = points_.data() + size_;
    for (unsigned int i = 0; i < count; ++i) {
        constexpr unsigned int AHEAD = 24;
        if (i + AHEAD < count) __builtin_prefetch(p + order[i + AHEAD] * ld);
        std::copy_n(p + order[i] * ld, D, fresh[i].p);
        fresh[i].node = order[i];
    }
    sort_in(size_, static_cast<unsigned int>(new_size), working.data());
    size_ = static_cast<unsigned int>(new_size);
    added = count;
    fill_buckets(size_ == count, working);
    return true;
}

/// Puts all entries into buckets again once enough of them are missing there that the work is paid for by the
/// insertions since the last time. Without buckets, queries walk the entries.
template <unsigned int D>
void node_tree<D>::fill_buckets(bool in_preorder, scratch<point>& working) noexcept {
    buckets_.clear();
    if (size_ < FEWEST_FOR_BUCKETS || size_ - in_buckets_ < in_buckets_ / 4) return;
    if (working.size() < size_ && !working.allocate(size_)) return;
    std::copy_n(points_.data(), size_, working.data());
    unsigned int rank = 0;
    if (in_preorder) {
        for (; rank < size_; ++rank) working[rank].rank = rank;
    } else {
        walk_in_preorder([](unsigned int, unsigned int) { return true; },
                         [](unsigned int, unsigned int) { return true; },
                         [&](unsigned int entry, unsigned int) {
                             working[entry].rank = rank++;
                             return true;
                         });
    }
    buckets_.build(working.data(), size_);
    in_buckets_ = size_;
}

/// Moves the points of [begin, end) that go to the high side of an entry behind those that go to the low
/// side, either in their order; returns where the high ones begin.
template <unsigned int D>
unsigned int node_tree<D>::partition(unsigned int entry, unsigned int axis, unsigned int begin,
                                     unsigned int end, point* high_points) noexcept {
    point* const points = points_.data();
    const double split = points[entry].p[axis];
    unsigned int low = begin;
    unsigned int high = 0;
    for (unsigned int i = begin; i < end; ++i) {
        const point here = points[i];
        const bool goes_high = split <= here.p[axis];
        points[low] = here; // written to both sides, because a branch would be mispredicted every other time
        high_points[high] = here;
        low += !goes_high;
        high += goes_high;
    }
    std::copy_n(high_points, high, points + low);
    return low;
}

/// Sorts the points [begin, end) behind the present entries into the tree, as inserting them one after the
/// other would: all of them go down together, and where they find no entry, the first one becomes it.
template <unsigned int D>
void node_tree<D>::sort_in(unsigned int begin, unsigned int end, point* high_points) noexcept {
    // The smaller side is followed first, so as many branches wait as the count can be halved.
    branch waiting[std::numeric_limits<unsigned int>::digits];
    unsigned int depth = 0;
    branch now{begin, end, size_ == 0 ? NO_ID : 0, NO_ID, false, 0, 0, 0};
    for (;;) {
        unsigned int entry = now.entry;
        if (entry == NO_ID) {
            entry = now.begin++;
            links_[entry] = {NO_ID, NO_ID, now.parent};
            if (now.parent != NO_ID) (now.high ? links_[now.parent].high : links_[now.parent].low) = entry;
        }
        // An entry at the place of the D entries above it sends all points the way that those did. So a chain
        // of coincident nodes takes one step each, not a look at all that follow.
        const bool repeats = now.parent != NO_ID && same_place<D>(points_[entry].p, points_[now.parent].p);
        const unsigned int alike = repeats ? now.alike : 0;
        const unsigned int side = 1u << now.axis;
        unsigned int middle = (now.sides & side) != 0 ? now.begin : now.end;
        if (alike < D) middle = partition(entry, now.axis, now.begin, now.end, high_points);

        const unsigned int axis = next_axis<D>(now.axis);
        const branch low{now.begin, middle, links_[entry].low,      entry,
                         false,     axis,   std::min(alike + 1, D), now.sides & ~side};
        const branch high{middle, now.end, links_[entry].high,     entry,
                          true,   axis,    std::min(alike + 1, D), now.sides | side};
        const bool low_is_smaller = middle - now.begin < now.end - middle;
        const branch& smaller = low_is_smaller ? low : high;
        const branch& larger = low_is_smaller ? high : low;
        if (smaller.begin != smaller.end) {
            waiting[depth++] = larger;
            now = smaller;
        } else if (larger.begin != larger.end) {
            now = larger;
        } else if (depth != 0) {
            now = waiting[--depth];
        } else {
            return;
        }
    }
}

template <unsigned int D>
unsigned int node_tree<D>::find_closest_by_entries(const double* P, unsigned int skipped) const noexcept {
    if (size_ == 0) return NO_ID;
    double d2 = std::numeric_limits<double>::max();
    unsigned int best = NO_ID;
    unsigned int axis = 0;
    for (unsigned int entry = 0; entry != NO_ID; axis = next_axis<D>(axis)) {
        const point& here = points_[entry];
        const double here_d2 = squared_distance<D>(P, here.p);
        if (here_d2 < d2 && here.node != skipped) {
            d2 = here_d2;
            best = here.node;
        }
        entry = here.p[axis] <= P[axis] ? links_[entry].high : links_[entry].low;
    }
    const double r = std::sqrt(d2);
    return r > 0 ? search(P, skipped, best, r) : best;
}

/// Looks for an entry closer than r to P in pre-order with the high side first; `best` when there is none.
/// The way back up goes by the parents, so no tree is too deep.
template <unsigned int D>
unsigned int node_tree<D>::search(const double* P, unsigned int skipped, unsigned int best,
                                  double r) const noexcept {
    unsigned int entry = 0;
    unsigned int axis = 0;
    for (;;) {
        const point& here = points_[entry];
        if (here.node != skipped && in_cube<D>(P, r, here.p)) {
            const double d = std::sqrt(squared_distance<D>(P, here.p));
            if (d < r) {
                r = d;
                best = here.node;
            }
        }
        unsigned int next = P[axis] + r > here.p[axis] ? links_[entry].high : NO_ID;
        if (next == NO_ID && P[axis] - r < here.p[axis]) next = links_[entry].low;
        while (next == NO_ID) {
            if (entry == 0) return best;
            const unsigned int child = entry;
            entry = links_[child].parent;
            axis = previous_axis<D>(axis);
            const bool was_high = child == links_[entry].high;
            if (was_high && P[axis] - r < points_[entry].p[axis]) next = links_[entry].low;
        }
        entry = next;
        axis = next_axis<D>(axis);
    }
}

/// Visits an entry, its low side and its high side, as far as wanted, until visit(entry, axis) is false. The
/// way back up goes by the parents.
template <unsigned int D>
template <typename WantLow, typename WantHigh, typename Visit>
void node_tree<D>::walk_in_preorder(WantLow want_low, WantHigh want_high, Visit visit) const noexcept {
    unsigned int entry = size_ == 0 ? NO_ID : 0;
    for (unsigned int axis = 0; entry != NO_ID; axis = next_axis<D>(axis)) {
        if (!visit(entry, axis)) return;
        unsigned int next = want_low(entry, axis) ? links_[entry].low : NO_ID;
        if (next == NO_ID && want_high(entry, axis)) next = links_[entry].high;
        while (next == NO_ID && entry != 0) {
            const unsigned int child = entry;
            entry = links_[child].parent;
            axis = previous_axis<D>(axis);
            const bool was_low = child == links_[entry].low;
            if (was_low && want_high(entry, axis)) next = links_[entry].high;
        }
        entry = next;
    }
}

template <unsigned int D>
void node_tree<D>::find_in_box_by_entries(const double* Pmin, const double* Pmax,
                                          dense1D<unsigned int, 16>& nodes) const noexcept {
    const unsigned int old_count = nodes.size();
    const auto want_low = [=, this](unsigned int entry, unsigned int axis) {
        return Pmin[axis] <= points_[entry].p[axis];
    };
    const auto want_high = [=, this](unsigned int entry, unsigned int axis) {
        return !(Pmax[axis] < points_[entry].p[axis]);
    };
    walk_in_preorder(want_low, want_high, [&](unsigned int entry, unsigned int) {
        const point& here = points_[entry];
        if (!in_box<D>(Pmin, Pmax, here.p) || nodes.push_back(here.node)) return true;
        nodes.resize(old_count);
        return false;
    });
}

template <unsigned int D>
unsigned int node_tree<D>::find_closest(const double* P, unsigned int skipped) const noexcept {
    if (!buckets_.empty() && is_finite<D>(P)) {
        const auto closest = buckets_.find_closest(P, skipped);
        // Squares neither overflow nor lose digits in between.
        const bool is_exact = closest.coincident || (closest.d2 > 1e-280 && closest.d2 < 1e280);
        if (is_exact && !closest.contested) return closest.node;
    }
    return find_closest_by_entries(P, skipped);
}

template <unsigned int D>
void node_tree<D>::find_in_box(const double* Pmin, const double* Pmax,
                               dense1D<unsigned int, 16>& nodes) const noexcept {
    std::uint64_t found[MOST_FOR_BUCKETS];
    unsigned int count = 0;
    if (buckets_.empty() || !buckets_.find_in_box(Pmin, Pmax, found, MOST_FOR_BUCKETS, count)) {
        find_in_box_by_entries(Pmin, Pmax, nodes);
        return;
    }
    const unsigned int old_count = nodes.size();
    if (count > NO_ID - old_count || !nodes.resize(old_count + count)) return;
    unsigned int* const out = nodes.data() + old_count;
    for (unsigned int i = 0; i < count; ++i) out[i] = static_cast<unsigned int>(found[i]);
}

template class node_tree<2>;
template class node_tree<3>;

} // namespace qv7::plexo
