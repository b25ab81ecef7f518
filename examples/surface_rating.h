#pragma once

#include "print_histogram.h"

#include <plexo/plexo.h>

#include <cmath>
#include <cstdio>

namespace example {

/// How good a triangulated surface is, shape by shape and edge by edge.
struct surface_rating {
    /// The size shock that the graded size field keeps.
    static constexpr double MAX_SHOCK = 0.2;

    qv7::misc::histogram shapes{0, 1, 10}; ///< of the triangles
    qv7::misc::histogram edges{0, 2, 10};  ///< against the mean edge length at their ends
    qv7::misc::histogram shocks{0, 1, 10}; ///< of those lengths as a size field, node by node
    qv7::misc::histogram graded_shocks{0, 1, 10};
    int lowered_sizes = 0; ///< nodes whose size the gradation had to lower
};

/// The mean length of the edges at each node; 0 for a node without edges.
inline qv7::plexo::dense1D<double, 16> mean_edge_lengths(const qv7::plexo::dense2D<double>& pos,
                                                         const qv7::plexo::dense2D<unsigned int>& edges) {
    qv7::plexo::dense1D<double, 16> sizes(pos.cols());
    qv7::plexo::dense1D<unsigned int, 16> met(pos.cols());
    for (unsigned int e = 0; e < edges.cols(); ++e) {
        const double* const a = pos.col_data(edges(0, e));
        const double* const b = pos.col_data(edges(1, e));
        const double length = std::hypot(b[0] - a[0], b[1] - a[1], b[2] - a[2]);
        for (unsigned int end = 0; end < 2; ++end) {
            sizes[edges(end, e)] += length;
            ++met[edges(end, e)];
        }
    }
    for (unsigned int node = 0; node < pos.cols(); ++node) {
        if (met[node] != 0) sizes[node] /= met[node];
    }
    return sizes;
}

/// Rates a surface in space. \return 0, or the code of the library function that failed
inline int rate(const qv7::plexo::dense2D<double>& pos, const qv7::plexo::dense2D<unsigned int>& triangles,
                surface_rating& rating) {
    using namespace qv7::plexo;
    int code = shape_qualities(pos, triangles, ELEM_TRIA3, rating.shapes);
    if (code != 0) return code;

    dense2D<unsigned int> edges;
    const dense2D<unsigned int> none_excluded;
    if ((code = copy_edges(triangles, ELEM_TRIA3, edges)) != 0) return code;
    dense1D<double, 16> sizes = mean_edge_lengths(pos, edges);
    code = edge_qualities(pos, edges, ELEM_EDGE2, sizes, rating.edges, none_excluded);
    if (code != 0 && code != -5) return code; // -5: edges of no length have no size and so no rating

    dense1D<double, 16> shocks;
    if ((code = H_shock(pos, edges, sizes, shocks)) != 0) return code;
    rating.shocks.process(shocks);
    rating.lowered_sizes = bound_metric_gradation(pos, edges, sizes, surface_rating::MAX_SHOCK);
    if (rating.lowered_sizes < 0) return rating.lowered_sizes;
    if ((code = H_shock(pos, edges, sizes, shocks)) != 0) return code;
    rating.graded_shocks.process(shocks);
    return 0;
}

inline void print(const surface_rating& rating) {
    print("triangle shapes", rating.shapes);
    print("edge qualities", rating.edges);
    print("size shock", rating.shocks);
    std::printf("%-20s %d sizes lowered for a size shock of at most %g\n", "gradation", rating.lowered_sizes,
                surface_rating::MAX_SHOCK);
    print("size shock after", rating.graded_shocks);
}

} // namespace example
