#pragma once

#include <plexo/containers.h>

#include <cstdint>

namespace qv7::plexo {

/// unique_indices for callers that report memory failure by a code: appends to `out` the distinct IDs of the
/// matrices [first, last), NO_ID left out, in order of first appearance. False when memory runs out.
[[nodiscard]] bool append_unique_IDs(dense1D<unsigned int, 16>& out, const dense2D<unsigned int>* first,
                                     const dense2D<unsigned int>* last) noexcept;

/// The same for a list, leaving out what `excluded` holds.
[[nodiscard]] bool append_unique_IDs(dense1D<unsigned int, 16>& out, const dense1D<unsigned int, 16>& ids,
                                     const dense1D<unsigned int, 16>& excluded) noexcept;

} // namespace qv7::plexo
