#pragma once

#include <plexo/containers/dense1D.h>

#include <utility>

namespace qv7::math1 {

/// A column-major matrix that views reference-counted storage: entry (i, j) lies ld() · j + i entries behind
/// entry (0, 0). Copies and views share storage and write through to one another; copy() is deep.
///
/// A matrix that gains entries while its storage is shared, or that is a view of a larger block, first gets
/// storage of its own. Functions that return bool answer false, and change nothing, when storage cannot be
/// had or rows · cols does not fit 32 bits; none throws.
template <typename T>
class PLEXO_API dense2D {
public:
    dense2D() noexcept = default;
    /// Entries are T(); 0×0 when the storage cannot be had.
    dense2D(unsigned int rows, unsigned int cols) noexcept : dense2D(rows, cols, T()) {}
    /// Entries are value; 0×0 when the storage cannot be had.
    dense2D(unsigned int rows, unsigned int cols, T value) noexcept;
    dense2D(const dense2D&) noexcept = default;            ///< shares storage
    dense2D& operator=(const dense2D&) noexcept = default; ///< shares storage
    ~dense2D() = default;

    unsigned int rows() const noexcept { return rows_; }
    unsigned int cols() const noexcept { return cols_; }
    /// Leading dimension: entries from the start of one column to the start of the next, at least rows().
    unsigned int ld() const noexcept { return ld_; }
    unsigned int size() const noexcept { return size_; } ///< rows() · cols()
    bool empty() const noexcept { return size_ == 0; }
    bool contiguous() const noexcept { return ld_ == rows_; }

    T& operator()(unsigned int i, unsigned int j) noexcept { return col_data(j)[i]; }
    const T& operator()(unsigned int i, unsigned int j) const noexcept { return col_data(j)[i]; }
    /// Entry (0, 0); null when there is no storage.
    T* data() noexcept { return storage_ ? storage_->data() + offset_ : nullptr; }
    const T* data() const noexcept { return storage_ ? storage_->data() + offset_ : nullptr; }
    /// Entry (0, j).
    T* col_data(unsigned int j) noexcept { return data() + std::size_t(j) * ld_; }
    const T* col_data(unsigned int j) const noexcept { return data() + std::size_t(j) * ld_; }

    /// Entry (i, j) is kept where it still exists; new ones are T().
    bool resize(unsigned int rows, unsigned int cols) noexcept { return resize(rows, cols, T()); }
    /// Entry (i, j) is kept where it still exists; new ones are value.
    bool resize(unsigned int rows, unsigned int cols, T value) noexcept;
    /// rows × cols entries of unspecified value, contiguous, in storage that no other container sees: for
    /// outputs about to be written whole.
    bool resize_for_overwrite(unsigned int rows, unsigned int cols) noexcept;
    /// Storage of its own with room for rows · cols entries; the shape stays.
    bool reserve(unsigned int rows, unsigned int cols) noexcept;
    /// Appends rows() entries as one column, amortised O(rows()). The column may lie in this matrix.
    bool push_back_col(const T* column) noexcept;
    /// Takes a deep, contiguous copy of source.
    bool copy(const dense2D& source) noexcept;
    /// Shares the storage of source.
    void shallow_copy(const dense2D& source) noexcept { *this = source; }

    /// A view of column j, sharing storage.
    dense1D<T, 16> col(unsigned int j) noexcept { return std::as_const(*this).col(j); }
    const dense1D<T, 16> col(unsigned int j) const noexcept {
        return dense1D<T, 16>(storage_, rows_, offset_ + j * ld_);
    }
    /// A view of the m×n block at (i, j), sharing storage; clipped to the matrix.
    dense2D sub_matrix(unsigned int i, unsigned int j, unsigned int m, unsigned int n) noexcept;
    const dense2D sub_matrix(unsigned int i, unsigned int j, unsigned int m, unsigned int n) const noexcept;
    /// A view of all entries of a contiguous matrix, sharing storage; empty when the matrix is not
    /// contiguous.
    const dense1D<T, 16> as_vector() const noexcept;

    void clear() noexcept; ///< 0 by 0, storage kept

private:
    using block = vector_num<T, 16>;

    void set_shape(unsigned int rows, unsigned int cols) noexcept;
    bool has_own_room_for(std::size_t n) const noexcept {
        return storage_ && offset_ + n <= storage_->capacity() && storage_->exclusively_held();
    }
    bool move_to_new_storage(unsigned int rows, unsigned int cols, std::size_t capacity) noexcept;

    Ptr<block> storage_;
    unsigned int size_ = 0;
    unsigned int offset_ = 0;
    unsigned int rows_ = 0;
    unsigned int cols_ = 0;
    unsigned int ld_ = 0;
};

extern template class dense2D<unsigned int>;
extern template class dense2D<int>;
extern template class dense2D<double>;

} // namespace qv7::math1
