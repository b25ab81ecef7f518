#include <plexo/ids.h>

#include "id_table.h"

#include <algorithm>
#include <new>

namespace qv7::plexo {

namespace {

void fill_absent(dense1D<unsigned int, 16>& positions, unsigned int n) {
    positions.clear();
    if (!positions.resize(n, NO_ID)) throw std::bad_alloc();
}

/// Independent of the order of the entries, so that all rotations of a column share a key. Each entry is
/// spread over the whole key first: bare sums of neighbouring IDs would meet far too often.
unsigned int column_key(const unsigned int* column, unsigned int rows) {
    unsigned int key = 0;
    for (unsigned int i = 0; i < rows; ++i) key += scatter_bits(column[i]);
    return key;
}

void turn_to_largest(unsigned int* column, unsigned int rows) {
    std::rotate(column, std::max_element(column, column + rows), column + rows);
}

/// The columns of a matrix chained by key, each chain in increasing column order.
class column_table {
public:
    explicit column_table(const dense2D<unsigned int>& columns) {
        const unsigned int n = columns.cols();
        mask_ = std::bit_ceil(std::size_t(n) + 1) - 1;
        if (!heads_.allocate_filled(mask_ + 1, 0xFF) || !next_.allocate(n)) throw std::bad_alloc();
        for (unsigned int j = n; j-- > 0;) {
            unsigned int& head = heads_[bucket(column_key(columns.col_data(j), columns.rows()))];
            next_[j] = head;
            head = j;
        }
    }

    unsigned int first(unsigned int key) const { return heads_[bucket(key)]; }
    unsigned int next(unsigned int column) const { return next_[column]; }

private:
    std::size_t bucket(unsigned int key) const { return scatter_bits(key) & mask_; }

    scratch<unsigned int> heads_;
    scratch<unsigned int> next_;
    std::size_t mask_ = 0;
};

} // namespace

int get_IDs(const dense1D<unsigned int, 16>& A, const dense1D<unsigned int, 16>& B,
            dense1D<unsigned int, 16>& B_in_A, dense1D<unsigned int, 16>& A_in_B) {
    const dense1D<unsigned int, 16> a = A; // shared views: an output may be one of the lists
    const dense1D<unsigned int, 16> b = B;
    fill_absent(B_in_A, b.size());
    fill_absent(A_in_B, a.size());
    if (a.empty()) return 0;

    id_map position_in_A;
    if (!position_in_A.prepare(a.size(), max_ID(a))) throw std::bad_alloc();
    for (unsigned int i = 0; i < a.size(); ++i) {
        if (a[i] != NO_ID) position_in_A.set(a[i], i);
    }
    for (unsigned int j = 0; j < b.size(); ++j) {
        const unsigned int i = position_in_A.find(b[j]);
        if (i == NO_ID) continue;
        B_in_A[j] = i;
        A_in_B[i] = j;
    }
    return 0;
}

int get_IDs(const dense2D<unsigned int>& A, const dense2D<unsigned int>& B, dense1D<unsigned int, 16>& B_in_A,
            dense1D<unsigned int, 16>& A_in_B, bool oriented) {
    const dense2D<unsigned int> a = A; // shared views: an output may share the storage of a matrix
    const dense2D<unsigned int> b = B;
    B_in_A.clear();
    A_in_B.clear();
    if (a.rows() != b.rows()) return -2;
    fill_absent(B_in_A, b.cols());
    fill_absent(A_in_B, a.cols());

    const unsigned int rows = a.rows();
    const column_table columns_of_A(a);
    scratch<unsigned int> buffer;
    if (!buffer.allocate(2 * std::size_t(rows))) throw std::bad_alloc();
    unsigned int* const sought = buffer.data();
    unsigned int* const candidate = sought + rows;

    const auto same = [&](const unsigned int* column) {
        if (oriented) return std::equal(column, column + rows, sought);
        std::copy_n(column, rows, candidate);
        turn_to_largest(candidate, rows);
        if (std::equal(candidate, candidate + rows, sought)) return true;
        std::reverse(candidate, candidate + rows);
        turn_to_largest(candidate, rows);
        return std::equal(candidate, candidate + rows, sought);
    };
    for (unsigned int j = 0; j < b.cols(); ++j) {
        std::copy_n(b.col_data(j), rows, sought);
        if (!oriented) turn_to_largest(sought, rows);
        unsigned int i = columns_of_A.first(column_key(sought, rows));
        while (i != NO_ID && !same(a.col_data(i))) i = columns_of_A.next(i);
        if (i == NO_ID) continue;
        B_in_A[j] = i;
        A_in_B[i] = j;
    }
    return 0;
}

} // namespace qv7::plexo
