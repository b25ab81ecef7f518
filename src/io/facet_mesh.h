#pragma once

#include "io/point_table.h"

#include <plexo/containers.h>

#include <array>
#include <cstddef>
#include <limits>

namespace qv7::plexo::io {

/// A triangle given by its nine coordinates: x, y, z of each corner.
using facet = std::array<double, 9>;

/// Builds a mesh with shared nodes from facets that come one after another.
///
/// The result is that of these steps: give every facet three nodes of its own; merge equal nodes; merge nodes
/// within a twentieth of the smallest positive height of any facet, closest first; drop degenerate triangles
/// and unused nodes. Without a positive height the facets are left as they came. Equal nodes are merged on
/// arrival, which comes to the same: at distance 0 each node goes to the first one equal to it, and what the
/// later steps see of a node are its coordinates and its place in the order of first appearance.
class facet_mesh {
public:
    /// With `single_precision` every coordinate to come is a float.
    explicit facet_mesh(bool single_precision) : table_(points_, single_precision) {}
    /// Room for that many facets; false when memory runs out.
    bool reserve(std::size_t facets);
    /// Appends facets; false when memory runs out.
    bool add(const facet* facets, std::size_t count);
    /// Merges and cleans up, and hands the mesh over. Returns the number of triangles, or the negative code
    /// of the step that failed.
    int finish(dense2D<double>& pos, dense2D<unsigned int>& connectM);

private:
    bool add_unmerged(const facet* facets, std::size_t count);
    bool merge_equal_points();
    int merge_close_points();

    dense2D<double> points_{3, 0};
    dense2D<unsigned int> connectM_{3, 0}; ///< its columns are room; triangles_ of them are filled
    std::size_t triangles_ = 0;
    unsigned int likely_points_ = 0;
    point_table table_;
    double smallest_height_ = std::numeric_limits<double>::max();
    bool merging_ = false; ///< equal points share a column: since the first positive height
};

} // namespace qv7::plexo::io
