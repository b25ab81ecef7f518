#include "nearest_chain.h"

#include <algorithm>
#include <bit>
#include <iterator>
#include <limits>

namespace qv7::plexo {

namespace {

// Leaves hold between half as many and this many entries.
constexpr std::size_t LEAF_SIZE = 8;
// Up to here looking at every member is cheaper than a tree.
constexpr std::size_t SMALL_CLUSTER = 32;
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

/// True when neither q reaches any point of the box nor the other way round; as in in_box(), rounding
/// included.
bool out_of_reach(const point& low, const point& high, const point& q, double tol) noexcept {
    const auto apart = [&](double point::*axis) {
        const double l = low.*axis, h = high.*axis, x = q.*axis;
        return (l > x + tol && x < l - tol) || (h < x - tol && x > h + tol);
    };
    return std::any_of(std::begin(AXES), std::end(AXES), apart);
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
    // 2^(levels + 1) - 1 tree nodes are fewer than half the entries, see plant().
    return chain_.allocate(members) && passed_over_.allocate(members) && entries_.allocate(members) &&
           nodes_.allocate(members / 2 + 1);
}

void nearest_chain::plant(const cluster_member* members) noexcept {
    levels_ =
        count_ <= SMALL_CLUSTER ? 0 : static_cast<unsigned int>(std::bit_width((count_ - 1) / LEAF_SIZE));
    for (unsigned int i = 0; i < count_; ++i) {
        entries_[i] = {members[i].at, i, roles_ ? roles_[members[i].item] : unsigned(MAY_DO_BOTH)};
    }
    sort_into_leaves();

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
        }
        node.first = first_of_leaf(leaf);
    }
}

void nearest_chain::sort_into_leaves() noexcept {
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
}

nearest_chain::first_members nearest_chain::first_of_leaf(std::size_t leaf) const noexcept {
    first_members first;
    for (std::size_t i = leaf_begin(leaf, levels_); i < leaf_begin(leaf + 1, levels_); ++i) {
        const leaf_entry& e = entries_[i];
        first.include({e.absorbs() ? e.member : NO_ID, e.is_absorbed() ? e.member : NO_ID});
    }
    return first;
}

/// Takes an absorbed member out of the tree.
void nearest_chain::remove(unsigned int slot) noexcept {
    entries_[slot].member = NO_ID;
    const std::size_t leaf = leaf_of(slot);
    first_members first = first_of_leaf(leaf);
    for (std::size_t n = first_leaf() + leaf; nodes_[n].first != first;) {
        nodes_[n].first = first;
        if (n == 0) break;
        n = (n - 1) / 2;
        first = nodes_[2 * n + 1].first;
        first.include(nodes_[2 * n + 2].first);
    }
}

/// Takes the pair (a, b), a the earlier member, as the first link when it is allowed and comes before; true
/// when it did. Where rounding lets only the later one reach the other, the later one absorbs.
bool nearest_chain::consider(const leaf_entry& a, const leaf_entry& b, link& first) const noexcept {
    const double d = distance(a.at, b.at);
    if (!(d <= first.distance)) return false;
    link found{INF, NO_ID, NO_ID};
    if (a.absorbs() && b.is_absorbed() && in_box(a.at, b.at, tol_)) {
        found = {d, a.member, b.member};
    } else if (b.absorbs() && a.is_absorbed() && in_box(b.at, a.at, tol_)) {
        found = {d, b.member, a.member};
    }
    if (!found.before(first)) return false;
    first = found;
    return true;
}

/// Looks for links that come before the first one known in a leaf; updates the slot of the other member.
void nearest_chain::search_leaf(std::size_t leaf, unsigned int slot, link& first,
                                unsigned int& other_slot) const noexcept {
    const leaf_entry& self = entries_[slot];
    for (std::size_t i = leaf_begin(leaf, levels_); i < leaf_begin(leaf + 1, levels_); ++i) {
        const leaf_entry& other = entries_[i];
        if (i == slot || other.member == NO_ID) continue;
        const bool comes_before =
            self.member < other.member ? consider(self, other, first) : consider(other, self, first);
        if (comes_before) other_slot = static_cast<unsigned int>(i);
    }
}

/// The same in the subtree of a node.
void nearest_chain::search_tree(std::size_t node, unsigned int slot, link& first,
                                unsigned int& other_slot) const noexcept {
    struct visit {
        link bound; ///< no link into the subtree comes before it
        std::size_t node;
    };
    visit stack[64]; // at most one sibling per level waits
    std::size_t depth = 0;
    const leaf_entry& self = entries_[slot];
    const auto visit_of = [&](std::size_t n) {
        const tree_node& t = nodes_[n];
        const unsigned int other = std::min(self.absorbs() ? t.first.absorbed : NO_ID,
                                            self.is_absorbed() ? t.first.absorber : NO_ID);
        double d = other == NO_ID ? INF : distance_to_box(t.low, t.high, self.at);
        // The squares of tiny differences vanish; then only the boxes tell nodes apart.
        if (d == 0 && out_of_reach(t.low, t.high, self.at, tol_)) d = INF;
        const bool absorbs = self.absorbs() && self.member < other;
        return visit{absorbs ? link{d, self.member, other} : link{d, other, 0}, n};
    };

    stack[depth++] = visit_of(node);
    while (depth > 0) {
        const visit v = stack[--depth];
        if (!v.bound.before(first)) continue;
        if (v.node >= first_leaf()) {
            search_leaf(v.node - first_leaf(), slot, first, other_slot);
            continue;
        }
        const visit left = visit_of(2 * v.node + 1);
        const visit right = visit_of(2 * v.node + 2);
        const bool left_first = left.bound.before(right.bound);
        stack[depth++] = left_first ? right : left;
        stack[depth++] = left_first ? left : right;
    }
}

/// Finds the first of a member's links to unmerged members, given one that is known or a bound. Returns the
/// slot of the other member of a link that is new, else NO_ID.
unsigned int nearest_chain::first_link(unsigned int slot, link& first) const noexcept {
    unsigned int other_slot = NO_ID;
    const point at = entries_[slot].at;
    std::size_t node = first_leaf() + leaf_of(slot);
    search_leaf(leaf_of(slot), slot, first, other_slot);
    // Upwards from the own leaf, until the subtree reaches further than the link to all sides.
    while (node != 0) {
        const point& low = nodes_[node].low;
        const point& high = nodes_[node].high;
        const double margin =
            std::min({at.x - low.x, high.x - at.x, at.y - low.y, high.y - at.y, at.z - low.z, high.z - at.z});
        if (std::sqrt(margin * margin) > first.distance) break;
        const std::size_t sibling = node % 2 == 1 ? node + 1 : node - 1;
        search_tree(sibling, slot, first, other_slot);
        node = (node - 1) / 2;
    }
    return other_slot;
}

unsigned int nearest_chain::run(const cluster_member* members, unsigned int count) noexcept {
    count_ = count;
    plant(members);

    const link none{tol_, NO_ID, NO_ID}; // every pair within tolerance comes before it
    unsigned int merged = 0;
    std::size_t length = 0;
    std::size_t passed_over = 0;
    // Starting in the order of the tree, so that one search finds warm what the one before has touched.
    for (unsigned int start = 0; start < count || passed_over > 0;) {
        const unsigned int slot = passed_over > 0 ? passed_over_[--passed_over] : start++;
        if (!unmerged(slot) || !entries_[slot].is_absorbed()) continue;

        // First links come earlier and earlier along the chain, so it meets no member twice, until one links
        // back; that pair merges, and the chain goes on from what is left of it.
        chain_[length++] = {slot, none};
        while (length > 0) {
            const chain_entry last = chain_[length - 1];
            link first = last.from;
            const unsigned int other = first_link(last.slot, first);
            if (other != NO_ID) {
                chain_[length++] = {other, first};
                continue;
            }
            --length;
            if (first.absorber == NO_ID) continue; // nothing is left within tolerance
            const bool last_is_absorbed = first.absorbed == entries_[last.slot].member;
            const unsigned int absorbed_slot = last_is_absorbed ? last.slot : chain_[length - 1].slot;
            survivor_[members[first.absorbed].item] = members[first.absorber].item;
            ++merged;
            remove(absorbed_slot);
            if (!last_is_absorbed) { // the one before it has gone, and with it how this one was met
                --length;
                passed_over_[passed_over++] = last.slot;
            }
        }
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
