#pragma once

/// \file
/// Generated meshes for measurements: sizes are approximate, numberings are those of a mesh generator ("file
/// order") until shuffled.

#include <plexo/containers.h>
#include <plexo/ids.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <random>
#include <vector>

namespace bench {

using namespace qv7::plexo;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
    element_type type;
};

/// About n triangles of a wavy height field over a square, in `parts` disjoint strips.
inline mesh triangle_surface(std::size_t n, unsigned int parts = 1) {
    const auto side = static_cast<unsigned int>(std::max(2.0, std::sqrt(double(n) / 2)));
    const unsigned int rows = std::max(1u, side / parts); // of cells, in each part
    const unsigned int line = side + 1;
    const unsigned int part_nodes = line * (rows + 1);
    mesh m{dense2D<double>(3, parts * part_nodes), dense2D<unsigned int>(3, parts * rows * side * 2),
           ELEM_TRIA3};
    for (unsigned int part = 0, node = 0; part < parts; ++part) {
        for (unsigned int r = 0; r <= rows; ++r) {
            for (unsigned int c = 0; c <= side; ++c, ++node) {
                double* p = m.pos.col_data(node);
                p[0] = double(c) / side;
                p[1] = (double(part) * (rows + 1.5) + r) / side;
                p[2] = 0.1 * std::sin(6 * p[0]) * std::cos(5 * p[1]);
            }
        }
    }
    unsigned int* triangle = m.connectM.data();
    for (unsigned int part = 0; part < parts; ++part) {
        for (unsigned int r = 0; r < rows; ++r) {
            for (unsigned int c = 0; c < side; ++c, triangle += 6) {
                const unsigned int a = part * part_nodes + r * line + c;
                const unsigned int corners[6] = {a, a + 1, a + line + 1, a, a + line + 1, a + line};
                std::copy_n(corners, 6, triangle);
            }
        }
    }
    return m;
}

/// The nodes of a box of cells × cells × cells cubes, slightly sheared so that no coordinate repeats exactly.
inline dense2D<double> box_nodes(unsigned int cells) {
    const unsigned int line = cells + 1;
    dense2D<double> pos(3, line * line * line);
    for (unsigned int node = 0; node < pos.cols(); ++node) {
        double* p = pos.col_data(node);
        const double x = node % line, y = node / line % line, z = node / line / line;
        p[0] = (x + 0.03 * std::sin(y + 2 * z)) / cells;
        p[1] = (y + 0.03 * std::sin(z + 2 * x)) / cells;
        p[2] = (z + 0.03 * std::sin(x + 2 * y)) / cells;
    }
    return pos;
}

/// The corners of the cube whose lowest node is `a`, in the order of a hexahedron.
inline std::array<unsigned int, 8> cube_corners(unsigned int a, unsigned int line) {
    const unsigned int b = a + line * line;
    return {a, a + 1, a + line + 1, a + line, b, b + 1, b + line + 1, b + line};
}

/// About n hexahedra filling a box.
inline mesh hexa_box(std::size_t n) {
    const auto cells = static_cast<unsigned int>(std::max(1.0, std::cbrt(double(n))));
    mesh m{box_nodes(cells), dense2D<unsigned int>(8, cells * cells * cells), ELEM_HEXA8};
    for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
        const unsigned int line = cells + 1;
        const unsigned int a = e % cells + line * (e / cells % cells + line * (e / cells / cells));
        const auto corners = cube_corners(a, line);
        std::copy(corners.begin(), corners.end(), m.connectM.col_data(e));
    }
    return m;
}

/// About n tetrahedra: a box of cubes, each cut into six around a diagonal.
inline mesh tetra_box(std::size_t n) {
    static constexpr unsigned int CUT[6][4] = {{0, 1, 2, 6}, {0, 2, 3, 6}, {0, 3, 7, 6},
                                               {0, 7, 4, 6}, {0, 4, 5, 6}, {0, 5, 1, 6}};
    const mesh cubes = hexa_box(n / 6);
    mesh m{cubes.pos, dense2D<unsigned int>(4, cubes.connectM.cols() * 6), ELEM_TETRA4};
    unsigned int* tetrahedron = m.connectM.data();
    for (unsigned int e = 0; e < cubes.connectM.cols(); ++e) {
        const unsigned int* corner = cubes.connectM.col_data(e);
        for (const auto& cut : CUT) {
            for (const unsigned int k : cut) *tetrahedron++ = corner[k];
        }
    }
    return m;
}

/// n triangles around node 0: the worst case for whatever is kept by node.
inline mesh triangle_fan(unsigned int n) {
    mesh m{dense2D<double>(3, n + 2), dense2D<unsigned int>(3, n), ELEM_TRIA3};
    for (unsigned int j = 1; j < m.pos.cols(); ++j) {
        m.pos(0, j) = std::cos(6.28 * j / n);
        m.pos(1, j) = std::sin(6.28 * j / n);
    }
    for (unsigned int e = 0; e < n; ++e) {
        m.connectM(1, e) = e + 1;
        m.connectM(2, e) = e + 2;
    }
    return m;
}

/// The same mesh where every element has nodes of its own, as read from a file of facets, each moved by up to
/// `jitter` along every axis.
inline mesh soup(const mesh& source, double jitter = 0) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> move(-jitter, jitter);
    const unsigned int rows = source.connectM.rows();
    mesh m{dense2D<double>(source.pos.rows(), source.connectM.size()),
           dense2D<unsigned int>(rows, source.connectM.cols()), source.type};
    for (unsigned int e = 0, node = 0; e < source.connectM.cols(); ++e) {
        for (unsigned int i = 0; i < rows; ++i, ++node) {
            for (unsigned int k = 0; k < source.pos.rows(); ++k) {
                m.pos(k, node) = source.pos(k, source.connectM(i, e)) + (jitter > 0 ? move(random) : 0);
            }
            m.connectM(i, e) = node;
        }
    }
    return m;
}

/// The same mesh with nodes and elements in random order.
inline mesh shuffled(const mesh& source, unsigned int seed = 1) {
    std::mt19937 random(seed);
    dense1D<unsigned int, 16> new_node(source.pos.cols());
    std::iota(new_node.begin(), new_node.end(), 0u);
    std::shuffle(new_node.begin(), new_node.end(), random);
    std::vector<unsigned int> element(source.connectM.cols());
    std::iota(element.begin(), element.end(), 0u);
    std::shuffle(element.begin(), element.end(), random);
    mesh m{dense2D<double>(source.pos.rows(), source.pos.cols()),
           dense2D<unsigned int>(source.connectM.rows(), source.connectM.cols()), source.type};
    for (unsigned int j = 0; j < source.pos.cols(); ++j) {
        std::copy_n(source.pos.col_data(j), source.pos.rows(), m.pos.col_data(new_node[j]));
    }
    for (unsigned int e = 0; e < source.connectM.cols(); ++e) {
        std::copy_n(source.connectM.col_data(element[e]), source.connectM.rows(), m.connectM.col_data(e));
    }
    change_indices(m.connectM, new_node);
    return m;
}

} // namespace bench
