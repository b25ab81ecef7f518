#include <plexo/ids.h>

#include "containers/runs.h"

#include <algorithm>

namespace qv7::plexo {

namespace {

/// The largest of n entries plus one, where NO_ID wraps around to 0 and so never counts.
unsigned int bound_of(const unsigned int* ids, std::size_t n) {
    unsigned int bound = 0;
    for (std::size_t i = 0; i < n; ++i) bound = std::max(bound, ids[i] + 1u);
    return bound;
}

bool valid_face_column(const unsigned int* column, unsigned int rows, unsigned int nods) {
    for (unsigned int i = 0; i < rows; ++i) {
        if (i == 3 && column[i] == NO_ID) return true;
        if (column[i] >= nods) return false;
    }
    return true;
}

bool valid_solid_column(const unsigned int* column, unsigned int rows, unsigned int nods) {
    for (unsigned int i = 0; i < rows; ++i) {
        if (column[i] == NO_ID && i >= 4 && i <= 6) {
            return std::all_of(column + i, column + rows, [](unsigned int id) { return id == NO_ID; });
        }
        if (column[i] >= nods) return false;
    }
    return true;
}

template <typename ColumnTest>
bool all_columns(const dense2D<unsigned int>& connectivity, ColumnTest valid, unsigned int nods) {
    for (unsigned int j = 0; j < connectivity.cols(); ++j) {
        if (!valid(connectivity.col_data(j), connectivity.rows(), nods)) return false;
    }
    return true;
}

} // namespace

unsigned int max_ID(const dense1D<unsigned int, 16>& ids) {
    if (ids.empty()) return NO_ID;
    const unsigned int bound = bound_of(ids.data(), ids.size());
    return bound == 0 ? 0 : bound - 1;
}

unsigned int max_ID(const dense2D<unsigned int>& connectivity) {
    if (connectivity.empty()) return NO_ID;
    unsigned int bound = 0;
    all_runs(connectivity, [&](const unsigned int* ids, std::size_t n) {
        bound = std::max(bound, bound_of(ids, n));
        return true;
    });
    return bound == 0 ? 0 : bound - 1;
}

bool check_IDs(const dense1D<unsigned int, 16>& ids, unsigned int nods) {
    return ids.empty() || nods == NO_ID || bound_of(ids.data(), ids.size()) <= nods;
}

bool check_IDs(const dense2D<unsigned int>& connectivity, unsigned int nods) {
    if (connectivity.empty() || nods == NO_ID) return true;
    return all_runs(connectivity,
                    [nods](const unsigned int* ids, std::size_t n) { return bound_of(ids, n) <= nods; });
}

bool check_IDs(const dense2D<unsigned int>& connectivity, element_type type, unsigned int nods) {
    if (connectivity.empty()) return true;
    const unsigned int rows = connectivity.rows();
    if (type == ELEM_FACE_MIX)
        return (rows == 3 || rows == 4) && all_columns(connectivity, valid_face_column, nods);
    if (type == ELEM_SOLID_MIX) {
        return rows >= 4 && rows <= 8 && rows != 7 && all_columns(connectivity, valid_solid_column, nods);
    }
    if (nods == NO_ID) return true;
    if (type < 0 || type >= ELEMENT_TYPE_COUNT || rows != NODES_PER_ELEMENT[type]) return false;
    return all_runs(connectivity, [nods](const unsigned int* ids, std::size_t n) {
        unsigned int largest = 0;
        for (std::size_t i = 0; i < n; ++i) largest = std::max(largest, ids[i]);
        return largest < nods;
    });
}

} // namespace qv7::plexo
