#pragma once

#include "containers/scratch.h"

#include <plexo/containers.h>

namespace qv7::plexo {

/// The entries of `nodes` below `node_count` in the pseudo-random order in which trees take them: the list is
/// shuffled whole, then the others are left out. The same list always gives the same order. False when memory
/// runs out.
[[nodiscard]] bool shuffled_nodes(const dense1D<unsigned int, 16>& nodes, unsigned int node_count,
                                  scratch<unsigned int>& order) noexcept;

} // namespace qv7::plexo
