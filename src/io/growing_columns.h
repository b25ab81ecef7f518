#pragma once

#include <plexo/containers.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qv7::plexo::io {

/// A matrix under construction that gains one column at a time, amortised O(rows).
template <typename T>
class growing_columns {
public:
    explicit growing_columns(unsigned int rows, T padding = T()) noexcept : rows_(rows), padding_(padding) {}

    unsigned int rows() const noexcept { return rows_; }
    unsigned int size() const noexcept { return size_; }

    /// A new column whose entries are the padding, valid until the next one; null when memory runs out or the
    /// matrix would not fit 32 bits.
    T* append() noexcept {
        if (size_ == room_ && !make_room()) return nullptr;
        return columns_.data() + std::size_t(rows_) * size_++;
    }

    /// Gives every column, present and future, `rows` rows (at least as many as so far). False when memory
    /// runs out.
    bool widen(unsigned int rows) noexcept {
        if (size_ != 0) {
            columns_.resize(rows_, size_); // drops spare columns, which never fails
            if (!columns_.resize(rows, size_, padding_)) return false;
        } else {
            columns_.clear();
        }
        rows_ = rows;
        room_ = size_;
        return true;
    }

    /// Hands the matrix over: rows × size(), contiguous; nothing is left here.
    void move_to(dense2D<T>& matrix) noexcept {
        if (size_ != 0) {
            columns_.resize(rows_, size_); // drops spare columns, which never fails
        } else {
            columns_.clear();
        }
        matrix = columns_;
        columns_ = dense2D<T>();
        size_ = room_ = 0;
    }

private:
    // Enough that the call is forgotten, few enough that they are still in the nearest cache when written.
    static constexpr unsigned int SLAB = 512;

    bool make_room() noexcept {
        const std::uint64_t most = rows_ == 0 ? NO_ID : NO_ID / rows_;
        const auto room =
            static_cast<unsigned int>(std::min<std::uint64_t>(std::uint64_t(room_) + SLAB, most));
        if (room == room_ || !columns_.resize(rows_, room, padding_)) return false;
        room_ = room;
        return true;
    }

    dense2D<T> columns_;
    unsigned int rows_;
    unsigned int size_ = 0;
    unsigned int room_ = 0; ///< columns that columns_ has
    T padding_;
};

} // namespace qv7::plexo::io
