#pragma once

#include "containers/runs.h"

namespace qv7::plexo {

/// Gives a container that is about to be written storage of its own when an input can see its entries; false
/// when it cannot be had.
template <typename Output, typename Input>
[[nodiscard]] bool detach(Output& output, const Input& input) {
    if (!overlap(output, input)) return true;
    Output own;
    if (!own.copy(output)) return false;
    output = own;
    return true;
}

} // namespace qv7::plexo
