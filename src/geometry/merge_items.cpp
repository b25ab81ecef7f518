#include "merge_items.h"

#include "leader_table.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace qv7::plexo {

namespace {

constexpr int OUT_OF_MEMORY = -199;

// Items are taken in blocks: the table is prefetched for the whole block before it is searched.
constexpr unsigned int BLOCK = 32;

std::uint64_t mix(std::uint64_t h) noexcept {
    h ^= h >> 32;
    h *= 0xD6E8FEB86659FD93u;
    return h ^ (h >> 32);
}

std::uint64_t mix(std::uint64_t x, std::uint64_t y, std::uint64_t z) noexcept {
    return mix(x * 0x9E3779B97F4A7C15u + y * 0xC2B2AE3D27D4EB4Fu + z * 0x165667B19E3779F9u);
}

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
    return mix(bits(p.x), bits(p.y), bits(p.z));
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
///
/// Leaders do not reach one another, so however the nodes crowd only a bounded number of leaders lies within
/// any few tolerances; they are found in a hashed grid.
class near_merge {
public:
    near_merge(const merge_input& input, unsigned int* survivor) noexcept
        : input_(input), survivor_(survivor) {}

    int run() noexcept {
        if (!table_.prepare(input_.count) || !cluster_.allocate(input_.count) ||
            !tangled_.allocate(input_.count)) {
            return OUT_OF_MEMORY;
        }
        set_cell_width(WIDEST_CELL * input_.tol);
        if (!group() || !gather_clusters()) return OUT_OF_MEMORY;
        settle_lone_groups();
        return settle_clusters() ? static_cast<int>(merged_) : OUT_OF_MEMORY;
    }

private:
    // Cell widths in tolerances. Wide cells make nearly all searches a look into one cell; where leaders are
    // dense that means many comparisons, and the cells are narrowed.
    static constexpr double WIDEST_CELL = 256;
    static constexpr double NARROWEST_CELL = 4;
    // The absolute limit: the inverse must be finite.
    static constexpr double FINEST_CELL = 1e-300;
    static constexpr std::uint64_t LOOKS_WORTH_NARROWING = 4;
    // So many mean that the leaders are dense enough to be almost all of one cluster, or too close together
    // for the narrowest cells that the coordinates allow. Either way the tree of one cluster finds them
    // faster.
    static constexpr std::uint64_t LOOKS_WORTH_GIVING_UP = 32;
    // So many items decide whether the cells have the right width.
    static constexpr std::uint64_t ITEMS_FOR_A_DECISION = 1024;
    // Largest scaled coordinate: beyond it rounding would be visible at the scale of cells.
    static constexpr double LARGEST_SCALED = 0x1p48;
    // Every hop from a node to a close one may be longer than the tolerance by a rounding error of the
    // coordinates; so may the scaling. These margins cover that many times over.
    static constexpr double TOLERANCE_MARGIN = 1 + 0x1p-40;
    static constexpr double COORDINATE_MARGIN = 0x1p-49;

    struct cell_range {
        std::int64_t low[3], high[3];
    };

    void set_cell_width(double width) noexcept {
        width_ = std::max(width, FINEST_CELL);
        inverse_width_ = 1 / width_;
        looked_ = 0;
        searched_ = 0;
    }

    /// Coordinates in units of the cell width; 0 when one cell covers everything.
    point scaled(const point& p) const noexcept {
        if (inverse_width_ == 0) return {0, 0, 0};
        return {p.x * inverse_width_, p.y * inverse_width_, p.z * inverse_width_};
    }

    /// The eight cells of a block of 2 × 2 × 2 share a cache line of slots.
    static std::uint64_t hash_of_cell(std::int64_t x, std::int64_t y, std::int64_t z) noexcept {
        const auto half = [](std::int64_t c) { return static_cast<std::uint64_t>(c >> 1); };
        const auto parity = static_cast<std::uint64_t>((x & 1) | (y & 1) << 1 | (z & 1) << 2);
        return (mix(half(x), half(y), half(z)) & ~std::uint64_t(7)) | parity;
    }
    /// Cells by truncation: monotone like rounding down, and cheaper; the cells around 0 are twice as wide.
    static std::uint64_t hash_of_home(const point& s) noexcept {
        return hash_of_cell(static_cast<std::int64_t>(s.x), static_cast<std::int64_t>(s.y),
                            static_cast<std::int64_t>(s.z));
    }

    /// The cells in which anything within three tolerances of the scaled point lies.
    cell_range cells_around(const point& s) const noexcept {
        const double reach = inverse_width_ == 0 ? 0 : 3 * input_.tol * inverse_width_ * TOLERANCE_MARGIN;
        cell_range range;
        const double coordinates[3] = {s.x, s.y, s.z};
        for (int k = 0; k < 3; ++k) {
            const double r = reach + COORDINATE_MARGIN * std::fabs(coordinates[k]);
            range.low[k] = static_cast<std::int64_t>(coordinates[k] - r);
            range.high[k] = static_cast<std::int64_t>(coordinates[k] + r);
        }
        return range;
    }

    /// Calls visit(l) for the leaders in a cell until it returns true; true when it did.
    template <typename Visit>
    bool any_leader(std::uint64_t hash, Visit visit) noexcept {
        ++looked_;
        return table_.any(hash, [&](unsigned int l) {
            ++looked_;
            return visit(l);
        });
    }

    template <typename Visit>
    bool any_leader(const cell_range& range, Visit visit) noexcept {
        for (std::int64_t z = range.low[2]; z <= range.high[2]; ++z) {
            for (std::int64_t y = range.low[1]; y <= range.high[1]; ++y) {
                for (std::int64_t x = range.low[0]; x <= range.high[0]; ++x) {
                    if (any_leader(hash_of_cell(x, y, z), visit)) return true;
                }
            }
        }
        return false;
    }

    bool rehash() noexcept {
        return table_.rehash([this](const point& p) { return hash_of_home(scaled(p)); });
    }

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
                s[i] = finite(at[i]) ? scaled(at[i]) : point{0, 0, 0};
                largest = std::max({largest, std::fabs(s[i].x), std::fabs(s[i].y), std::fabs(s[i].z)});
            }
            if (largest > LARGEST_SCALED) {
                if (!widen_cells(at, n)) return false;
                continue;
            }
            for (unsigned int i = 0; i < n; ++i) {
                home[i] = hash_of_home(s[i]);
                table_.prefetch_slot(home[i]);
            }
            for (unsigned int i = 0; i < n; ++i) table_.prefetch_leader(home[i]);
            for (unsigned int i = 0; i < n; ++i) {
                survivor_[begin + i] = begin + i;
                if (may_be_close(begin + i, at[i]) && !place(begin + i, at[i], s[i], home[i])) return false;
            }
            begin += n;
            searched_ += n;
            if (searched_ < ITEMS_FOR_A_DECISION) continue;
            if (may_narrow_ && looked_ > LOOKS_WORTH_NARROWING * searched_) {
                may_narrow_ = width_ >= 4 * NARROWEST_CELL * input_.tol && width_ > FINEST_CELL;
                set_cell_width(width_ / 2);
                if (!rehash()) return false;
            } else if (looked_ > LOOKS_WORTH_GIVING_UP * searched_) {
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

    bool widen_cells(const point* at, unsigned int n) noexcept {
        double largest = 0;
        for (unsigned int i = 0; i < n; ++i) {
            if (finite(at[i])) {
                largest = std::max({largest, std::fabs(at[i].x), std::fabs(at[i].y), std::fabs(at[i].z)});
            }
        }
        may_narrow_ = false;
        set_cell_width(largest / (LARGEST_SCALED / 16)); // so that the next widening is not just ahead
        return rehash();
    }

    /// Puts what has been grouped and all items from `begin` into one cluster.
    void form_one_cluster(unsigned int begin) noexcept {
        tangle(0);
        for (unsigned int l = 1; l < table_.size(); ++l) unite(0, l);
        const unsigned int first = table_[0].item;
        for (unsigned int i = begin; i < input_.count; ++i) {
            survivor_[i] = may_be_close(i, input_.at(i)) ? first : i;
            merged_ += survivor_[i] != i;
        }
    }

    bool place(unsigned int item, const point& at, const point& s, std::uint64_t home) noexcept {
        unsigned int joined = NO_ID;
        const auto joins = [&](unsigned int l) {
            if (!reaches(table_[l].at, at, input_.tol)) return false;
            joined = l;
            return true;
        };
        cell_range around{};
        bool has_neighbors = false;
        const auto joins_or_meets = [&](unsigned int l) {
            has_neighbors = has_neighbors || near(table_[l].at, at);
            return joins(l);
        };
        const auto any_around = [&] {
            around = cells_around(s);
            return any_leader(around, joins_or_meets);
        };
        if (any_leader(home, joins) || any_around()) {
            // Nothing is known of the order in which two nodes that cannot be absorbed take the others.
            if (!input_.has_role(item, MAY_BE_ABSORBED)) tangle(find(joined));
            survivor_[item] = table_[joined].item;
            ++merged_;
            return true;
        }

        if (table_.full() && !rehash()) return false;
        const unsigned int new_leader = table_.size();
        cluster_[new_leader] = new_leader;
        tangled_[new_leader] = 0;
        if (has_neighbors) {
            const bool absorbs = input_.has_role(item, MAY_ABSORB);
            any_leader(around, [&](unsigned int l) {
                // Groups without absorbers do not meet.
                const bool meets = absorbs || input_.has_role(table_[l].item, MAY_ABSORB);
                if (meets && near(table_[l].at, at)) unite(l, new_leader);
                return false;
            });
        }
        table_.add(at, item, home);
        return true;
    }

    /// False when the leaders are so far apart that their groups hold no close nodes.
    bool near(const point& p, const point& q) const noexcept {
        const double reach = 3 * input_.tol * TOLERANCE_MARGIN;
        const auto apart = [reach](double a, double b) {
            return std::fabs(a - b) > reach + COORDINATE_MARGIN * (std::fabs(a) + std::fabs(b));
        };
        return !apart(p.x, q.x) && !apart(p.y, q.y) && !apart(p.z, q.z);
    }

    unsigned int find(unsigned int l) noexcept {
        while (cluster_[l] != l) l = cluster_[l] = cluster_[cluster_[l]];
        return l;
    }

    void unite(unsigned int a, unsigned int b) noexcept {
        a = find(a);
        b = find(b);
        if (a == b) return;
        cluster_[std::max(a, b)] = std::min(a, b);
        tangle(std::min(a, b));
    }

    void tangle(unsigned int root) noexcept {
        tangled_[root] = 1;
        any_tangled_ = true;
    }

    /// Lists the items of tangled clusters, cluster by cluster and in their order, and takes them out of
    /// their groups.
    bool gather_clusters() noexcept {
        if (!any_tangled_) return true;
        if (!cluster_starts_.allocate_filled(std::size_t(table_.size()) + 2, 0x00)) return false;
        unsigned int* const starts = cluster_starts_.data();
        scratch<unsigned int> leader_of;
        if (!leader_of.allocate_filled(input_.count, 0xFF)) return false;
        for (unsigned int l = 0; l < table_.size(); ++l) leader_of[table_[l].item] = l;
        const auto cluster_of = [&](unsigned int item) {
            const unsigned int l = leader_of[survivor_[item]];
            if (l == NO_ID) return NO_ID;
            const unsigned int root = find(l);
            return tangled_[root] ? root : NO_ID;
        };
        for (unsigned int i = 0; i < input_.count; ++i) {
            const unsigned int cluster = cluster_of(i);
            if (cluster != NO_ID) ++starts[cluster + 2];
        }
        for (unsigned int c = 2; c <= table_.size() + 1; ++c) {
            largest_cluster_ = std::max(largest_cluster_, starts[c]);
            starts[c] += starts[c - 1];
        }
        if (!clustered_.allocate(starts[table_.size() + 1])) return false;
        for (unsigned int i = 0; i < input_.count; ++i) {
            const unsigned int cluster = cluster_of(i);
            if (cluster == NO_ID) continue;
            clustered_[starts[cluster + 1]++] = i;
        }
        for (const unsigned int* i = clustered_.data(); i != clustered_.data() + clustered_.size(); ++i) {
            merged_ -= survivor_[*i] != *i;
            survivor_[*i] = *i;
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

    bool settle_clusters() noexcept {
        if (!any_tangled_) return true;
        nearest_chain pairs(input_.tol, survivor_, input_.roles);
        scratch<cluster_member> members;
        if (!pairs.prepare(largest_cluster_) || !members.allocate(largest_cluster_)) return false;
        for (unsigned int c = 0; c < table_.size(); ++c) {
            const unsigned int* items = clustered_.data() + cluster_starts_[c];
            const unsigned int count = cluster_starts_[c + 1] - cluster_starts_[c];
            for (unsigned int i = 0; i < count; ++i) members[i] = {input_.at(items[i]), items[i]};
            if (count > 0) merged_ += pairs.run(members.data(), count);
        }
        resolve_chains(survivor_, clustered_.data(), clustered_.size());
        return true;
    }

    const merge_input& input_;
    unsigned int* survivor_;
    leader_table table_;
    scratch<unsigned int> cluster_;  ///< union-find forest of the leaders
    scratch<unsigned char> tangled_; ///< for the roots: more than a lone group
    bool any_tangled_ = false;
    scratch<unsigned int> clustered_;
    scratch<unsigned int> cluster_starts_;
    unsigned int largest_cluster_ = 0;
    double width_ = 0;
    double inverse_width_ = 0;
    bool may_narrow_ = true;
    std::uint64_t looked_ = 0;
    std::uint64_t searched_ = 0;
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
