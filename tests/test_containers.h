#pragma once

/// \file
/// Making and comparing containers in tests, and random numbers to fill them with.

#include <plexo/containers.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <random>
#include <vector>

namespace test {

using namespace qv7::plexo;
using id_list = dense1D<unsigned int, 16>;
using real_list = dense1D<double, 16>;

template <typename T>
dense1D<T, 16> list_of(const std::vector<T>& values) {
    dense1D<T, 16> list(static_cast<unsigned int>(values.size()));
    std::copy(values.begin(), values.end(), list.begin());
    return list;
}
inline id_list ids(std::initializer_list<unsigned int> values) {
    return list_of(std::vector<unsigned int>(values));
}
inline real_list reals(std::initializer_list<double> values) {
    return list_of(std::vector<double>(values));
}

/// A contiguous matrix from its entries, listed column by column.
template <typename T>
dense2D<T> matrix_of(unsigned int rows, const std::vector<T>& entries) {
    dense2D<T> matrix(rows, static_cast<unsigned int>(entries.size()) / rows);
    std::copy(entries.begin(), entries.end(), matrix.data());
    return matrix;
}
inline dense2D<unsigned int> id_matrix(unsigned int rows, std::initializer_list<unsigned int> entries) {
    return matrix_of(rows, std::vector<unsigned int>(entries));
}
inline dense2D<double> real_matrix(unsigned int rows, std::initializer_list<double> entries) {
    return matrix_of(rows, std::vector<double>(entries));
}

/// A contiguous matrix whose entries come from next(), column by column.
template <typename T, typename Next>
dense2D<T> filled(unsigned int rows, unsigned int cols, Next next) {
    dense2D<T> matrix(rows, cols);
    std::generate_n(matrix.data(), matrix.size(), next);
    return matrix;
}

/// A deep copy of a matrix in the middle of a larger block, so that ld() > rows(), whose other entries are
/// `frame`; it tells whether any of those was written.
template <typename T>
struct framed {
    explicit framed(const dense2D<T>& source, T frame_value = T(77))
        : frame(frame_value),
          block(source.rows() + 3, source.cols() + 2, frame),
          view(block.sub_matrix(1, 1, source.rows(), source.cols())) {
        for (unsigned int j = 0; j < view.cols(); ++j)
            std::copy_n(source.col_data(j), view.rows(), view.col_data(j));
    }

    bool frame_intact() const {
        const framed fresh(block.sub_matrix(1, 1, block.rows() - 3, block.cols() - 2), frame);
        return std::memcmp(block.data(), fresh.block.data(), block.size() * sizeof(T)) == 0;
    }

    T frame;
    dense2D<T> block, view;
};

/// A view with ld() > rows() inside a larger block, whose own entries are `frame`; equal to m otherwise.
template <typename T>
dense2D<T> as_view(const dense2D<T>& m, T frame = T(77)) {
    return framed<T>(m, frame).view;
}

/// All entries, column by column.
template <typename T>
std::vector<T> entries(const dense2D<T>& m) {
    std::vector<T> all;
    for (unsigned int j = 0; j < m.cols(); ++j)
        all.insert(all.end(), m.col_data(j), m.col_data(j) + m.rows());
    return all;
}
template <typename T>
std::vector<T> entries(const dense1D<T, 16>& list) {
    return std::vector<T>(list.begin(), list.end());
}

/// Same shape and entries; the leading dimensions may differ.
template <typename T>
bool same(const dense2D<T>& a, const dense2D<T>& b) {
    return a.rows() == b.rows() && a.cols() == b.cols() && entries(a) == entries(b);
}

/// Repeatable random numbers.
class dice {
public:
    explicit dice(unsigned int seed) : generator_(seed) {}
    unsigned int below(unsigned int n) { return static_cast<unsigned int>(generator_() % n); }
    bool one_in(unsigned int n) { return below(n) == 0; }
    template <typename T>
    T one_of(std::initializer_list<T> values) {
        return values.begin()[below(static_cast<unsigned int>(values.size()))];
    }
    double between(double low, double high) {
        return std::uniform_real_distribution<double>(low, high)(generator_);
    }
    std::mt19937& generator() { return generator_; }

private:
    std::mt19937 generator_;
};

} // namespace test
