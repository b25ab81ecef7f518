#include "transforms.h"

#include <plexo/geometry.h>
#include <plexo/ids.h>

#include "ids/id_table.h"

#include <algorithm>
#include <cstdint>

namespace qv7::plexo {

namespace {

/// Elements to be copied, apart from the mesh they come from.
struct element_set {
    dense1D<unsigned int, 16> nodes;    ///< their distinct nodes, in order of first appearance
    dense2D<unsigned int> connectivity; ///< over positions in `nodes`

    /// \return 0, -2 (an ID is neither NO_ID nor a node) or -199
    int read(const dense2D<unsigned int>& source, unsigned int node_count) {
        if (!check_IDs(source, node_count)) return -2;
        id_map position;
        if (!connectivity.copy(source)) return -199;
        if (source.empty()) return 0;
        if (!position.prepare(source.size(), max_ID(source))) return -199;
        unsigned int* const id = connectivity.data();
        for (unsigned int i = 0; i < connectivity.size(); ++i) {
            if (id[i] == NO_ID) continue;
            unsigned int k = position.find(id[i]);
            if (k == NO_ID) {
                k = nodes.size();
                position.set(id[i], k);
                if (!nodes.push_back(id[i])) return -199;
            }
            id[i] = k;
        }
        return 0;
    }
};

/// True when a container can hold rows × cols entries.
bool fits(unsigned int rows, std::uint64_t cols) {
    return cols <= NO_ID && rows * cols <= NO_ID;
}

/// Appends `copies` copies of the nodes, one after the other; false, with nothing changed, when they do not
/// fit.
bool append_nodes(dense2D<double>& pos, unsigned int rows, const dense1D<unsigned int, 16>& nodes,
                  unsigned int copies) {
    const unsigned int old_count = pos.cols();
    const std::uint64_t new_count = old_count + std::uint64_t(copies) * nodes.size();
    if (!fits(rows, new_count) || !pos.resize(rows, static_cast<unsigned int>(new_count))) return false;
    if (nodes.empty()) return true;
    double* const p = pos.data();
    const std::size_t ld = pos.ld();
    double* to = p + old_count * ld;
    for (unsigned int copy = 0; copy < copies; ++copy) {
        for (const unsigned int node : nodes) {
            std::copy_n(p + node * ld, pos.rows(), to);
            to += ld;
        }
    }
    return true;
}

/// Writes the elements over node IDs from `first_node` on into the columns from `first_column` on.
void put_elements(const dense2D<unsigned int>& connectivity, unsigned int first_node,
                  dense2D<unsigned int>& out, unsigned int first_column) {
    const unsigned int rows = connectivity.rows();
    const unsigned int* from = connectivity.data();
    for (unsigned int j = 0; j < connectivity.cols(); ++j, from += rows) {
        unsigned int* const to = out.col_data(first_column + j);
        for (unsigned int i = 0; i < rows; ++i) to[i] = from[i] == NO_ID ? NO_ID : from[i] + first_node;
    }
}

/// Plain copy, after which `pos` has the given number of rows, not less than before.
int copy_elements(dense2D<double>& pos, unsigned int rows, dense2D<unsigned int>& connectC,
                  const dense2D<unsigned int>& connectS) {
    const unsigned int old_count = pos.cols();
    element_set copied;
    if (const int error = copied.read(connectS, old_count)) return error;
    if (!append_nodes(pos, rows, copied.nodes, 1)) return -199;
    put_elements(copied.connectivity, old_count, copied.connectivity, 0);
    connectC = copied.connectivity;
    return 0;
}

/// Appends copies of the nodes and, to be written, columns for as many copies of the elements. The matrices
/// get the given rows, no fewer than before. False, with nothing changed, when all that does not fit.
bool append_copies(dense2D<double>& pos, unsigned int dimensions, dense2D<unsigned int>& connectC,
                   unsigned int rows, const element_set& copied, unsigned int copies) {
    const unsigned int old_rows = connectC.rows();
    const unsigned int old_cols = connectC.cols();
    const std::uint64_t new_cols = old_cols + std::uint64_t(copies) * copied.connectivity.cols();
    const std::uint64_t new_nodes = pos.cols() + std::uint64_t(copies) * copied.nodes.size();
    // Before anything large is allocated.
    if (!fits(rows, new_cols) || !fits(dimensions, new_nodes)) return false;

    // Elements that cannot grow in place are kept until nothing can fail any more.
    const bool relocates = rows != old_rows || !connectC.contiguous();
    const dense2D<unsigned int> old_connectC = relocates ? connectC : dense2D<unsigned int>();
    if (!connectC.resize(rows, static_cast<unsigned int>(new_cols), NO_ID)) return false;
    if (append_nodes(pos, dimensions, copied.nodes, copies)) return true;
    if (relocates) {
        connectC = old_connectC;
    } else {
        connectC.resize(old_rows, old_cols);
    }
    return false;
}

/// Copies turned by turn_of(k) and then moved by shift_of(k), k = 1 … nc.
template <unsigned int D, typename TurnOf, typename ShiftOf>
int copy_along(dense2D<double>& pos, dense2D<unsigned int>& connectC, unsigned int nc,
               const dense2D<unsigned int>& connectS, TurnOf turn_of, ShiftOf shift_of) {
    if (pos.empty() || nc == 0) return 0;
    const unsigned int old_nodes = pos.cols();
    const unsigned int old_elements = connectC.cols();
    element_set copied;
    if (const int error = copied.read(connectS, old_nodes)) return error;
    const unsigned int nodes = copied.nodes.size();
    const unsigned int elements = copied.connectivity.cols();

    const bool moves = nodes != 0 && !(turn_of(1).is_identity() && shift_of(1).is_identity());
    const unsigned int dimensions = moves ? std::max(D, pos.rows()) : pos.rows();
    const unsigned int rows = std::max(connectC.rows(), copied.connectivity.rows());
    if (!append_copies(pos, dimensions, connectC, rows, copied, nc)) return -199;
    if (copied.connectivity.empty()) return 0;
    for (unsigned int copy = 0; copy < nc; ++copy) {
        const unsigned int first_node = old_nodes + copy * nodes;
        const rotation<D> turn = turn_of(copy + 1.0);
        const translation<D> shift = shift_of(copy + 1.0);
        if (!turn.is_identity()) apply_to_columns(pos, turn, first_node, first_node + nodes);
        if (!shift.is_identity()) apply_to_columns(pos, shift, first_node, first_node + nodes);
        put_elements(copied.connectivity, first_node, connectC, old_elements + copy * elements);
    }
    return 0;
}

template <unsigned int D>
vector_fixed<double, D> times(double k, vector_fixed<double, D> v) {
    for (double& component : v) component *= k;
    return v;
}

/// p + N · (-2 / |N|²) · ((p - P) · N).
template <unsigned int D>
struct reflection {
    vector_fixed<double, D> P;
    vector_fixed<double, D> N;
    vector_fixed<double, D> step; ///< N · (-2 / |N|²)

    void apply(double* p) const {
        double height = (p[0] - P[0]) * N[0];
        for (unsigned int k = 1; k < D; ++k) height += (p[k] - P[k]) * N[k];
        for (unsigned int k = 0; k < D; ++k) p[k] += step[k] * height;
    }
};

template <unsigned int D>
int copy_mirrored(dense2D<double>& pos, dense2D<unsigned int>& connectC, const vector_fixed<double, D>& P,
                  const vector_fixed<double, D>& N, const dense2D<unsigned int>& connectS) {
    if (pos.empty()) return 0;
    double norm2 = N[0] * N[0];
    for (unsigned int k = 1; k < D; ++k) norm2 += N[k] * N[k];
    if (!(norm2 > 0)) return -4;
    const unsigned int old_nodes = pos.cols();
    if (const int error = copy_elements(pos, std::max(D, pos.rows()), connectC, connectS)) return error;
    apply_to_columns(pos, reflection<D>{P, N, times(-2 / norm2, N)}, old_nodes, pos.cols());
    return 0;
}

} // namespace

int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC, const dense2D<unsigned int>& connectS) {
    return copy_elements(pos, pos.rows(), connectC, connectS);
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC, const vector_fixed<double, 2>& T,
              const vector_fixed<double, 2>& center, double angle, unsigned int nc,
              const dense2D<unsigned int>& connectS) {
    return copy_along<2>(
        pos, connectC, nc, connectS, [&](double k) { return rotation<2>::by_angle(center, k * angle); },
        [&](double k) { return translation<2>{times(k, T)}; });
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC, const vector_fixed<double, 3>& T,
              const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& R, unsigned int nc,
              const dense2D<unsigned int>& connectS) {
    return copy_along<3>(
        pos, connectC, nc, connectS, [&](double k) { return rotation<3>::by_vector(center, times(k, R)); },
        [&](double k) { return translation<3>{times(k, T)}; });
}

int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC, const vector_fixed<double, 2>& P,
                  const vector_fixed<double, 2>& N, const dense2D<unsigned int>& connectS) {
    return copy_mirrored(pos, connectC, P, N, connectS);
}

int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned int>& connectC, const vector_fixed<double, 3>& P,
                  const vector_fixed<double, 3>& N, const dense2D<unsigned int>& connectS) {
    return copy_mirrored(pos, connectC, P, N, connectS);
}

} // namespace qv7::plexo
