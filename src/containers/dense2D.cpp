#include <plexo/containers/dense2D.h>

#include "growth.h"

#include <algorithm>
#include <utility>

namespace qv7::math1 {

template <typename T>
dense2D<T>::dense2D(unsigned int rows, unsigned int cols, T value) noexcept {
    resize(rows, cols, value);
}

template <typename T>
bool dense2D<T>::resize(unsigned int rows, unsigned int cols, T value) noexcept {
    const std::uint64_t n = std::uint64_t(rows) * cols;
    if (n > MAX_ENTRIES) return false;
    if (n == 0) {
        set_shape(rows, cols);
        return true;
    }
    if (rows <= rows_ && cols <= cols_) { // the entries that stay, stay where they are: ld() is kept
        rows_ = rows;
        cols_ = cols;
        size_ = static_cast<unsigned int>(n);
        return true;
    }
    const unsigned int kept_rows = std::min(rows, rows_);
    const unsigned int kept_cols = std::min(cols, cols_);
    const bool appends_columns = size_ == 0 || (rows == rows_ && contiguous());
    if (appends_columns && has_own_room_for(n)) {
        set_shape(rows, cols);
    } else if (!move_to_new_storage(rows, cols, appends_columns ? grown_capacity(size_, n) : n)) {
        return false;
    }
    if (kept_rows == rows) {
        std::fill(col_data(kept_cols), data() + n, value);
        return true;
    }
    for (unsigned int j = 0; j < cols; ++j) {
        std::fill(col_data(j) + (j < kept_cols ? kept_rows : 0), col_data(j) + rows, value);
    }
    return true;
}

template <typename T>
bool dense2D<T>::resize_for_overwrite(unsigned int rows, unsigned int cols) noexcept {
    const std::uint64_t n = std::uint64_t(rows) * cols;
    if (n > MAX_ENTRIES) return false;
    if (n != 0 && !has_own_room_for(n)) {
        block* fresh = block::create(n);
        if (!fresh) return false;
        storage_ = fresh;
        offset_ = 0;
    }
    set_shape(rows, cols);
    return true;
}

template <typename T>
bool dense2D<T>::reserve(unsigned int rows, unsigned int cols) noexcept {
    const std::uint64_t n = std::max(std::uint64_t(rows) * cols, std::uint64_t(size_));
    if (n > MAX_ENTRIES) return false;
    return n == 0 || (contiguous() && has_own_room_for(n)) || move_to_new_storage(rows_, cols_, n);
}

template <typename T>
bool dense2D<T>::push_back_col(const T* column) noexcept {
    const std::uint64_t n = std::uint64_t(rows_) * (std::uint64_t(cols_) + 1);
    if (n > MAX_ENTRIES || cols_ == MAX_ENTRIES) return false;
    const bool in_place = n == 0 || (contiguous() && has_own_room_for(n));
    const Ptr<block> source =
        in_place ? Ptr<block>() : storage_; // the column may lie in the storage given up
    if (!in_place && !move_to_new_storage(rows_, cols_, grown_capacity(size_, n))) return false;
    set_shape(rows_, cols_ + 1);
    std::copy_n(column, rows_, col_data(cols_ - 1));
    return true;
}

template <typename T>
bool dense2D<T>::copy(const dense2D& source) noexcept {
    const dense2D kept = source; // shares, so that storage held by the source is never the one written to
    if (!resize_for_overwrite(kept.rows_, kept.cols_)) return false;
    if (kept.contiguous()) {
        std::copy_n(kept.data(), kept.size_, data());
        return true;
    }
    for (unsigned int j = 0; j < cols_; ++j) std::copy_n(kept.col_data(j), rows_, col_data(j));
    return true;
}

template <typename T>
dense2D<T> dense2D<T>::sub_matrix(unsigned int i, unsigned int j, unsigned int m, unsigned int n) noexcept {
    return std::as_const(*this).sub_matrix(i, j, m, n);
}

template <typename T>
const dense2D<T> dense2D<T>::sub_matrix(unsigned int i, unsigned int j, unsigned int m,
                                        unsigned int n) const noexcept {
    i = std::min(i, rows_);
    j = std::min(j, cols_);
    dense2D view(*this);
    view.rows_ = std::min(m, rows_ - i);
    view.cols_ = std::min(n, cols_ - j);
    view.size_ = view.rows_ * view.cols_;
    // An empty block may start at the end of the matrix, where an offset need not fit 32 bits.
    if (view.size_ != 0) view.offset_ += j * ld_ + i;
    return view;
}

template <typename T>
const dense1D<T, 16> dense2D<T>::as_vector() const noexcept {
    return contiguous() ? dense1D<T, 16>(storage_, size_, offset_) : dense1D<T, 16>();
}

template <typename T>
void dense2D<T>::clear() noexcept {
    set_shape(0, 0);
}

/// Contiguous, in the storage at hand.
template <typename T>
void dense2D<T>::set_shape(unsigned int rows, unsigned int cols) noexcept {
    rows_ = rows;
    cols_ = cols;
    ld_ = rows;
    size_ = rows * cols;
}

/// A contiguous rows × cols matrix in a new block of at least `capacity` entries, holding the entries that
/// still exist; the others are not initialised.
template <typename T>
bool dense2D<T>::move_to_new_storage(unsigned int rows, unsigned int cols, std::size_t capacity) noexcept {
    block* fresh = block::create(capacity);
    if (!fresh) return false;
    const unsigned int kept_rows = std::min(rows, rows_);
    const unsigned int kept_cols = std::min(cols, cols_);
    if (contiguous() && kept_rows == rows_ && kept_rows == rows) {
        std::copy_n(data(), std::size_t(kept_rows) * kept_cols, fresh->data());
    } else {
        for (unsigned int j = 0; j < kept_cols; ++j) {
            std::copy_n(col_data(j), kept_rows, fresh->data() + std::size_t(j) * rows);
        }
    }
    storage_ = fresh;
    offset_ = 0;
    set_shape(rows, cols);
    return true;
}

template class dense2D<unsigned int>;
template class dense2D<int>;
template class dense2D<double>;

} // namespace qv7::math1
