#pragma once

#include <plexo/containers.h>

namespace qv7::plexo {

/// Sets `nodes` to a list, in increasing order, that holds every node of a two- or three-row matrix with
/// another node within the finite tolerance, and few others. All other nodes take no part in a merge, so
/// merging the list comes to the same as merging all. O(n) time and 12 bytes per node, whatever the input;
/// where nothing can be told quickly, all nodes are listed. False when memory runs out.
[[nodiscard]] bool list_crowded_nodes(const dense2D<double>& pos, double tol,
                                      dense1D<unsigned int, 16>& nodes) noexcept;

} // namespace qv7::plexo
