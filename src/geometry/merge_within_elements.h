#pragma once

#include "close_nodes.h"

#include <plexo/containers.h>

namespace qv7::plexo {

/// Merges close nodes that share an element of the matrices [first, last), in one pass or, with `repeat`, in
/// passes over the renumbered elements until one merges nothing. IDs are valid nodes or NO_ID. `survivor`
/// holds the identity over all nodes and receives the final survivor of each; the matrices are only read.
/// Returns the number of merges or -199.
int merge_within_elements(const node_positions& positions, const dense2D<unsigned int>* first,
                          const dense2D<unsigned int>* last, const dense1D<unsigned int, 16>& nodes,
                          double tol, bool repeat, unsigned int* survivor) noexcept;

} // namespace qv7::plexo
