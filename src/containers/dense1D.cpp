#include <plexo/containers/dense1D.h>

#include "growth.h"

#include <algorithm>
#include <utility>

namespace qv7::math1 {

template <typename T, unsigned int A>
dense1D<T, A>::dense1D(unsigned int n, T value) noexcept {
    resize(n, value);
}

template <typename T, unsigned int A>
dense1D<T, A>& dense1D<T, A>::operator=(T value) noexcept {
    std::fill_n(data(), size_, value);
    return *this;
}

template <typename T, unsigned int A>
bool dense1D<T, A>::operator==(const dense1D& other) const noexcept {
    return size_ == other.size_ && std::equal(begin(), end(), other.begin());
}

template <typename T, unsigned int A>
bool dense1D<T, A>::resize(unsigned int n, T value) noexcept {
    if (n > size_) {
        if (!has_own_room_for(n) && !grow(n)) return false;
        std::fill(data() + size_, data() + n, value);
    }
    size_ = n;
    return true;
}

template <typename T, unsigned int A>
bool dense1D<T, A>::resize_for_overwrite(unsigned int n) noexcept {
    if (n != 0 && !has_own_room_for(n)) {
        auto* fresh = vector_num<T, A>::create(n);
        if (!fresh) return false;
        storage_ = fresh;
        offset_ = 0;
    }
    size_ = n;
    return true;
}

template <typename T, unsigned int A>
bool dense1D<T, A>::reserve(unsigned int n, unsigned int capacity_hint) noexcept {
    const std::size_t capacity = std::max({n, capacity_hint, size_});
    return capacity == 0 || has_own_room_for(capacity) || move_to_new_storage(capacity);
}

template <typename T, unsigned int A>
bool dense1D<T, A>::push_back_n(unsigned int n, T value) noexcept {
    if (std::uint64_t(size_) + n > MAX_ENTRIES) return false;
    return resize(size_ + n, value);
}

template <typename T, unsigned int A>
bool dense1D<T, A>::copy(const dense1D& source) noexcept {
    const dense1D kept = source; // shares, so that storage held by the source is never the one written to
    if (!resize_for_overwrite(kept.size_)) return false;
    std::copy_n(kept.data(), kept.size_, data());
    return true;
}

template <typename T, unsigned int A>
dense1D<T, A> dense1D<T, A>::sub_vector(unsigned int start, unsigned int n) noexcept {
    return std::as_const(*this).sub_vector(start, n);
}

template <typename T, unsigned int A>
const dense1D<T, A> dense1D<T, A>::sub_vector(unsigned int start, unsigned int n) const noexcept {
    start = std::min(start, size_);
    return dense1D(storage_, std::min(n, size_ - start), offset_ + start);
}

template <typename T, unsigned int A>
void dense1D<T, A>::clear_hard() noexcept {
    *this = dense1D();
}

template <typename T, unsigned int A>
bool dense1D<T, A>::grow(std::size_t n) noexcept {
    return n <= MAX_ENTRIES && move_to_new_storage(grown_capacity(size_, n));
}

template <typename T, unsigned int A>
bool dense1D<T, A>::move_to_new_storage(std::size_t capacity) noexcept {
    auto* fresh = vector_num<T, A>::create(capacity);
    if (!fresh) return false;
    std::copy_n(data(), size_, fresh->data());
    storage_ = fresh;
    offset_ = 0;
    return true;
}

template class dense1D<unsigned int, 16>;
template class dense1D<int, 16>;
template class dense1D<double, 16>;

} // namespace qv7::math1
