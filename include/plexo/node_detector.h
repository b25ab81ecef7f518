#pragma once

/// \file
/// Spatial search over mesh nodes.

#include <plexo/containers.h>

namespace qv7::plexo {

template <unsigned int D>
class node_tree;

/// A k-d tree over nodes of a 2-D or 3-D coordinate matrix that finds the node closest to a point and the
/// nodes in a box.
///
/// The tree is the one that inserting the nodes one by one, in a pseudo-random order that depends only on
/// their number, gives: each level splits on the next axis, and a node goes to the high side of an entry
/// whose coordinate is at most its own. This fixes which of several equally close nodes is found and the
/// order in which the nodes in a box are reported. A NaN coordinate follows the comparisons: neither is it
/// at most, nor is anything at most it.
///
/// The detector refers to the coordinate matrix, which the caller must keep alive and unchanged (columns may
/// be appended) as long as the detector or a copy of it is in use. Queries are read-only and may run
/// concurrently; everything else needs exclusive access.
///
/// Building takes expected O(n log n), also for coincident nodes; memory is about 85 bytes a node in space.
class PLEXO_API node_detector {
public:
    /// An empty detector.
    node_detector() noexcept = default;
    /// As reinit with the same arguments; empty when that fails.
    explicit node_detector(const dense2D<double>& pos) noexcept;
    node_detector(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes) noexcept;
    node_detector(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity) noexcept;
    node_detector(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                  const dense2D<unsigned int>* second) noexcept;
    /// A deep copy over the same coordinate matrix; empty when memory runs out.
    node_detector(const node_detector& other) noexcept;
    /// Takes the tree over and leaves `other` empty.
    node_detector(node_detector&& other) noexcept;
    node_detector& operator=(const node_detector& other) noexcept; ///< as the copy constructor
    node_detector& operator=(node_detector&& other) noexcept;      ///< as the move constructor
    ~node_detector();

    /// Back to empty.
    void clear() noexcept;

    /// The number of entries: a node that was inserted twice counts twice.
    unsigned int size() const noexcept;

    /// Builds the tree over all nodes, in place of the present one, which goes first. \return 0; -1 `pos` has
    /// neither 2 nor 3 rows, -199 out of memory (the detector is left empty)
    int reinit(const dense2D<double>& pos) noexcept;
    /// Builds the tree over the listed nodes; NO_ID is skipped. \return 0; -1 `pos` has neither 2 nor 3 rows;
    /// -2 an entry is neither NO_ID nor a node; -199 out of memory. After a failure the detector is
    /// unchanged.
    int reinit(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes) noexcept;
    /// Builds the tree over the distinct nodes of the elements. Results as for a list.
    int reinit(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity) noexcept;
    /// Builds the tree over the distinct nodes of two connectivities, either of which may be null. Results as
    /// for a list.
    int reinit(const dense2D<double>& pos, const dense2D<unsigned int>* first,
               const dense2D<unsigned int>* second) noexcept;

    /// Adds the listed nodes to the present tree; IDs that are no nodes are skipped, a node listed twice gets
    /// two entries. Expected O(m log n). \return the number of entries added: 0, with the tree unchanged,
    /// when the detector is empty or memory runs out
    unsigned int insert(const dense1D<unsigned int, 16>& nodes) noexcept;
    /// Adds the distinct nodes of the elements.
    unsigned int insert(const dense2D<unsigned int>& connectivity) noexcept;

    /// The node closest to a point, NO_ID when there is none. A 2-D point has z = 0 in a 3-D tree; the z of a
    /// 3-D point is left out in a 2-D one. Expected O(log n).
    unsigned int find_closest(const vector_fixed<double, 2>& point) const noexcept;
    unsigned int find_closest(const vector_fixed<double, 3>& point) const noexcept;
    /// The entry closest to a node of the coordinate matrix, other than that node itself; NO_ID when there is
    /// none or `node` is no node.
    unsigned int find_closest(unsigned int node) const noexcept;

    /// Appends to `nodes` the entries in the closed box [Pmin, Pmax], an entry before those of its low and
    /// then of its high side. A 2-D box has z = 0 in a 3-D tree; the z range of a 3-D box is left out in a
    /// 2-D one. Nothing is appended when memory runs out. Expected O(log n + entries found).
    void find_in_box(const vector_fixed<double, 2>& Pmin, const vector_fixed<double, 2>& Pmax,
                     dense1D<unsigned int, 16>& nodes) const noexcept;
    void find_in_box(const vector_fixed<double, 3>& Pmin, const vector_fixed<double, 3>& Pmax,
                     dense1D<unsigned int, 16>& nodes) const noexcept;

private:
    template <unsigned int D>
    node_tree<D>*& tree() noexcept;
    template <unsigned int D>
    int build(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes) noexcept;

    node_tree<2>* tree2D_ = nullptr; ///< at most one of the two trees exists
    node_tree<3>* tree3D_ = nullptr;
};

} // namespace qv7::plexo
