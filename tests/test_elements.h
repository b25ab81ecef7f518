#pragma once

/// \file
/// Random connectivities of every element type.

#include <plexo/containers.h>

#include <random>

namespace test {

using namespace qv7::plexo;

/// `cols` elements of the type over `nodes` nodes, in as many rows as the type wants; the mixed types with
/// every number of nodes. Codes without nodes give an empty matrix.
inline dense2D<unsigned int> random_elements(element_type type, unsigned int cols, unsigned int nodes,
                                             std::mt19937& random) {
    const bool faces = type == ELEM_FACE_MIX, solids = type == ELEM_SOLID_MIX;
    const unsigned int rows = faces ? 4 : solids ? 8 : NODES_PER_ELEMENT[type];
    if (rows == 0) return {};
    dense2D<unsigned int> connectM(rows, cols);
    for (unsigned int j = 0; j < cols; ++j) {
        for (unsigned int i = 0; i < rows; ++i) connectM(i, j) = unsigned(random() % nodes);
        constexpr unsigned int solid_nodes[] = {4, 5, 6, 8};
        const unsigned int used = faces    ? 3 + unsigned(random() % 2)
                                  : solids ? solid_nodes[random() % 4]
                                           : rows;
        for (unsigned int i = used; i < rows; ++i) connectM(i, j) = NO_ID;
    }
    return connectM;
}

/// Nodes with coordinates of every size.
inline dense2D<double> random_nodes(unsigned int rows, unsigned int cols, std::mt19937& random) {
    constexpr double odd[] = {0.0, -0.0, 1.0, 1e-300, 4.9e-324, 1e300, -3.5, 123456.5, 1e-7, 9999999.5};
    dense2D<double> pos(rows, cols);
    for (unsigned int j = 0; j < cols; ++j) {
        for (unsigned int i = 0; i < rows; ++i) {
            pos(i, j) = random() % 5 == 0 ? odd[random() % std::size(odd)] : double(random()) / 1e7 - 200;
        }
    }
    return pos;
}

} // namespace test
