#include "merge_items.h"

#include "leader_clusters.h"
#include "leader_grid.h"
#include "leader_table.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace qv7::plexo {

namespace {

constexpr int OUT_OF_MEMORY = -199;

// Items are taken in blocks: the table is prefetched for the whole block before it is searched.
constexpr unsigned int BLOCK = 32;

bool not_a_number(const point& p) noexcept {
    return std::isnan(p.x) || std::isnan(p.y) || std::isnan(p.z);
}

/// Listed nodes may lie anywhere; those of a block are asked for while the one before is worked on.
void prefetch_positions(const merge_input& input, unsigned int begin) noexcept {
    if (!input.nodes || begin >= input.count) return;
    const unsigned int end = begin + std::min(BLOCK, input.count - begin);
    for (unsigned int i = begin; i < end; ++i) {
        const double* column = input.positions.data + input.nodes[i] * input.positions.ld;
        __builtin_prefetch(column);
        __builtin_prefetch(column + 2);
    }
}

// --- tolerance 0: nodes with equal coordinates ---

std::uint64_t hash_of_coordinates(const point& p) noexcept {
    // Adding zero turns -0.0 into 0.0. The high halves are folded in because round numbers have all their
    // bits there.
    const auto bits = [](double x) {
        const auto b = std::bit_cast<std::uint64_t>(x + 0.0);
        return b ^ (b >> 32);
    };
    return mixed_bits(bits(p.x), bits(p.y), bits(p.z));
}

/// Each class of equal nodes ends in its first node that only absorbs, which nothing can absorb, or else in
/// its first node, provided that one may absorb. The first node absorbs all the others that may be; the first
/// that only absorbs then takes the first node too.
class coincidence {
public:
    coincidence(const merge_input& input, unsigned int* survivor) noexcept
        : input_(input), survivor_(survivor) {}

    int run() noexcept {
        if (!table_.prepare(input_.count)) return OUT_OF_MEMORY;
        point at[BLOCK];
        std::uint64_t hash[BLOCK];
        for (unsigned int begin = 0; begin < input_.count; begin += BLOCK) {
            const unsigned int n = std::min(BLOCK, input_.count - begin);
            prefetch_positions(input_, begin + BLOCK);
            for (unsigned int i = 0; i < n; ++i) {
                at[i] = input_.at(begin + i);
                hash[i] = hash_of_coordinates(at[i]);
                table_.prefetch_slot(hash[i]);
            }
            for (unsigned int i = 0; i < n; ++i) table_.prefetch_leader(hash[i]);
            for (unsigned int i = 0; i < n; ++i) {
                survivor_[begin + i] = begin + i;
                if (finite(at[i]) && !place(begin + i, at[i], hash[i])) return OUT_OF_MEMORY;
            }
        }
        if (input_.roles) {
            for (unsigned int i = 0; i < input_.count; ++i) survivor_[i] = survivor_[survivor_[i]];
        }
        return static_cast<int>(merged_);
    }

private:
    bool place(unsigned int item, const point& at, std::uint64_t hash) noexcept {
        const auto joins = [&](unsigned int l) {
            const point& p = table_[l].at;
            if (p.x != at.x || p.y != at.y || p.z != at.z) return false;
            join(table_[l].item, item);
            return true;
        };
        if (table_.any(hash, joins)) return true;
        if (table_.full() && !table_.rehash(hash_of_coordinates)) return false;
        table_.add(at, item, hash);
        return true;
    }

    void join(unsigned int& anchor, unsigned int item) noexcept {
        if (input_.has_role(item, MAY_BE_ABSORBED)) {
            if (input_.has_role(anchor, MAY_ABSORB)) absorb(anchor, item);
        } else if (input_.has_role(anchor, MAY_BE_ABSORBED)) {
            absorb(item, anchor);
            anchor = item;
        }
    }

    void absorb(unsigned int absorber, unsigned int absorbed) noexcept {
        survivor_[absorbed] = absorber;
        ++merged_;
    }

    const merge_input& input_;
    unsigned int* survivor_;
    leader_table table_;
    unsigned int merged_ = 0;
};

// --- positive tolerance ---

/// Groups the items around leaders (the leader algorithm, Hartigan 1975): an item that a leader reaches joins
/// it, any other becomes a leader. Leaders further apart than three tolerances have no close nodes in their
/// groups, so such a group is on its own: its leader comes first and reaches all members, hence it is never
/// absorbed and in the end has absorbed every one of them, whatever the distances among them. Only the groups
/// that lie near one another, joined into clusters, need their pairs one by one.
class near_merge {
public:
    near_merge(const merge_input& input, unsigned int* survivor) noexcept
        : input_(input), survivor_(survivor), leaders_(input.tol) {}

    int run() noexcept {
        if (!leaders_.prepare(input_.count) || !clusters_.prepare(input_.count)) return OUT_OF_MEMORY;
        tangled_items tangled;
        if (!group() || !gather_tangled(tangled)) return OUT_OF_MEMORY;
        settle_lone_groups();
        return settle_tangled(tangled) ? static_cast<int>(merged_) : OUT_OF_MEMORY;
    }

private:
    /// The items of tangled clusters, cluster by cluster and in their order.
    struct tangled_items {
        scratch<unsigned int> items;
        scratch<unsigned int> starts; ///< of the cluster with root l: items starts[l] … starts[l + 1] - 1
        unsigned int largest_cluster = 0;
    };

    /// Sets survivor[i] to the item that leads item i.
    bool group() noexcept {
        point at[BLOCK];
        point s[BLOCK];
        std::uint64_t home[BLOCK];
        for (unsigned int begin = 0; begin < input_.count;) {
            const unsigned int n = std::min(BLOCK, input_.count - begin);
            prefetch_positions(input_, begin + BLOCK);
            double largest = 0;
            for (unsigned int i = 0; i < n; ++i) {
                at[i] = input_.at(begin + i);
                s[i] = finite(at[i]) ? leaders_.scaled(at[i]) : point{0, 0, 0};
                largest = std::max({largest, std::fabs(s[i].x), std::fabs(s[i].y), std::fabs(s[i].z)});
            }
            if (!leader_grid::covers(largest)) {
                if (!leaders_.widen_cells(largest_coordinate(at, n))) return false;
                continue;
            }
            for (unsigned int i = 0; i < n; ++i) {
                home[i] = leader_grid::hash_of_home(s[i]);
                leaders_.prefetch_slot(home[i]);
            }
            for (unsigned int i = 0; i < n; ++i) leaders_.prefetch_leader(home[i]);
            for (unsigned int i = 0; i < n; ++i) {
                survivor_[begin + i] = begin + i;
                if (may_be_close(begin + i, at[i]) && !place(begin + i, at[i], s[i], home[i])) return false;
            }
            begin += n;
            leaders_.count_searches(n);
            if (leaders_.wants_narrower_cells()) {
                if (!leaders_.narrow_cells()) return false;
            } else if (leaders_.is_crowded()) {
                form_one_cluster(begin);
                return true;
            }
        }
        return true;
    }

    /// NaN is close to nothing. Infinities lie in an infinite box, but their own box holds nothing.
    bool may_be_close(unsigned int item, const point& p) const noexcept {
        if (finite(p)) return true;
        return input_.tol == std::numeric_limits<double>::infinity() && !not_a_number(p) &&
               input_.has_role(item, MAY_BE_ABSORBED);
    }

    static double largest_coordinate(const point* at, unsigned int n) noexcept {
        double largest = 0;
        for (unsigned int i = 0; i < n; ++i) {
            if (finite(at[i])) {
                largest = std::max({largest, std::fabs(at[i].x), std::fabs(at[i].y), std::fabs(at[i].z)});
            }
        }
        return largest;
    }

    /// Puts what has been grouped and all items from `begin` into one cluster.
    void form_one_cluster(unsigned int begin) noexcept {
        clusters_.tangle(0);
        for (unsigned int l = 1; l < leaders_.size(); ++l) clusters_.unite(0, l);
        const unsigned int first = leaders_[0].item;
        for (unsigned int i = begin; i < input_.count; ++i) {
            survivor_[i] = may_be_close(i, input_.at(i)) ? first : i;
            merged_ += survivor_[i] != i;
        }
    }

    bool place(unsigned int item, const point& at, const point& s, std::uint64_t home) noexcept {
        unsigned int joined = NO_ID;
        const auto joins = [&](unsigned int l) {
            if (!reaches(leaders_[l].at, at, input_.tol)) return false;
            joined = l;
            return true;
        };
        leader_grid::cell_range around{};
        bool has_neighbors = false;
        const auto joins_or_meets = [&](unsigned int l) {
            has_neighbors = has_neighbors || leaders_.near(leaders_[l].at, at);
            return joins(l);
        };
        const auto any_around = [&] {
            around = leaders_.cells_around(s);
            return leaders_.any(around, joins_or_meets);
        };
        if (leaders_.any(home, joins) || any_around()) {
            // Nothing is known of the order in which two nodes that cannot be absorbed take the others.
            if (!input_.has_role(item, MAY_BE_ABSORBED)) clusters_.tangle(joined);
            survivor_[item] = leaders_[joined].item;
            ++merged_;
            return true;
        }

        if (!leaders_.make_room()) return false;
        const unsigned int new_leader = leaders_.size();
        clusters_.add(new_leader);
        if (has_neighbors) {
            const bool absorbs = input_.has_role(item, MAY_ABSORB);
            leaders_.any(around, [&](unsigned int l) {
                // Groups without absorbers do not meet.
                const bool meets = absorbs || input_.has_role(leaders_[l].item, MAY_ABSORB);
                if (meets && leaders_.near(leaders_[l].at, at)) clusters_.unite(l, new_leader);
                return false;
            });
        }
        leaders_.add(at, item, home);
        return true;
    }

    /// Lists the items of tangled clusters and takes them out of their groups.
    bool gather_tangled(tangled_items& tangled) noexcept {
        if (!clusters_.any_tangled()) return true;
        if (!tangled.starts.allocate_filled(std::size_t(leaders_.size()) + 2, 0x00)) return false;
        unsigned int* const starts = tangled.starts.data();
        scratch<unsigned int> leader_of;
        if (!leader_of.allocate_filled(input_.count, 0xFF)) return false;
        for (unsigned int l = 0; l < leaders_.size(); ++l) leader_of[leaders_[l].item] = l;
        const auto cluster_of = [&](unsigned int item) {
            const unsigned int l = leader_of[survivor_[item]];
            if (l == NO_ID) return NO_ID;
            const unsigned int root = clusters_.root_of(l);
            return clusters_.is_tangled(root) ? root : NO_ID;
        };
        for (unsigned int i = 0; i < input_.count; ++i) {
            const unsigned int cluster = cluster_of(i);
            if (cluster != NO_ID) ++starts[cluster + 2];
        }
        for (unsigned int c = 2; c <= leaders_.size() + 1; ++c) {
            tangled.largest_cluster = std::max(tangled.largest_cluster, starts[c]);
            starts[c] += starts[c - 1];
        }
        if (!tangled.items.allocate(starts[leaders_.size() + 1])) return false;
        for (unsigned int i = 0; i < input_.count; ++i) {
            const unsigned int cluster = cluster_of(i);
            if (cluster == NO_ID) continue;
            tangled.items[starts[cluster + 1]++] = i;
        }
        for (std::size_t k = 0; k < tangled.items.size(); ++k) {
            const unsigned int i = tangled.items[k];
            merged_ -= survivor_[i] != i;
            survivor_[i] = i;
        }
        return true;
    }

    /// Nothing is absorbed by a leader that may not absorb; the other leaders have done all they can.
    void settle_lone_groups() noexcept {
        if (!input_.roles) return;
        for (unsigned int i = 0; i < input_.count; ++i) {
            if (survivor_[i] == i || input_.has_role(survivor_[i], MAY_ABSORB)) continue;
            survivor_[i] = i;
            --merged_;
        }
    }

    bool settle_tangled(const tangled_items& tangled) noexcept {
        if (!clusters_.any_tangled()) return true;
        nearest_chain pairs(input_.tol, survivor_, input_.roles);
        scratch<cluster_member> members;
        if (!pairs.prepare(tangled.largest_cluster) || !members.allocate(tangled.largest_cluster))
            return false;
        for (unsigned int c = 0; c < leaders_.size(); ++c) {
            const unsigned int* items = tangled.items.data() + tangled.starts[c];
            const unsigned int count = tangled.starts[c + 1] - tangled.starts[c];
            for (unsigned int i = 0; i < count; ++i) members[i] = {input_.at(items[i]), items[i]};
            if (count > 0) merged_ += pairs.run(members.data(), count);
        }
        resolve_chains(survivor_, tangled.items.data(), tangled.items.size());
        return true;
    }

    const merge_input& input_;
    unsigned int* survivor_;
    leader_grid leaders_;
    leader_clusters clusters_;
    unsigned int merged_ = 0;
};

} // namespace

int merge_items(const merge_input& input, unsigned int* survivor) noexcept {
    if (std::isnan(input.tol)) { // no distance is within it
        std::iota(survivor, survivor + input.count, 0u);
        return 0;
    }
    return input.tol == 0 ? coincidence(input, survivor).run() : near_merge(input, survivor).run();
}

} // namespace qv7::plexo
