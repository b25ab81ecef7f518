#pragma once

#include "bucket_tree.h"
#include "containers/scratch.h"

#include <plexo/containers.h>

namespace qv7::plexo {

/// One tree of a node_detector.
///
/// Entries are kept as an array. The entries that one insertion adds below an entry, or at the root, stand
/// together in pre-order (an entry, its low side, its high side), so a tree built at once is in pre-order
/// altogether.
template <unsigned int D>
class node_tree {
public:
    explicit node_tree(const dense2D<double>& pos) noexcept : pos_(&pos) {}

    const dense2D<double>& positions() const noexcept { return *pos_; }
    unsigned int size() const noexcept { return size_; }

    /// Takes a deep copy over the same coordinates; false when memory runs out.
    [[nodiscard]] bool copy(const node_tree& source) noexcept;

    /// Adds nodes in shuffled order and counts those that exist; false, with nothing changed, when memory
    /// runs out.
    [[nodiscard]] bool insert(const dense1D<unsigned int, 16>& nodes, unsigned int& added) noexcept;

    /// The entry closest to P other than `skipped`.
    unsigned int find_closest(const double* P, unsigned int skipped) const noexcept;

    /// Appends the entries in a box in pre-order; nothing when memory runs out.
    void find_in_box(const double* Pmin, const double* Pmax, dense1D<unsigned int, 16>& nodes) const noexcept;

private:
    using point = located_node<D>;
    struct links {
        unsigned int low, high, parent;
    };
    struct branch;

    [[nodiscard]] bool reserve(unsigned int capacity) noexcept;
    void sort_in(unsigned int begin, unsigned int end, point* high_points) noexcept;
    unsigned int partition(unsigned int entry, unsigned int axis, unsigned int begin, unsigned int end,
                           point* high_points) noexcept;
    void fill_buckets(bool in_preorder, scratch<point>& working) noexcept;
    template <typename WantLow, typename WantHigh, typename Visit>
    void walk_in_preorder(WantLow want_low, WantHigh want_high, Visit visit) const noexcept;
    unsigned int find_closest_by_entries(const double* P, unsigned int skipped) const noexcept;
    void find_in_box_by_entries(const double* Pmin, const double* Pmax,
                                dense1D<unsigned int, 16>& nodes) const noexcept;
    unsigned int search(const double* P, unsigned int skipped, unsigned int best, double r) const noexcept;

    const dense2D<double>* pos_;
    unsigned int size_ = 0;
    scratch<point> points_;
    scratch<links> links_;
    bucket_tree<D> buckets_;      ///< the same entries ranked in pre-order, or empty
    unsigned int in_buckets_ = 0; ///< entries when the buckets were last filled
};

extern template class node_tree<2>;
extern template class node_tree<3>;

} // namespace qv7::plexo
