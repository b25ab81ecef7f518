#pragma once

#include "containers/runs.h"

namespace qv7::plexo {

/// Gives a container that is about to be written storage of its own when an input can see its entries; false
/// when it cannot be had.
template <typename Output, typename Input>
[[nodiscard]] bool detach(Output& output, const Input& input) {
    return !overlap(output, input) || output.copy(output); // a copy of itself moves to storage of its own
}

} // namespace qv7::plexo
