#include "closest_first.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace qv7::plexo {

namespace {

// Up to here looking at every member of the group is cheaper than a tree.
constexpr std::size_t SMALL_GROUP = 48;
// Leaves hold between half as many and this many entries.
constexpr std::size_t LEAF_SIZE = 8;
constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double point::*AXES[3] = {&point::x, &point::y, &point::z};

/// A lower bound, also as computed in floating point, for the distance from q to any point of the box: every
/// operation of distance() is monotone.
double distance_to_box(const point& low, const point& high, const point& q) noexcept {
    const auto gap = [](double l, double h, double x) { return x < l ? l - x : x > h ? x - h : 0.0; };
    const double dx = gap(low.x, high.x, q.x);
    const double dy = gap(low.y, high.y, q.y);
    const double dz = gap(low.z, high.z, q.z);
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

bool finite(const point& p) noexcept {
    return std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z);
}

void include(point& low, point& high, const point& from, const point& to) noexcept {
    for (const auto axis : AXES) {
        low.*axis = std::min(low.*axis, from.*axis);
        high.*axis = std::max(high.*axis, to.*axis);
    }
}

double point::*widest_axis(const point& low, const point& high) noexcept {
    double point::*widest = &point::x;
    for (const auto axis : AXES) {
        if (high.*axis - low.*axis > high.*widest - low.*widest) widest = axis;
    }
    return widest;
}

} // namespace

bool closest_first::prepare(std::size_t members) noexcept {
    if (!events_.allocate(members)) return false;
    if (members <= SMALL_GROUP) return true;
    // A tree of 2^(levels + 1) - 1 nodes has fewer nodes than half its entries, see tree_of.
    return entries_.allocate(members) && nodes_.allocate(members / 2 + 1);
}

closest_first::tree closest_first::tree_of(unsigned int group) noexcept {
    const std::size_t start = group_starts_[group];
    const std::size_t size = group_starts_[group + 1] - start;
    const auto levels = static_cast<unsigned int>(std::bit_width((size - 1) / LEAF_SIZE));
    return {entries_.data() + start, nodes_.data() + start / 2, size, levels};
}

void closest_first::plant(const tree& t, unsigned int start) noexcept {
    for (unsigned int i = 0; i < t.size; ++i) t.entries[i] = {members_[start + i].at, start + i};

    for (unsigned int level = 0; level < t.levels; ++level) {
        for (std::size_t i = 0; i < std::size_t(1) << level; ++i) {
            leaf_entry* const begin = t.entries + t.begin_of(i, level);
            leaf_entry* const middle = t.entries + t.begin_of(2 * i + 1, level + 1);
            leaf_entry* const end = t.entries + t.begin_of(i + 1, level);
            point low{INF, INF, INF};
            point high{-INF, -INF, -INF};
            for (const leaf_entry* e = begin; e != end; ++e) include(low, high, e->at, e->at);
            const auto axis = widest_axis(low, high);
            std::nth_element(begin, middle, end, [axis](const leaf_entry& a, const leaf_entry& b) {
                return a.at.*axis < b.at.*axis;
            });
        }
    }

    const std::size_t first_leaf = (std::size_t(1) << t.levels) - 1;
    for (std::size_t n = 2 * first_leaf + 1; n-- > 0;) {
        tree_node& node = t.nodes[n];
        node = {{INF, INF, INF}, {-INF, -INF, -INF}, NO_ID};
        if (n < first_leaf) {
            for (const tree_node* child : {&t.nodes[2 * n + 1], &t.nodes[2 * n + 2]}) {
                include(node.low, node.high, child->low, child->high);
                node.first = std::min(node.first, child->first);
            }
            continue;
        }
        const std::size_t leaf = n - first_leaf;
        for (std::size_t i = t.begin_of(leaf, t.levels); i < t.begin_of(leaf + 1, t.levels); ++i) {
            // Nothing lies in the box around a node with an infinite coordinate.
            const leaf_entry& e = t.entries[i];
            if (!has_role(e.member, MAY_ABSORB) || !finite(e.at)) continue;
            include(node.low, node.high, e.at, e.at);
            node.first = std::min(node.first, e.member);
        }
    }
}

void closest_first::search_group(unsigned int start, unsigned int end, event& best) const noexcept {
    const point at = members_[best.absorbed].at;
    for (unsigned int p = start; p < end; ++p) {
        if (members_[p].node == members_[best.absorbed].node) continue;
        if (!has_role(p, MAY_ABSORB) || !unmerged(p) || !in_box(members_[p].at, at, tol_)) continue;
        const event found{distance(members_[p].at, at), p, best.absorbed};
        if (best.later_than(found)) best = found;
    }
}

void closest_first::search_leaf(const tree& t, std::size_t leaf, event& best) noexcept {
    const std::size_t first_leaf = (std::size_t(1) << t.levels) - 1;
    const point at = members_[best.absorbed].at;
    unsigned int first = NO_ID;
    for (std::size_t i = t.begin_of(leaf, t.levels); i < t.begin_of(leaf + 1, t.levels); ++i) {
        const leaf_entry& e = t.entries[i];
        if (!has_role(e.member, MAY_ABSORB) || !unmerged(e.member) || !finite(e.at)) continue;
        first = std::min(first, e.member);
        if (members_[e.member].node == members_[best.absorbed].node || !in_box(e.at, at, tol_)) continue;
        const event found{distance(e.at, at), e.member, best.absorbed};
        if (best.later_than(found)) best = found;
    }
    // Whoever was absorbed since the last visit leaves the tree.
    for (std::size_t n = first_leaf + leaf; t.nodes[n].first != first;) {
        t.nodes[n].first = first;
        if (n == 0) break;
        n = (n - 1) / 2;
        first = std::min(t.nodes[2 * n + 1].first, t.nodes[2 * n + 2].first);
    }
}

void closest_first::search_tree(const tree& t, event& best) noexcept {
    struct visit {
        double distance;
        std::size_t node;
    };
    visit stack[64]; // at most one sibling per level waits
    std::size_t depth = 0;
    const std::size_t first_leaf = (std::size_t(1) << t.levels) - 1;
    const point at = members_[best.absorbed].at;
    const auto visit_of = [&](std::size_t n) {
        return visit{distance_to_box(t.nodes[n].low, t.nodes[n].high, at), n};
    };
    const auto key_of = [&](const visit& v) { return event{v.distance, t.nodes[v.node].first, 0}; };

    stack[depth++] = visit_of(0);
    while (depth > 0) {
        const visit v = stack[--depth];
        if (t.nodes[v.node].first == NO_ID || !best.later_than(key_of(v))) continue;
        if (v.node >= first_leaf) {
            search_leaf(t, v.node - first_leaf, best);
            continue;
        }
        const visit left = visit_of(2 * v.node + 1);
        const visit right = visit_of(2 * v.node + 2);
        const bool left_first = key_of(right).later_than(key_of(left));
        stack[depth++] = left_first ? right : left;
        stack[depth++] = left_first ? left : right;
    }
}

/// The best absorber of a member among the unmerged ones of its group; NO_ID for none.
closest_first::event closest_first::best_event(unsigned int absorbed) noexcept {
    const unsigned int group = members_[absorbed].group;
    const unsigned int start = group_starts_[group];
    const unsigned int end = group_starts_[group + 1];
    event best{tol_, NO_ID, absorbed}; // every pair within tolerance is earlier
    if (end - start <= SMALL_GROUP) {
        search_group(start, end, best);
    } else {
        search_tree(tree_of(group), best);
    }
    return best;
}

unsigned int closest_first::run(const group_member* members, const unsigned int* group_starts,
                                unsigned int groups) noexcept {
    members_ = members;
    group_starts_ = group_starts;
    for (unsigned int g = 0; g < groups; ++g) {
        if (group_starts[g + 1] - group_starts[g] > SMALL_GROUP) plant(tree_of(g), group_starts[g]);
    }

    std::size_t waiting = 0;
    for (unsigned int q = 0; q < group_starts[groups]; ++q) {
        if (!has_role(q, MAY_BE_ABSORBED) || !unmerged(q)) continue;
        const event e = best_event(q);
        if (e.absorber != NO_ID) events_[waiting++] = e;
    }
    const auto later = [](const event& a, const event& b) { return a.later_than(b); };
    std::make_heap(events_.data(), events_.data() + waiting, later);

    unsigned int merged = 0;
    while (waiting > 0) {
        std::pop_heap(events_.data(), events_.data() + waiting, later);
        const event e = events_[--waiting];
        if (!unmerged(e.absorbed)) continue;
        if (unmerged(e.absorber)) {
            survivor_[members[e.absorbed].node] = members[e.absorber].node;
            ++merged;
            continue;
        }
        const event next = best_event(e.absorbed);
        if (next.absorber == NO_ID) continue;
        events_[waiting++] = next;
        std::push_heap(events_.data(), events_.data() + waiting, later);
    }
    return merged;
}

void resolve_chains(unsigned int* survivor, const unsigned int* nodes, std::size_t n) noexcept {
    for (std::size_t i = 0; i < n; ++i) {
        unsigned int last = nodes[i];
        while (survivor[last] != last) last = survivor[last];
        for (unsigned int v = nodes[i]; v != last;) {
            const unsigned int next = survivor[v];
            survivor[v] = last;
            v = next;
        }
    }
}

} // namespace qv7::plexo
