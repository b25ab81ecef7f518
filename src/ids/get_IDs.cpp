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

/// Writes the form in which a column is compared. An oriented column is its own. Any other has two readings
/// that lead with its largest entry, forwards from the first such entry and backwards from the last; each of
/// the two has the other as its reverse reading, so the lesser stands for both.
void write_form(const unsigned int* column, unsigned int rows, bool oriented, unsigned int* form) {
    if (oriented || rows == 0) {
        std::copy_n(column, rows, form);
        return;
    }
    unsigned int first = 0;
    unsigned int last = 0;
    for (unsigned int i = 1; i < rows; ++i) {
        if (column[i] > column[first]) first = i;
        if (column[i] >= column[last]) last = i;
    }
    const auto after = [rows](unsigned int i) { return i + 1 == rows ? 0 : i + 1; };
    const auto before = [rows](unsigned int i) { return i == 0 ? rows - 1 : i - 1; };
    unsigned int f = first;
    unsigned int b = last;
    for (unsigned int k = 1; k < rows && column[f] == column[b]; ++k) {
        f = after(f);
        b = before(b);
    }
    const bool forwards = column[f] <= column[b];
    unsigned int at = forwards ? first : last;
    for (unsigned int k = 0; k < rows; ++k) {
        form[k] = column[at];
        at = forwards ? after(at) : before(at);
    }
}

/// Finds columns by their form. Of columns of one form only the first is entered: however often an element is
/// repeated, chains stay short.
class column_table {
public:
    column_table(const dense2D<unsigned int>& columns, bool oriented) : rows_(columns.rows()) {
        const unsigned int n = columns.cols();
        mask_ = std::bit_ceil(std::size_t(n) + 1) - 1;
        if (!forms_.allocate(std::size_t(n) * rows_) || !heads_.allocate_filled(mask_ + 1, 0xFF) ||
            !links_.allocate(n))
            throw std::bad_alloc();
        for (unsigned int j = 0; j < n; ++j) {
            unsigned int* const form = forms_.data() + std::size_t(j) * rows_;
            write_form(columns.col_data(j), rows_, oriented, form);
            const unsigned int key = key_of(form);
            unsigned int& head = heads_[key & mask_];
            if (find_in_chain(head, key, form) != NO_ID) continue;
            links_[j] = {key, head};
            head = j;
        }
    }

    /// The first column of the form; NO_ID when there is none.
    unsigned int find(const unsigned int* form) const {
        const unsigned int key = key_of(form);
        return find_in_chain(heads_[key & mask_], key, form);
    }

private:
    /// The key spares most looks at the forms of other columns, which lie anywhere.
    struct link {
        unsigned int key, next;
    };

    unsigned int key_of(const unsigned int* form) const {
        unsigned int key = 0;
        for (unsigned int i = 0; i < rows_; ++i) key = scatter_bits(key ^ form[i]);
        return key;
    }

    unsigned int find_in_chain(unsigned int j, unsigned int key, const unsigned int* form) const {
        while (j != NO_ID && (links_[j].key != key ||
                              !std::equal(form, form + rows_, forms_.data() + std::size_t(j) * rows_)))
            j = links_[j].next;
        return j;
    }

    scratch<unsigned int> forms_;
    scratch<unsigned int> heads_;
    scratch<link> links_;
    std::size_t mask_ = 0;
    unsigned int rows_;
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
    B_in_A.clear();
    A_in_B.clear();
    if (A.rows() != B.rows()) return -2;
    fill_absent(B_in_A, B.cols());
    fill_absent(A_in_B, A.cols());

    const column_table columns_of_A(A, oriented);
    scratch<unsigned int> form;
    if (!form.allocate(B.rows())) throw std::bad_alloc();
    for (unsigned int j = 0; j < B.cols(); ++j) {
        write_form(B.col_data(j), B.rows(), oriented, form.data());
        const unsigned int i = columns_of_A.find(form.data());
        if (i == NO_ID) continue;
        B_in_A[j] = i;
        A_in_B[i] = j;
    }
    return 0;
}

} // namespace qv7::plexo
