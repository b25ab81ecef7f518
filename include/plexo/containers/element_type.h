#pragma once

namespace qv7::plexo {

/// The absent node, element or neighbour; also the padding of the columns of mixed types.
inline constexpr unsigned int NO_ID = 4294967295u;

/// How a connectivity matrix is to be read: one element per column, corner nodes first, then higher-order
/// nodes.
enum element_type : int {
    ELEM_NONE = 0,
    ELEM_NODE1 = 1,
    ELEM_EDGE_MIX = 2, ///< edges whose node count is not fixed; no operation accepts a non-empty matrix of it
    ELEM_EDGE2 = 3,
    ELEM_EDGE3 = 4,
    ELEM_FACE_MIX = 5, ///< triangles and quadrangles, 3 or 4 rows; a triangle in 4 rows has NO_ID in the last
    ELEM_TRIA3 = 6,
    ELEM_QUAD4 = 7,
    ELEM_TRIA6 = 8,
    ELEM_QUAD8 = 9,
    ELEM_QUAD9 = 10,
    ELEM_SOLID_MIX =
        11, ///< tetrahedra, pyramids, wedges, hexahedra; 4, 5, 6 or 8 rows, NO_ID in trailing rows
    ELEM_TETRA4 = 12,
    ELEM_TETRA10 = 13,
    ELEM_PYRAMID5 = 14,
    ELEM_PYRAMID14 = 15,
    ELEM_WEDGE6 = 16,
    ELEM_WEDGE18 = 17,
    ELEM_HEXA8 = 18,
    ELEM_HEXA20 = 19,
    ELEM_HEXA27 = 20
};

/// Number of element type codes, 0 … 20.
inline constexpr int ELEMENT_TYPE_COUNT = 21;

/// Rows of a connectivity matrix of each type; 0 where the type does not fix it.
inline constexpr unsigned int NODES_PER_ELEMENT[ELEMENT_TYPE_COUNT] = {0, 1, 0,  2, 3,  0, 3,  4, 6,  8, 9,
                                                                       0, 4, 10, 5, 14, 6, 18, 8, 20, 27};

/// Corner nodes of an element of each type.
inline constexpr unsigned int VERTICES_PER_ELEMENT[ELEMENT_TYPE_COUNT] = {0, 1, 2, 2, 2, 0, 3, 4, 3, 4, 4,
                                                                          0, 4, 4, 5, 5, 6, 6, 8, 8, 8};

} // namespace qv7::plexo
