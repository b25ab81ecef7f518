#include <plexo/topology.h>

#include "containers/scratch.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>

namespace qv7::plexo {

namespace {

/// The node IDs of every column, ascending: what columns are compared by.
class column_keys {
public:
    [[nodiscard]] bool build(const dense2D<unsigned int>& connectM) noexcept {
        rows_ = connectM.rows();
        if (!keys_.allocate(std::size_t(rows_) * connectM.cols())) return false;
        for (unsigned int j = 0; j < connectM.cols(); ++j) {
            unsigned int* key = keys_.data() + std::size_t(j) * rows_;
            std::copy_n(connectM.col_data(j), rows_, key);
            std::sort(key, key + rows_);
        }
        return true;
    }

    unsigned int smallest(unsigned int column) const noexcept { return keys_[std::size_t(column) * rows_]; }

    /// A strict order of the columns: by key, and by position where keys are equal.
    bool less(unsigned int a, unsigned int b) const noexcept {
        const unsigned int* key_a = keys_.data() + std::size_t(a) * rows_;
        const unsigned int* key_b = keys_.data() + std::size_t(b) * rows_;
        const auto [in_a, in_b] = std::mismatch(key_a, key_a + rows_, key_b);
        return in_a == key_a + rows_ ? a < b : *in_a < *in_b;
    }

private:
    scratch<unsigned int> keys_;
    unsigned int rows_ = 0;
};

/// Lists the columns by key. Where the smallest nodes are dense they are counted first, so that only columns
/// with the same smallest node are compared. False when memory runs out.
bool sort_columns(const column_keys& keys, unsigned int cols, scratch<unsigned int>& order) {
    const auto less = [&keys](unsigned int a, unsigned int b) { return keys.less(a, b); };
    unsigned int largest = 0;
    for (unsigned int j = 0; j < cols; ++j) largest = std::max(largest, keys.smallest(j));
    if (largest > 4 * std::uint64_t(cols)) {
        std::iota(order.data(), order.data() + cols, 0u);
        std::sort(order.data(), order.data() + cols, less);
        return true;
    }
    scratch<unsigned int> ends; // of the columns with each smallest node, behind a start for the first
    if (!ends.allocate_filled(std::size_t(largest) + 2, 0x00)) return false;
    unsigned int* end = ends.data() + 1;
    for (unsigned int j = 0; j < cols; ++j) ++end[keys.smallest(j)];
    unsigned int total = 0;
    for (std::size_t n = 0; n <= largest; ++n) total += std::exchange(end[n], total);
    for (unsigned int j = 0; j < cols; ++j) order[end[keys.smallest(j)]++] = j;
    for (std::size_t n = 0; n <= largest; ++n) {
        std::sort(order.data() + ends[n], order.data() + ends[n + 1], less);
    }
    return true;
}

} // namespace

int sort_elfes(dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& new_IDs) {
    new_IDs.clear();
    const unsigned int cols = connectM.cols();
    column_keys keys;
    scratch<unsigned int> order;
    dense2D<unsigned int> sorted;
    if (!keys.build(connectM) || !order.allocate(cols) ||
        !sorted.resize_for_overwrite(connectM.rows(), cols)) {
        return -199;
    }
    if (connectM.empty()) {
        std::iota(order.data(), order.data() + cols, 0u);
    } else if (!sort_columns(keys, cols, order)) {
        return -199;
    }
    if (!new_IDs.resize_for_overwrite(cols)) return -199;

    for (unsigned int j = 0; j < cols; ++j) {
        std::copy_n(connectM.col_data(order[j]), connectM.rows(), sorted.col_data(j));
        new_IDs[order[j]] = j;
    }
    connectM = sorted;
    return 0;
}

} // namespace qv7::plexo
