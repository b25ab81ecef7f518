#pragma once

#include "close_nodes.h"

#include "containers/scratch.h"

#include <plexo/containers.h>

#include <cstddef>

namespace qv7::plexo {

/// What a node may do in a merge; the values combine as bits.
enum merge_role : unsigned char { MAY_ABSORB = 1, MAY_BE_ABSORBED = 2, MAY_DO_BOTH = 3 };

/// One node in one group of nodes that may merge with one another. A node may be in several groups.
struct group_member {
    point at;
    unsigned int node;
    unsigned int group;
};

/// Merges the closest pair of unmerged nodes that share a group, again and again, until no two are within
/// tolerance. Of pairs at equal distance the one whose absorbing member comes first goes first.
///
/// Each member that may be absorbed keeps one event, the best absorber at the time it was looked for; when
/// that one has been absorbed meanwhile, the next best is looked for. Absorbers that may be absorbed
/// themselves and are left at distance d lie further than d apart, so only a few searches per member are
/// made for each doubling of the distance. Members of large groups are searched in a k-d tree. O(n log n)
/// time, O(n) memory.
class closest_first {
public:
    /// `survivor[node]` is the node itself until it is absorbed. Without roles every node may do both.
    closest_first(double tol, unsigned int* survivor, const unsigned char* roles) noexcept
        : tol_(tol), survivor_(survivor), roles_(roles) {}

    /// Memory for runs of up to `members` members; false when it cannot be had.
    [[nodiscard]] bool prepare(std::size_t members) noexcept;

    /// Members of group g are group_starts[g] … group_starts[g + 1] - 1. Returns the number of merges.
    unsigned int run(const group_member* members, const unsigned int* group_starts,
                     unsigned int groups) noexcept;

private:
    struct event {
        double distance;
        unsigned int absorber; ///< as an index of a member
        unsigned int absorbed;

        bool later_than(const event& other) const noexcept {
            return distance > other.distance || (distance == other.distance && absorber > other.absorber);
        }
    };
    /// A member in tree order.
    struct leaf_entry {
        point at;
        unsigned int member;
    };
    /// The box of the absorbers of a subtree and the first of them that is unmerged as far as is known.
    struct tree_node {
        point low, high;
        unsigned int first;
    };
    /// A complete binary tree over members start … start + size - 1. Node i of level l, at index
    /// 2^l - 1 + i, covers the entries [size · i / 2^l, size · (i + 1) / 2^l).
    struct tree {
        leaf_entry* entries;
        tree_node* nodes;
        std::size_t size;
        unsigned int levels;

        std::size_t begin_of(std::size_t i, unsigned int level) const noexcept { return size * i >> level; }
    };

    bool unmerged(unsigned int member) const noexcept {
        const unsigned int node = members_[member].node;
        return survivor_[node] == node;
    }
    bool has_role(unsigned int member, merge_role role) const noexcept {
        return !roles_ || (roles_[members_[member].node] & role) != 0;
    }
    tree tree_of(unsigned int group) noexcept;
    void plant(const tree& t, unsigned int start) noexcept;
    event best_event(unsigned int absorbed) noexcept;
    void search_group(unsigned int start, unsigned int end, event& best) const noexcept;
    void search_tree(const tree& t, event& best) noexcept;
    void search_leaf(const tree& t, std::size_t leaf, event& best) noexcept;

    double tol_;
    unsigned int* survivor_;
    const unsigned char* roles_;
    const group_member* members_ = nullptr;
    const unsigned int* group_starts_ = nullptr;
    scratch<event> events_;
    scratch<leaf_entry> entries_;
    scratch<tree_node> nodes_;
};

/// Follows each of the n nodes to its final survivor and stores that along the way. O(n).
void resolve_chains(unsigned int* survivor, const unsigned int* nodes, std::size_t n) noexcept;

} // namespace qv7::plexo
