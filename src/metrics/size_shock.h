#pragma once

#include "metrics/edge_length.h"

#include <algorithm>
#include <cmath>

namespace qv7::plexo {

/// ln(1 + shock) of an edge of the given length between sizes a and b: the logarithm of the growth ratio of
/// the sizes over the length in the field. 0 for an edge whose length in the field is zero or infinite.
inline double growth_along(double length, double a, double b) {
    const double length_in_field = length_in_sizes(length, a, b);
    if (length_in_field <= 0 || length_in_field >= LARGEST_DOUBLE) return 0;
    const double larger = std::max(a, b), smaller = std::min(a, b);
    // Near 1 the ratio itself has lost the digits that its logarithm needs; far from it, it may overflow.
    const double ratio_logarithm =
        larger < 2 * smaller ? std::log1p((larger - smaller) / smaller) : -std::log(smaller / larger);
    return ratio_logarithm / length_in_field;
}

} // namespace qv7::plexo
