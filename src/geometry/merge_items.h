#pragma once

#include "close_nodes.h"
#include "nearest_chain.h"

#include <cstddef>

namespace qv7::plexo {

/// The nodes of one merge as items 0 … count - 1: first those that may absorb, in the order in which they go
/// at equal distance, then the others.
struct merge_input {
    node_positions positions;
    const unsigned int* nodes; ///< distinct; null when item i is node i
    unsigned int count;
    const unsigned char* roles; ///< one merge_role per item; null when every item may do both
    double tol;

    point at(unsigned int item) const noexcept { return positions[nodes ? nodes[item] : item]; }
    bool has_role(unsigned int item, merge_role role) const noexcept {
        return !roles || (roles[item] & role) != 0;
    }
};

/// Merges the closest pairs first and sets survivor[i] to the item that item i ends in, i itself where it
/// survives. Returns the number of merges or -199.
int merge_items(const merge_input& input, unsigned int* survivor) noexcept;

} // namespace qv7::plexo
