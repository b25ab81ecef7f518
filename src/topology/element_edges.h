#pragma once

#include <plexo/containers.h>

namespace qv7::plexo {

/// The edges of one element shape between its corner nodes: round the base, up the sides, round the top;
/// those of a triangle lie opposite their nodes.
struct shape_edges {
    unsigned int corners;
    unsigned int count;
    unsigned char nodes[12][2]; ///< local node numbers
};

inline constexpr shape_edges EDGE_EDGES{2, 1, {{0, 1}}};
inline constexpr shape_edges TRIANGLE_EDGES{3, 3, {{1, 2}, {2, 0}, {0, 1}}};
inline constexpr shape_edges QUADRANGLE_EDGES{4, 4, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}};
inline constexpr shape_edges TETRAHEDRON_EDGES{4, 6, {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}}};
inline constexpr shape_edges PYRAMID_EDGES{
    5, 8, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 4}, {2, 4}, {3, 4}}};
inline constexpr shape_edges WEDGE_EDGES{
    6, 9, {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 4}, {2, 5}, {3, 4}, {4, 5}, {5, 3}}};
inline constexpr shape_edges HEXAHEDRON_EDGES{
    8, 12, {{0, 1}, {1, 2}, {2, 3}, {3, 0}, {0, 4}, {1, 5}, {2, 6}, {3, 7}, {4, 5}, {5, 6}, {6, 7}, {7, 4}}};

/// The shapes that a column of one type may have, fewest corners first; none for a type without edges.
struct edge_table {
    const shape_edges* shapes[4];
};

/// By type code. ELEM_HEXA20 has no edges here, deliberately.
inline constexpr edge_table EDGE_TABLES[ELEMENT_TYPE_COUNT] = {
    {},                                                                      // ELEM_NONE
    {},                                                                      // ELEM_NODE1
    {},                                                                      // ELEM_EDGE_MIX
    {{&EDGE_EDGES}},                                                         // ELEM_EDGE2
    {{&EDGE_EDGES}},                                                         // ELEM_EDGE3
    {{&TRIANGLE_EDGES, &QUADRANGLE_EDGES}},                                  // ELEM_FACE_MIX
    {{&TRIANGLE_EDGES}},                                                     // ELEM_TRIA3
    {{&QUADRANGLE_EDGES}},                                                   // ELEM_QUAD4
    {{&TRIANGLE_EDGES}},                                                     // ELEM_TRIA6
    {{&QUADRANGLE_EDGES}},                                                   // ELEM_QUAD8
    {{&QUADRANGLE_EDGES}},                                                   // ELEM_QUAD9
    {{&TETRAHEDRON_EDGES, &PYRAMID_EDGES, &WEDGE_EDGES, &HEXAHEDRON_EDGES}}, // ELEM_SOLID_MIX
    {{&TETRAHEDRON_EDGES}},                                                  // ELEM_TETRA4
    {{&TETRAHEDRON_EDGES}},                                                  // ELEM_TETRA10
    {{&PYRAMID_EDGES}},                                                      // ELEM_PYRAMID5
    {{&PYRAMID_EDGES}},                                                      // ELEM_PYRAMID14
    {{&WEDGE_EDGES}},                                                        // ELEM_WEDGE6
    {{&WEDGE_EDGES}},                                                        // ELEM_WEDGE18
    {{&HEXAHEDRON_EDGES}},                                                   // ELEM_HEXA8
    {},                                                                      // ELEM_HEXA20
    {{&HEXAHEDRON_EDGES}},                                                   // ELEM_HEXA27
};

/// The table of a type code, without shapes for a code out of range.
inline const edge_table& edges_of_type(int type) noexcept {
    return EDGE_TABLES[type >= 0 && type < ELEMENT_TYPE_COUNT ? type : ELEM_NONE];
}

/// The shape of a column of a table that has any: the first that leaves only padding behind its corners, else
/// the largest.
inline const shape_edges& shape_of(const edge_table& table, const unsigned int* column,
                                   unsigned int rows) noexcept {
    unsigned int s = 0;
    for (; s < 3 && table.shapes[s + 1] != nullptr; ++s) {
        unsigned int slot = table.shapes[s]->corners;
        while (slot < rows && column[slot] == NO_ID) ++slot;
        if (slot >= rows) break;
    }
    return *table.shapes[s];
}

} // namespace qv7::plexo
