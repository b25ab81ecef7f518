#include <plexo/containers/storage.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace qv7::math1 {

namespace {

constexpr std::size_t HUGE_PAGE = std::size_t(2) << 20;
constexpr std::size_t CACHE_LINE = 64;
// Below two huge pages the alignment alone could cost as much memory as the block itself.
constexpr std::size_t HUGE_PAGE_THRESHOLD = 2 * HUGE_PAGE;

} // namespace

void* __vector_num_alloc(std::size_t bytes) noexcept {
    if (bytes == 0) return nullptr;
    const bool large = bytes >= HUGE_PAGE_THRESHOLD;
    void* block = nullptr;
    if (posix_memalign(&block, large ? HUGE_PAGE : CACHE_LINE, bytes) != 0) return nullptr;
#if defined(__linux__)
    if (large) madvise(block, bytes, MADV_HUGEPAGE); // only a hint: the block serves without it
#endif
    return block;
}

void __vector_num_free(void* block) noexcept {
    std::free(block);
}

ref_counted::~ref_counted() = default;

void ref_counted::__destroy() const noexcept {
    delete this;
}

template <typename T, unsigned int Alignment>
vector_num<T, Alignment>* vector_num<T, Alignment>::create(std::size_t capacity) noexcept {
    static_assert(CACHE_LINE % Alignment == 0);
    if (capacity > std::numeric_limits<unsigned int>::max()) return nullptr;
    T* data = static_cast<T*>(__vector_num_alloc(capacity * sizeof(T)));
    if (!data) return nullptr;
    auto* block = new (std::nothrow) vector_num(data, static_cast<unsigned int>(capacity));
    if (!block) __vector_num_free(data);
    return block;
}

template <typename T, unsigned int Alignment>
vector_num<T, Alignment>::~vector_num() {
    __vector_num_free(data_);
}

template class vector_num<unsigned int, 16>;
template class vector_num<int, 16>;
template class vector_num<double, 16>;

} // namespace qv7::math1
