#include <plexo/ids.h>

namespace qv7::plexo {

namespace {

/// A box that grows, apart from the caller's so that its corners stay in registers. Two strict comparisons:
/// the first node of a reset box moves both corners, and NaN moves none.
template <unsigned int D>
struct growing_box {
    vector_fixed<double, D> min, max;

    void add(const double* p) {
        for (unsigned int k = 0; k < D; ++k) {
            min[k] = p[k] < min[k] ? p[k] : min[k];
            max[k] = p[k] > max[k] ? p[k] : max[k];
        }
    }
};

template <unsigned int D>
int grow_by_all(const dense2D<double>& pos, vector_fixed<double, D>& min, vector_fixed<double, D>& max) {
    if (pos.rows() != D) return -1;
    growing_box<D> box{min, max};
    for (unsigned int j = 0; j < pos.cols(); ++j) box.add(pos.col_data(j));
    min = box.min;
    max = box.max;
    return 0;
}

template <unsigned int D>
int grow_by_list(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes,
                 vector_fixed<double, D>& min, vector_fixed<double, D>& max) {
    if (nodes.empty()) return 0;
    if (pos.rows() != D) return -1;
    if (!check_IDs(nodes, pos.cols())) return -2;
    growing_box<D> box{min, max};
    for (const unsigned int node : nodes) {
        if (node != NO_ID) box.add(pos.col_data(node));
    }
    min = box.min;
    max = box.max;
    return 0;
}

template <unsigned int D>
int grow_by_elements(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                     vector_fixed<double, D>& min, vector_fixed<double, D>& max) {
    dense1D<unsigned int, 16> nodes;
    unique_indices(nodes, connectivity);
    return grow_by_list(pos, nodes, min, max);
}

} // namespace

int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 2>& min, vector_fixed<double, 2>& max) {
    return grow_by_all(pos, min, max);
}

int inc_bounding_box(const dense2D<double>& pos, vector_fixed<double, 3>& min, vector_fixed<double, 3>& max) {
    return grow_by_all(pos, min, max);
}

int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes,
                     vector_fixed<double, 2>& min, vector_fixed<double, 2>& max) {
    return grow_by_list(pos, nodes, min, max);
}

int inc_bounding_box(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes,
                     vector_fixed<double, 3>& min, vector_fixed<double, 3>& max) {
    return grow_by_list(pos, nodes, min, max);
}

int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                     vector_fixed<double, 2>& min, vector_fixed<double, 2>& max) {
    return grow_by_elements(pos, connectivity, min, max);
}

int inc_bounding_box(const dense2D<double>& pos, const dense2D<unsigned int>& connectivity,
                     vector_fixed<double, 3>& min, vector_fixed<double, 3>& max) {
    return grow_by_elements(pos, connectivity, min, max);
}

} // namespace qv7::plexo
