#pragma once

#include <plexo/containers/storage.h>

namespace qv7::math1 {

/// A vector that views reference-counted storage. Copies share storage and write through to one another;
/// copy() is deep. T is unsigned int, int or double; 16 is the storage alignment in bytes.
///
/// A vector that gains entries while its storage is shared first gets storage of its own, so another
/// container never sees its new entries or its new size. Functions that return bool answer false, and change
/// nothing, when storage cannot be had or a size does not fit 32 bits; none throws.
template <typename T, unsigned int Alignment>
class PLEXO_API dense1D {
public:
    dense1D() noexcept = default;
    /// n value-initialised entries; empty when the storage cannot be had.
    explicit dense1D(unsigned int n) noexcept : dense1D(n, T()) {}
    /// n entries equal to value; empty when the storage cannot be had.
    dense1D(unsigned int n, T value) noexcept;
    dense1D(const dense1D&) noexcept = default;            ///< shares storage
    dense1D& operator=(const dense1D&) noexcept = default; ///< shares storage
    /// Sets every entry, also as seen by containers that share them.
    dense1D& operator=(T value) noexcept;
    ~dense1D() = default;

    bool operator==(const dense1D& other) const noexcept;
    bool operator!=(const dense1D& other) const noexcept { return !(*this == other); }

    unsigned int size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    T& operator[](unsigned int i) noexcept { return data()[i]; }
    const T& operator[](unsigned int i) const noexcept { return data()[i]; }
    /// Entry 0; null when there is no storage.
    T* data() noexcept { return storage_ ? storage_->data() + offset_ : nullptr; }
    const T* data() const noexcept { return storage_ ? storage_->data() + offset_ : nullptr; }
    T* begin() noexcept { return data(); }
    T* end() noexcept { return data() + size_; }
    const T* begin() const noexcept { return data(); }
    const T* end() const noexcept { return data() + size_; }

    /// Keeps the first n entries; new ones are T(). Amortised O(new entries).
    bool resize(unsigned int n) noexcept { return resize(n, T()); }
    /// Keeps the first n entries; new ones are value.
    bool resize(unsigned int n, T value) noexcept;
    /// n entries of unspecified value in storage that no other container sees: for outputs about to be
    /// written whole.
    bool resize_for_overwrite(unsigned int n) noexcept;
    /// Storage of its own with room for max(n, capacity_hint) entries; the size stays.
    bool reserve(unsigned int n, unsigned int capacity_hint = 0) noexcept;
    /// Appends one entry, amortised O(1).
    bool push_back(T value) noexcept {
        if (!has_own_room_for(std::size_t(size_) + 1) && !grow(std::size_t(size_) + 1)) return false;
        data()[size_++] = value;
        return true;
    }
    /// Appends n equal entries.
    bool push_back_n(unsigned int n, T value) noexcept;
    /// Takes a deep copy of source.
    bool copy(const dense1D& source) noexcept;
    /// Shares the storage of source.
    void shallow_copy(const dense1D& source) noexcept { *this = source; }

    /// A view of the n entries from `start`, sharing storage; clipped to the vector.
    dense1D sub_vector(unsigned int start, unsigned int n) noexcept;
    const dense1D sub_vector(unsigned int start, unsigned int n) const noexcept;

    void clear() noexcept { size_ = 0; } ///< size 0, storage kept
    void clear_hard() noexcept;          ///< size 0, storage released

private:
    template <typename>
    friend class dense2D;

    dense1D(const Ptr<vector_num<T, Alignment>>& storage, unsigned int n, unsigned int offset) noexcept
        : storage_(storage), size_(n), offset_(offset) {}
    bool has_own_room_for(std::size_t n) const noexcept {
        return storage_ && offset_ + n <= storage_->capacity() && storage_->exclusively_held();
    }
    bool grow(std::size_t n) noexcept;
    bool move_to_new_storage(std::size_t capacity) noexcept;

    Ptr<vector_num<T, Alignment>> storage_;
    unsigned int size_ = 0;
    unsigned int offset_ = 0;
};

extern template class dense1D<unsigned int, 16>;
extern template class dense1D<int, 16>;
extern template class dense1D<double, 16>;

} // namespace qv7::math1
