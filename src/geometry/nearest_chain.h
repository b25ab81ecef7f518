#pragma once

#include "close_nodes.h"

#include "containers/scratch.h"

#include <plexo/containers.h>

#include <cstddef>

namespace qv7::plexo {

/// What a node may do in a merge; the values combine as bits.
enum merge_role : unsigned char { MAY_ABSORB = 1, MAY_BE_ABSORBED = 2, MAY_DO_BOTH = 3 };

/// One node of a cluster.
struct cluster_member {
    point at;
    unsigned int item;
};

/// Merges the closest pair of unmerged nodes of a cluster, again and again, until no two are within
/// tolerance. Of pairs at equal distance the one whose absorber comes first goes first.
///
/// The pairs need not be taken in that order over the whole cluster: nodes stay where they are, so a pair
/// that comes before all other pairs of either of its nodes will be taken whatever happens elsewhere. Such
/// pairs are found by following nearest neighbours until two are nearest to each other (the nearest-neighbour
/// chain of Benzécri, 1982), with a k-d tree over the unmerged nodes. O(n log n) time, O(n) memory.
class nearest_chain {
public:
    /// `survivor[item]` is the item itself until it is absorbed. Without roles every item may do both.
    nearest_chain(double tol, unsigned int* survivor, const unsigned char* roles) noexcept
        : tol_(tol), survivor_(survivor), roles_(roles) {}

    /// Memory for clusters of up to `members` members; false when it cannot be had.
    [[nodiscard]] bool prepare(std::size_t members) noexcept;

    /// Merges one cluster, given in the order of absorbing. Returns the number of merges.
    unsigned int run(const cluster_member* members, unsigned int count) noexcept;

private:
    /// A pair of members; the earlier one goes first.
    struct link {
        double distance;
        unsigned int absorber;
        unsigned int absorbed;

        bool operator==(const link&) const noexcept = default;
        bool before(const link& other) const noexcept {
            if (distance != other.distance) return distance < other.distance;
            if (absorber != other.absorber) return absorber < other.absorber;
            return absorbed < other.absorbed;
        }
    };
    struct chain_entry {
        unsigned int member;
        link from; ///< how it was reached
    };
    /// A member in tree order.
    struct leaf_entry {
        point at;
        unsigned int member;
    };
    /// The first members of each role that are unmerged as far as is known, NO_ID for none.
    struct first_members {
        unsigned int absorber = NO_ID;
        unsigned int absorbed = NO_ID;

        bool operator==(const first_members&) const noexcept = default;
        void include(const first_members& other) noexcept {
            absorber = other.absorber < absorber ? other.absorber : absorber;
            absorbed = other.absorbed < absorbed ? other.absorbed : absorbed;
        }
    };
    struct tree_node {
        point low, high; ///< the box of the subtree
        first_members first;
    };

    bool small() const noexcept { return count_ <= SMALL_CLUSTER; }
    bool unmerged(unsigned int member) const noexcept {
        return survivor_[members_[member].item] == members_[member].item;
    }
    bool has_role(unsigned int member, merge_role role) const noexcept {
        return !roles_ || (roles_[members_[member].item] & role) != 0;
    }
    first_members roles_of(unsigned int member) const noexcept {
        return {has_role(member, MAY_ABSORB) ? member : NO_ID,
                has_role(member, MAY_BE_ABSORBED) ? member : NO_ID};
    }
    bool may_absorb(unsigned int p, unsigned int q) const noexcept {
        return has_role(p, MAY_ABSORB) && has_role(q, MAY_BE_ABSORBED) &&
               in_box(members_[p].at, members_[q].at, tol_);
    }
    std::size_t leaf_begin(std::size_t i, unsigned int level) const noexcept { return count_ * i >> level; }
    std::size_t first_leaf() const noexcept { return (std::size_t(1) << levels_) - 1; }

    void plant() noexcept;
    void follow(unsigned int start) noexcept;
    link first_link(unsigned int member, const link& known) noexcept;
    void consider(unsigned int member, unsigned int other, double distance, link& first) const noexcept;
    void search_tree(unsigned int member, link& first) noexcept;
    void search_leaf(unsigned int member, std::size_t leaf, link& first) noexcept;

    // Up to here looking at every member is cheaper than a tree.
    static constexpr std::size_t SMALL_CLUSTER = 32;

    double tol_;
    unsigned int* survivor_;
    const unsigned char* roles_;
    const cluster_member* members_ = nullptr;
    std::size_t count_ = 0;
    unsigned int merged_ = 0;
    scratch<chain_entry> chain_;
    scratch<unsigned int> passed_over_;
    std::size_t passed_over_count_ = 0;
    // A complete binary tree. Node i of level l, at index 2^l - 1 + i, covers the entries
    // [count · i / 2^l, count · (i + 1) / 2^l).
    scratch<leaf_entry> entries_;
    scratch<tree_node> nodes_;
    unsigned int levels_ = 0;
};

/// Follows each of the n nodes to its final survivor and stores that along the way. O(n).
void resolve_chains(unsigned int* survivor, const unsigned int* nodes, std::size_t n) noexcept;

} // namespace qv7::plexo
