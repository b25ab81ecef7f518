#include "nearest_chain.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace qv7::plexo {

namespace {

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

bool nearest_chain::prepare(std::size_t members) noexcept {
    if (!chain_.allocate(members) || !passed_over_.allocate(members)) return false;
    if (members <= SMALL_CLUSTER) return true;
    // 2^(levels + 1) - 1 nodes are fewer than half the entries, see plant().
    return entries_.allocate(members) && nodes_.allocate(members / 2);
}

void nearest_chain::plant() noexcept {
    levels_ = static_cast<unsigned int>(std::bit_width((count_ - 1) / LEAF_SIZE));
    for (unsigned int i = 0; i < count_; ++i) entries_[i] = {members_[i].at, i};

    for (unsigned int level = 0; level < levels_; ++level) {
        for (std::size_t i = 0; i < std::size_t(1) << level; ++i) {
            leaf_entry* const begin = entries_.data() + leaf_begin(i, level);
            leaf_entry* const middle = entries_.data() + leaf_begin(2 * i + 1, level + 1);
            leaf_entry* const end = entries_.data() + leaf_begin(i + 1, level);
            point low{INF, INF, INF};
            point high{-INF, -INF, -INF};
            for (const leaf_entry* e = begin; e != end; ++e) include(low, high, e->at, e->at);
            const auto axis = widest_axis(low, high);
            std::nth_element(begin, middle, end, [axis](const leaf_entry& a, const leaf_entry& b) {
                return a.at.*axis < b.at.*axis;
            });
        }
    }

    for (std::size_t n = 2 * first_leaf() + 1; n-- > 0;) {
        tree_node& node = nodes_[n];
        node = {{INF, INF, INF}, {-INF, -INF, -INF}, {}};
        if (n < first_leaf()) {
            for (const tree_node* child : {&nodes_[2 * n + 1], &nodes_[2 * n + 2]}) {
                include(node.low, node.high, child->low, child->high);
                node.first.include(child->first);
            }
            continue;
        }
        const std::size_t leaf = n - first_leaf();
        for (std::size_t i = leaf_begin(leaf, levels_); i < leaf_begin(leaf + 1, levels_); ++i) {
            include(node.low, node.high, entries_[i].at, entries_[i].at);
            node.first.include(roles_of(entries_[i].member));
        }
    }
}

/// Takes the pair of two members as the first link when it is allowed and comes before. Where rounding lets
/// only the later one reach the other, the later one absorbs.
void nearest_chain::consider(unsigned int member, unsigned int other, double distance,
                             link& first) const noexcept {
    if (!(distance <= first.distance)) return;
    const unsigned int a = std::min(member, other);
    const unsigned int b = std::max(member, other);
    const link found = may_absorb(a, b)   ? link{distance, a, b}
                       : may_absorb(b, a) ? link{distance, b, a}
                                          : link{INF, NO_ID, NO_ID};
    if (found.before(first)) first = found;
}

void nearest_chain::search_leaf(unsigned int member, std::size_t leaf, link& first) noexcept {
    const point at = members_[member].at;
    first_members unmerged_here;
    for (std::size_t i = leaf_begin(leaf, levels_); i < leaf_begin(leaf + 1, levels_); ++i) {
        const leaf_entry& e = entries_[i];
        if (e.member == NO_ID) continue;
        if (!unmerged(e.member)) {
            entries_[i].member = NO_ID;
            continue;
        }
        unmerged_here.include(roles_of(e.member));
        if (e.member != member) consider(member, e.member, distance(at, e.at), first);
    }
    // Whoever was absorbed since the last visit leaves the tree.
    for (std::size_t n = first_leaf() + leaf; nodes_[n].first != unmerged_here;) {
        nodes_[n].first = unmerged_here;
        if (n == 0) break;
        n = (n - 1) / 2;
        unmerged_here = nodes_[2 * n + 1].first;
        unmerged_here.include(nodes_[2 * n + 2].first);
    }
}

void nearest_chain::search_tree(unsigned int member, link& first) noexcept {
    struct visit {
        link bound; ///< no link into the subtree comes before it
        std::size_t node;
    };
    visit stack[64]; // at most one sibling per level waits
    std::size_t depth = 0;
    const point at = members_[member].at;
    const bool absorbs = has_role(member, MAY_ABSORB);
    const bool is_absorbed = has_role(member, MAY_BE_ABSORBED);
    const auto visit_of = [&](std::size_t n) {
        const tree_node& node = nodes_[n];
        const unsigned int other =
            std::min(absorbs ? node.first.absorbed : NO_ID, is_absorbed ? node.first.absorber : NO_ID);
        const double d = other == NO_ID ? INF : distance_to_box(node.low, node.high, at);
        return visit{absorbs && member < other ? link{d, member, other} : link{d, other, 0}, n};
    };

    stack[depth++] = visit_of(0);
    while (depth > 0) {
        const visit v = stack[--depth];
        if (!v.bound.before(first)) continue;
        if (v.node >= first_leaf()) {
            search_leaf(member, v.node - first_leaf(), first);
            continue;
        }
        const visit left = visit_of(2 * v.node + 1);
        const visit right = visit_of(2 * v.node + 2);
        const bool left_first = left.bound.before(right.bound);
        stack[depth++] = left_first ? right : left;
        stack[depth++] = left_first ? left : right;
    }
}

/// The first of the member's links to unmerged members, given one that is known or a bound.
nearest_chain::link nearest_chain::first_link(unsigned int member, const link& known) noexcept {
    link first = known;
    if (!small()) {
        search_tree(member, first);
        return first;
    }
    for (unsigned int other = 0; other < count_; ++other) {
        if (other == member || !unmerged(other)) continue;
        consider(member, other, distance(members_[member].at, members_[other].at), first);
    }
    return first;
}

/// Follows first links from a member. They come earlier and earlier, so no member is met twice, until one
/// links back; that pair merges, and the chain goes on from what is left of it.
void nearest_chain::follow(unsigned int start) noexcept {
    const link none{tol_, NO_ID, NO_ID}; // every pair within tolerance comes before it
    std::size_t length = 0;
    chain_[length++] = {start, none};
    while (length > 0) {
        const chain_entry last = chain_[length - 1];
        const bool reached_by_unmerged = length > 1;
        const link first = first_link(last.member, reached_by_unmerged ? last.from : none);
        if (first.absorber == NO_ID) {
            --length;
            continue;
        }
        if (!(reached_by_unmerged && first == last.from)) {
            const unsigned int next = first.absorber == last.member ? first.absorbed : first.absorber;
            chain_[length++] = {next, first};
            continue;
        }
        survivor_[members_[first.absorbed].item] = members_[first.absorber].item;
        ++merged_;
        --length;
        if (first.absorbed != last.member) { // the one before it has gone, and with it how this one was met
            --length;
            passed_over_[passed_over_count_++] = last.member;
        }
    }
}

unsigned int nearest_chain::run(const cluster_member* members, unsigned int count) noexcept {
    members_ = members;
    count_ = count;
    merged_ = 0;
    if (!small()) plant();
    for (std::size_t i = 0; i < count_; ++i) {
        // In the order of the tree, so that one search finds warm what the one before has touched.
        const unsigned int start = small() ? static_cast<unsigned int>(i) : entries_[i].member;
        if (start == NO_ID || !unmerged(start) || !has_role(start, MAY_BE_ABSORBED)) continue;
        follow(start);
        while (passed_over_count_ > 0) {
            const unsigned int left = passed_over_[--passed_over_count_];
            if (unmerged(left)) follow(left);
        }
    }
    return merged_;
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
