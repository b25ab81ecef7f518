#pragma once

#include <plexo/export.h>

#include <atomic>
#include <cstddef>

namespace qv7::math1 {

/// Uninitialised memory for `bytes` bytes, aligned to at least 64 bytes; large blocks stand on huge pages
/// where the platform has them, because the first touch of small pages costs more than most mesh algorithms.
/// Null when the memory cannot be had, and for 0 bytes.
PLEXO_API void* __vector_num_alloc(std::size_t bytes) noexcept;

/// Releases what __vector_num_alloc gave; null is ignored.
PLEXO_API void __vector_num_free(void* block) noexcept;

/// Base of everything that Ptr counts references to. The count is atomic, so containers that share storage
/// may be created and released on different threads.
class PLEXO_API ref_counted {
public:
    ref_counted() noexcept = default;
    ref_counted(const ref_counted&) = delete;
    ref_counted& operator=(const ref_counted&) = delete;
    virtual ~ref_counted();

    void add_reference() const noexcept { references_.fetch_add(1, std::memory_order_relaxed); }

    /// Gives up one reference; the last one destroys the object. Decrement and test are one atomic step.
    void release_reference() const noexcept {
        if (references_.fetch_sub(1, std::memory_order_acq_rel) - 1 < 1) __destroy();
    }

    /// True when nobody but the caller holds a reference.
    bool exclusively_held() const noexcept { return references_.load(std::memory_order_acquire) == 1; }

private:
    void __destroy() const noexcept;

    mutable std::atomic<int> references_{0};
};

/// An intrusive smart pointer to a ref_counted X.
template <typename X>
class Ptr {
public:
    Ptr() noexcept = default;
    explicit Ptr(X* object) noexcept : object_(object) {
        if (object_) object_->add_reference();
    }
    Ptr(const Ptr& other) noexcept : Ptr(other.object_) {}
    ~Ptr() {
        if (object_) object_->release_reference();
    }

    Ptr& operator=(X* object) noexcept {
        if (object) object->add_reference(); // first, so that assigning the object already held is safe
        if (object_) object_->release_reference();
        object_ = object;
        return *this;
    }
    Ptr& operator=(const Ptr& other) noexcept { // NOLINT(bugprone-unhandled-self-assignment): handled above
        return *this = other.object_;
    }

    X* get() const noexcept { return object_; }
    X* operator->() const noexcept { return object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

private:
    X* object_ = nullptr;
};

/// A block of `capacity` entries of T that containers share. Entries are not initialised.
template <typename T, unsigned int Alignment>
class PLEXO_API vector_num : public ref_counted {
public:
    /// A new block with no reference yet; null when the memory cannot be had or capacity exceeds 32 bits.
    static vector_num* create(std::size_t capacity) noexcept;
    ~vector_num() override;

    T* data() const noexcept { return data_; }
    unsigned int capacity() const noexcept { return capacity_; }

private:
    vector_num(T* data, unsigned int capacity) noexcept : data_(data), capacity_(capacity) {}

    T* data_;
    unsigned int capacity_;
};

extern template class vector_num<unsigned int, 16>;
extern template class vector_num<int, 16>;
extern template class vector_num<double, 16>;

} // namespace qv7::math1
