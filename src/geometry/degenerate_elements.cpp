#include <plexo/geometry.h>

#include "containers/scratch.h"

#include <algorithm>

namespace qv7::plexo {

namespace {

/// Up to this many rows, comparing all pairs is faster than sorting.
constexpr unsigned int PAIRWISE_ROWS = 8;

bool repeats_pairwise(const unsigned int* ids, unsigned int rows, bool strict) {
    for (unsigned int i = 1; i < rows; ++i) {
        if (ids[i] == NO_ID && !strict) continue;
        for (unsigned int k = 0; k < i; ++k) {
            if (ids[k] == ids[i]) return true;
        }
    }
    return false;
}

/// NO_ID sorts last, so a repeated node is found before repeated padding.
bool repeats_sorted(const unsigned int* ids, unsigned int rows, bool strict, unsigned int* sorted) {
    std::copy_n(ids, rows, sorted);
    std::sort(sorted, sorted + rows);
    const unsigned int* pair = std::adjacent_find(sorted, sorted + rows);
    return pair != sorted + rows && (strict || *pair != NO_ID);
}

} // namespace

int remove_degenerated(dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& new_IDs, bool strict) {
    const unsigned int rows = connectM.rows();
    const unsigned int cols = connectM.cols();
    new_IDs.clear();
    scratch<unsigned int> sorted;
    if (rows > PAIRWISE_ROWS && !sorted.allocate(rows)) return -199;
    if (!new_IDs.resize(cols, NO_ID)) return -199;

    unsigned int* const columns = connectM.data();
    const std::size_t ld = connectM.ld();
    unsigned int* const new_ID = new_IDs.data();
    unsigned int kept = 0;
    for (unsigned int j = 0; j < cols; ++j) {
        const unsigned int* const column = columns + j * ld;
        const bool degenerate = rows <= PAIRWISE_ROWS ? repeats_pairwise(column, rows, strict)
                                                      : repeats_sorted(column, rows, strict, sorted.data());
        if (degenerate) continue;
        if (j > kept) std::copy_n(column, rows, columns + kept * ld);
        new_ID[j] = kept++;
    }
    connectM.resize(rows, kept);
    return static_cast<int>(cols - kept);
}

} // namespace qv7::plexo
