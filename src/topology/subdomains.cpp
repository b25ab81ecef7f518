#include <plexo/topology.h>

#include <plexo/ids.h>

#include "containers/scratch.h"

#include <algorithm>
#include <cstdint>

namespace qv7::plexo {

namespace {

/// One flag per element.
class element_flags {
public:
    [[nodiscard]] bool allocate(unsigned int n) noexcept { return words_.allocate_filled(n / 64 + 1, 0x00); }

    /// Sets a flag; true when it was not set.
    bool set(unsigned int e) noexcept {
        std::uint64_t& word = words_[e / 64];
        const std::uint64_t bit = std::uint64_t(1) << (e % 64);
        if ((word & bit) != 0) return false;
        word |= bit;
        return true;
    }

private:
    scratch<std::uint64_t> words_;
};

/// Fills emptied outputs; false when memory runs out.
///
/// An element is flagged when it is first met, not when its turn comes: the order is the same, and so the
/// list of elements is also the queue.
bool list_parts(const dense2D<unsigned int>& neighbors, dense1D<unsigned int, 16>& elements,
                dense1D<unsigned int, 16>& offsets) {
    const unsigned int n = neighbors.cols();
    element_flags listed;
    if (!elements.resize_for_overwrite(n) || !offsets.push_back(0) || !listed.allocate(n)) return false;

    const unsigned int* links = neighbors.data();
    const std::size_t ld = neighbors.ld();
    const unsigned int rows = neighbors.rows();
    unsigned int* queue = elements.data();
    unsigned int head = 0;
    unsigned int tail = 0;
    for (unsigned int seed = 0; tail < n; ++seed) {
        if (!listed.set(seed)) continue;
        for (queue[tail++] = seed; head < tail; ++head) {
            const unsigned int* across = links + queue[head] * ld;
            for (unsigned int k = 0; k < rows; ++k) {
                const unsigned int e = across[k];
                if (e >= n || !listed.set(e)) continue;
                __builtin_prefetch(links + e * ld);
                queue[tail++] = e;
            }
        }
        if (!offsets.push_back(tail)) return false;
    }
    return true;
}

/// A matrix with the columns of `source` in the given order; false when memory runs out.
bool take_columns(const dense2D<unsigned int>& source, const dense1D<unsigned int, 16>& order,
                  dense2D<unsigned int>& result) {
    if (!result.resize_for_overwrite(source.rows(), source.cols())) return false;
    for (unsigned int j = 0; j < source.cols(); ++j) {
        std::copy_n(source.col_data(order[j]), source.rows(), result.col_data(j));
    }
    return true;
}

/// new_IDs[order[i]] = i; false when memory runs out.
bool invert(const dense1D<unsigned int, 16>& order, dense1D<unsigned int, 16>& new_IDs) {
    if (!new_IDs.resize_for_overwrite(order.size())) return false;
    for (unsigned int i = 0; i < order.size(); ++i) new_IDs[order[i]] = i;
    return true;
}

} // namespace

int get_subdomains(const dense2D<unsigned int>& neighbors, dense1D<unsigned int, 16>& elements,
                   dense1D<unsigned int, 16>& offsets) {
    elements.clear();
    offsets.clear();
    if (list_parts(neighbors, elements, offsets)) return 0;
    elements.clear();
    offsets.clear();
    return -199;
}

int get_subdomains(dense2D<unsigned int>& connectM, dense2D<unsigned int>& neighbors,
                   dense1D<unsigned int, 16>& offsets) {
    if (connectM.cols() != neighbors.cols()) return -2;

    dense1D<unsigned int, 16> elements;
    if (const int result = get_subdomains(neighbors, elements, offsets); result != 0) return result;
    dense2D<unsigned int> new_connectM;
    dense2D<unsigned int> new_neighbors;
    dense1D<unsigned int, 16> new_IDs;
    if (!take_columns(connectM, elements, new_connectM) ||
        !take_columns(neighbors, elements, new_neighbors) || !invert(elements, new_IDs)) {
        connectM.clear();
        neighbors.clear();
        offsets.clear();
        return -199;
    }
    change_indices(new_neighbors, new_IDs);
    connectM = new_connectM;
    neighbors = new_neighbors;
    return 0;
}

} // namespace qv7::plexo
