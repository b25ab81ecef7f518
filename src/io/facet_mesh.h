#pragma once

#include <plexo/containers.h>

#include "containers/scratch.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace qv7::plexo::io {

/// A triangle given by its nine coordinates: x, y, z of each corner.
using facet = std::array<double, 9>;

/// Numbers points so that equal ones share a number: a hash table over the columns of a coordinate matrix,
/// which it fills in order of first appearance. 0.0 and -0.0 are equal. A point with a coordinate that is not
/// finite is equal to none, because its distance to itself is not zero.
class point_table {
public:
    /// With `single_precision` all coordinates are floats, and a search need not look at the matrix.
    point_table(dense2D<double>& points, bool single_precision)
        : points_(points), single_precision_(single_precision) {}

    /// Makes room for n points; false when memory runs out.
    bool reserve(std::size_t n);
    /// The column of each of `count` points, appended when it is new; false when memory runs out. Works on
    /// all of them side by side, so that their cache misses overlap.
    bool find_or_add(const double* xyz, std::size_t count, unsigned int* columns);
    /// Gives the memory back; the points stay.
    void release();

private:
    /// A point rounded to floats, which tell nearly all others apart. In a free slot every byte is 0xff: NaN,
    /// which equals nothing, and NO_ID.
    struct slot {
        float x, y, z;
        std::uint32_t column;
    };
    static slot rounded(const double* xyz, unsigned int column) {
        return {float(xyz[0]), float(xyz[1]), float(xyz[2]), column};
    }

    static constexpr std::size_t RECENT = 4096; // few enough to stay in a near cache

    bool rehash(std::size_t slots);
    bool add(const double* xyz, unsigned int& column);
    bool holds(const slot& s, const double* xyz) const;
    std::size_t free_slot(std::uint32_t hash) const;
    bool search(const double* xyz, std::uint32_t hash, unsigned int& column);

    dense2D<double>& points_;
    bool single_precision_;
    scratch<slot> slots_;
    scratch<slot> recent_; ///< by the lowest bits of the hash; in file order the same points come again soon
    std::size_t used_ = 0;
    unsigned int shift_ = 0; ///< a hash begins its search at slot hash >> shift_
};

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
