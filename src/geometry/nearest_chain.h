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

    /// Merges one cluster, given in the order of absorbing, of at least one member. Returns the number of
    /// merges.
    unsigned int run(const cluster_member* members, unsigned int count) noexcept;

private:
    /// A pair of members; the earlier one goes first.
    struct link {
        double distance;
        unsigned int absorber;
        unsigned int absorbed;

        bool before(const link& other) const noexcept {
            if (distance != other.distance) return distance < other.distance;
            if (absorber != other.absorber) return absorber < other.absorber;
            return absorbed < other.absorbed;
        }
    };
    struct chain_entry {
        unsigned int slot;
        link from; ///< how it was reached
    };
    /// A member in the slot it has in the tree; NO_ID once it has been absorbed.
    struct leaf_entry {
        point at;
        unsigned int member;
        unsigned int roles;

        bool absorbs() const noexcept { return (roles & MAY_ABSORB) != 0; }
        bool is_absorbed() const noexcept { return (roles & MAY_BE_ABSORBED) != 0; }
    };
    /// The first unmerged members of each role, NO_ID for none.
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

    bool unmerged(std::size_t slot) const noexcept { return entries_[slot].member != NO_ID; }
    std::size_t leaf_begin(std::size_t i, unsigned int level) const noexcept { return count_ * i >> level; }
    /// The last leaf that begins at or before the slot.
    std::size_t leaf_of(unsigned int slot) const noexcept {
        return (((std::size_t(slot) + 1) << levels_) - 1) / count_;
    }
    std::size_t first_leaf() const noexcept { return (std::size_t(1) << levels_) - 1; }
    first_members first_of_leaf(std::size_t leaf) const noexcept;

    void plant(const cluster_member* members) noexcept;
    void sort_into_leaves() noexcept;
    void remove(unsigned int slot) noexcept;
    void search_leaf(std::size_t leaf, unsigned int slot, link& first,
                     unsigned int& other_slot) const noexcept;
    void search_tree(std::size_t node, unsigned int slot, link& first,
                     unsigned int& other_slot) const noexcept;
    unsigned int first_link(unsigned int slot, link& first) const noexcept;
    bool consider(const leaf_entry& a, const leaf_entry& b, link& first) const noexcept;

    double tol_;
    unsigned int* survivor_;
    const unsigned char* roles_;
    std::size_t count_ = 0;
    scratch<chain_entry> chain_;
    scratch<unsigned int> passed_over_;
    // A complete binary tree. Node i of level l, at index 2^l - 1 + i, covers the entries
    // [count · i / 2^l, count · (i + 1) / 2^l).
    scratch<leaf_entry> entries_;
    scratch<tree_node> nodes_;
    unsigned int levels_ = 0;
};

/// Follows each of the n nodes to its final survivor and stores that along the way. O(n).
void resolve_chains(unsigned int* survivor, const unsigned int* nodes, std::size_t n) noexcept;

} // namespace qv7::plexo
