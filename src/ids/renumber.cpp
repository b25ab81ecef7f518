#include <plexo/ids.h>

#include "containers/detach.h"
#include "containers/runs.h"

#include <algorithm>
#include <cstdint>

namespace qv7::plexo {

namespace {

// Shorter runs are done before a thread team would have started.
constexpr std::size_t PARALLEL_RUN = 4096;

void shift_run(unsigned int* ids, std::size_t n, unsigned int shift) {
    if (n <= PARALLEL_RUN) {
        for (std::size_t i = 0; i < n; ++i) ids[i] += shift;
        return;
    }
    const auto count = static_cast<std::int64_t>(n);
#pragma omp parallel for schedule(static)
    for (std::int64_t i = 0; i < count; ++i) ids[i] += shift;
}

void shift_run_but_padding(unsigned int* ids, std::size_t n, unsigned int shift) {
    if (n <= PARALLEL_RUN) {
        for (std::size_t i = 0; i < n; ++i) ids[i] += ids[i] == NO_ID ? 0 : shift;
        return;
    }
    const auto count = static_cast<std::int64_t>(n);
#pragma omp parallel for schedule(static)
    for (std::int64_t i = 0; i < count; ++i) ids[i] += ids[i] == NO_ID ? 0 : shift;
}

void renumber_run(unsigned int* ids, std::size_t n, const unsigned int* new_IDs, unsigned int known) {
    for (std::size_t i = 0; i < n; ++i) {
        if (ids[i] < known) ids[i] = new_IDs[ids[i]];
    }
}

template <typename T>
int scatter(dense1D<T, 16>& values, const dense1D<unsigned int, 16>& perm) {
    if (values.empty()) return 0;
    dense1D<T, 16> result;
    if (!result.copy(values)) return -199;
    const unsigned int size = values.size();
    const unsigned int n = std::min(size, perm.size());
    const T* from = values.data();
    const unsigned int* position = perm.data();
    T* to = result.data();
    for (unsigned int i = 0; i < n; ++i) {
        if (position[i] < size) to[position[i]] = from[i];
    }
    values = result;
    return 0;
}

} // namespace

int shift_indices(dense1D<unsigned int, 16>& ids, int shift) {
    for (unsigned int& id : ids) id += id == NO_ID ? 0 : static_cast<unsigned int>(shift);
    return 0;
}

int shift_indices(dense2D<unsigned int>& connectivity, int shift, element_type type) {
    if (shift == 0 || connectivity.empty()) return 0;
    const bool padded = type == ELEM_FACE_MIX || type == ELEM_SOLID_MIX;
    all_runs(connectivity, [=](unsigned int* ids, std::size_t n) {
        (padded ? shift_run_but_padding : shift_run)(ids, n, static_cast<unsigned int>(shift));
        return true;
    });
    return 0;
}

void change_indices(dense1D<unsigned int, 16>& ids, const dense1D<unsigned int, 16>& new_IDs) {
    const dense1D<unsigned int, 16> table = new_IDs;
    if (!detach(ids, table)) return;
    renumber_run(ids.data(), ids.size(), table.data(), table.size());
}

void change_indices(dense2D<unsigned int>& connectivity, const dense1D<unsigned int, 16>& new_IDs) {
    const dense1D<unsigned int, 16> table = new_IDs;
    if (connectivity.empty() || !detach(connectivity, table)) return;
    all_runs(connectivity, [&](unsigned int* ids, std::size_t n) {
        renumber_run(ids, n, table.data(), table.size());
        return true;
    });
}

int permutation(dense1D<unsigned int, 16>& values, const dense1D<unsigned int, 16>& perm) {
    return scatter(values, perm);
}

int permutation(dense1D<double, 16>& values, const dense1D<unsigned int, 16>& perm) {
    return scatter(values, perm);
}

} // namespace qv7::plexo
