#pragma once

#include <plexo/metrics.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <initializer_list>
#include <random>

namespace test_metrics {

using namespace qv7::plexo;

/// Reproducible on every platform: the distributions of the standard library are not.
class generator {
public:
    explicit generator(unsigned int seed) : bits_(seed) {}
    double uniform(double low, double high) {
        return low + (high - low) * (static_cast<double>(bits_()) / 4294967296.0);
    }
    unsigned int below(unsigned int n) { return static_cast<unsigned int>(bits_() % n); }

private:
    std::mt19937 bits_;
};

/// A rotation, in long double so that what is built from it is rounded once.
template <unsigned int N>
struct rotation {
    long double entry[N][N];
};

inline rotation<2> random_rotation(generator& random, std::integral_constant<unsigned int, 2>) {
    const long double angle = static_cast<long double>(random.uniform(0, 6.283185307179586));
    return {{{std::cos(angle), -std::sin(angle)}, {std::sin(angle), std::cos(angle)}}};
}

inline rotation<3> random_rotation(generator& random, std::integral_constant<unsigned int, 3>) {
    long double q[4], norm = 0;
    do {
        norm = 0;
        for (long double& component : q) {
            component = static_cast<long double>(random.uniform(-1, 1));
            norm += component * component;
        }
    } while (norm < 0.01L || norm > 1);
    const long double s = 2 / norm, w = q[0], x = q[1], y = q[2], z = q[3];
    return {{{1 - s * (y * y + z * z), s * (x * y - z * w), s * (x * z + y * w)},
             {s * (x * y + z * w), 1 - s * (x * x + z * z), s * (y * z - x * w)},
             {s * (x * z - y * w), s * (y * z + x * w), 1 - s * (x * x + y * y)}}};
}

/// R·diag(values)·Rᵀ rounded to double.
template <unsigned int N>
symmetric_fixed<double, N> metric_with(const rotation<N>& R, const vector_fixed<double, N>& values) {
    symmetric_fixed<double, N> M;
    for (unsigned int i = 0; i < N; ++i) {
        for (unsigned int j = i; j < N; ++j) {
            long double sum = 0;
            for (unsigned int k = 0; k < N; ++k) {
                sum += static_cast<long double>(values[k]) * R.entry[i][k] * R.entry[j][k];
            }
            M(i, j) = static_cast<double>(sum);
        }
    }
    return M;
}

/// A metric with random axes and sizes spread evenly, in the logarithm, over [smallest, largest].
template <unsigned int N>
symmetric_fixed<double, N> random_metric(generator& random, double smallest, double largest) {
    vector_fixed<double, N> values;
    for (double& value : values) {
        const double size = smallest * std::pow(largest / smallest, random.uniform(0, 1));
        value = 1 / (size * size);
    }
    return metric_with(random_rotation(random, std::integral_constant<unsigned int, N>()), values);
}

/// vᵀMv in long double.
template <unsigned int N>
long double form(const symmetric_fixed<double, N>& M, const vector_fixed<double, N>& v) {
    long double sum = 0;
    for (unsigned int i = 0; i < N; ++i) {
        for (unsigned int j = 0; j < N; ++j) {
            sum += static_cast<long double>(M(i, j)) * static_cast<long double>(v[i]) *
                   static_cast<long double>(v[j]);
        }
    }
    return sum;
}

/// The largest absolute entry.
template <unsigned int N>
double norm(const symmetric_fixed<double, N>& M) {
    double largest = 0;
    for (unsigned int k = 0; k < M.size(); ++k) largest = std::max(largest, std::abs(M[k]));
    return largest;
}

inline dense1D<double, 16> vector_of(std::initializer_list<double> values) {
    dense1D<double, 16> result;
    for (const double value : values) result.push_back(value);
    return result;
}

inline dense1D<unsigned int, 16> IDs_of(std::initializer_list<unsigned int> values) {
    dense1D<unsigned int, 16> result;
    for (const unsigned int value : values) result.push_back(value);
    return result;
}

/// A matrix of the given rows from its columns one after another.
template <typename T>
dense2D<T> matrix_of(unsigned int rows, std::initializer_list<T> values) {
    dense2D<T> result(rows, static_cast<unsigned int>(values.size()) / rows);
    std::copy(values.begin(), values.end(), result.data());
    return result;
}

/// The same matrix as a block of a larger one, whose other entries are `around`.
template <typename T>
dense2D<T> as_view(const dense2D<T>& source, T around) {
    dense2D<T> block(source.rows() + 3, source.cols() + 2, around);
    dense2D<T> view = block.sub_matrix(2, 1, source.rows(), source.cols());
    for (unsigned int j = 0; j < source.cols(); ++j) {
        std::copy_n(source.col_data(j), source.rows(), view.col_data(j));
    }
    return view;
}

/// Same shape and same bits, NaN included.
template <typename T>
bool same_bits(const dense2D<T>& a, const dense2D<T>& b) {
    if (a.rows() != b.rows() || a.cols() != b.cols()) return false;
    for (unsigned int j = 0; j < a.cols(); ++j) {
        if (std::memcmp(a.col_data(j), b.col_data(j), a.rows() * sizeof(T)) != 0) return false;
    }
    return true;
}

inline bool same_bits(const dense1D<double, 16>& a, const dense1D<double, 16>& b) {
    return a.size() == b.size() &&
           (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

} // namespace test_metrics
