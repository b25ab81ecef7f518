#pragma once

namespace qv7::math1 {

/// N entries of T, a plain value. `vector_fixed<double, 3> v{x, y, z}` lists the entries.
template <typename T, unsigned int N>
struct vector_fixed {
    T entries[N];

    /// Sets every entry.
    vector_fixed& operator=(T value) noexcept {
        for (T& entry : entries) entry = value;
        return *this;
    }

    constexpr T& operator[](unsigned int i) noexcept { return entries[i]; }
    constexpr const T& operator[](unsigned int i) const noexcept { return entries[i]; }

    constexpr T* data() noexcept { return entries; }
    constexpr const T* data() const noexcept { return entries; }
    constexpr T* begin() noexcept { return entries; }
    constexpr T* end() noexcept { return entries + N; }
    constexpr const T* begin() const noexcept { return entries; }
    constexpr const T* end() const noexcept { return entries + N; }
    static constexpr unsigned int size() noexcept { return N; }
};

/// An M×N matrix stored column by column, a plain value.
template <typename T, unsigned int M, unsigned int N>
struct matrix_fixed {
    T entries[M * N];

    /// Sets every entry.
    matrix_fixed& operator=(T value) noexcept {
        for (T& entry : entries) entry = value;
        return *this;
    }

    constexpr T& operator()(unsigned int i, unsigned int j) noexcept { return entries[j * M + i]; }
    constexpr const T& operator()(unsigned int i, unsigned int j) const noexcept {
        return entries[j * M + i];
    }

    constexpr T* data() noexcept { return entries; }
    constexpr const T* data() const noexcept { return entries; }
    static constexpr unsigned int rows() noexcept { return M; }
    static constexpr unsigned int cols() noexcept { return N; }
};

/// The upper triangle of a symmetric N×N matrix packed column by column: (m00, m01, m11) for N = 2,
/// (m00, m01, m11, m02, m12, m22) for N = 3. A plain value; braces list the packed entries.
template <typename T, unsigned int N>
struct symmetric_fixed {
    T entries[N * (N + 1) / 2];

    /// Sets every entry.
    symmetric_fixed& operator=(T value) noexcept {
        for (T& entry : entries) entry = value;
        return *this;
    }

    /// The k-th packed entry.
    constexpr T& operator[](unsigned int k) noexcept { return entries[k]; }
    constexpr const T& operator[](unsigned int k) const noexcept { return entries[k]; }

    /// Entry (i, j) of the full matrix; (i, j) and (j, i) are the same entry.
    constexpr T& operator()(unsigned int i, unsigned int j) noexcept { return entries[packed(i, j)]; }
    constexpr const T& operator()(unsigned int i, unsigned int j) const noexcept {
        return entries[packed(i, j)];
    }

    constexpr T* data() noexcept { return entries; }
    constexpr const T* data() const noexcept { return entries; }
    /// Number of packed entries.
    static constexpr unsigned int size() noexcept { return N * (N + 1) / 2; }

private:
    static constexpr unsigned int packed(unsigned int i, unsigned int j) noexcept {
        return i <= j ? j * (j + 1) / 2 + i : i * (i + 1) / 2 + j;
    }
};

} // namespace qv7::math1
