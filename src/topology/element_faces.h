#pragma once

#include <plexo/containers.h>

#include <array>
#include <utility>

namespace qv7::plexo {

/// The faces of one element shape, in their binding order and with their nodes in their binding order.
struct shape_faces {
    unsigned int corners;      ///< nodes of the element
    unsigned int count;        ///< faces
    unsigned char size[6];     ///< nodes of each face
    unsigned char nodes[6][4]; ///< local node numbers, face by face
};

// Face k of an edge, a triangle and a tetrahedron lies opposite node k. The faces of the tetrahedron point
// out, those of the other solids in.
inline constexpr shape_faces EDGE_FACES{2, 2, {1, 1}, {{1}, {0}}};
inline constexpr shape_faces TRIANGLE_FACES{3, 3, {2, 2, 2}, {{1, 2}, {2, 0}, {0, 1}}};
inline constexpr shape_faces QUADRANGLE_FACES{4, 4, {2, 2, 2, 2}, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}};
/// A surface column with two nodes: the sides of a quadrangle but the closing one, absent nodes included.
inline constexpr shape_faces OPEN_QUADRANGLE_FACES{2, 3, {2, 2, 2}, {{0, 1}, {1, 2}, {2, 3}}};
inline constexpr shape_faces TETRAHEDRON_FACES{
    4, 4, {3, 3, 3, 3}, {{1, 2, 3}, {2, 0, 3}, {1, 3, 0}, {2, 1, 0}}};
inline constexpr shape_faces PYRAMID_FACES{
    5, 5, {3, 3, 3, 3, 4}, {{0, 4, 1}, {1, 4, 2}, {2, 4, 3}, {3, 4, 0}, {0, 1, 2, 3}}};
inline constexpr shape_faces WEDGE_FACES{
    6, 5, {3, 3, 4, 4, 4}, {{0, 1, 2}, {3, 5, 4}, {2, 1, 4, 5}, {5, 3, 0, 2}, {0, 3, 4, 1}}};
inline constexpr shape_faces HEXAHEDRON_FACES{
    8,
    6,
    {4, 4, 4, 4, 4, 4},
    {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}}};

/// How the elements of one type are cut into faces.
struct face_table {
    element_type type;
    unsigned int rows;      ///< of a connectivity
    unsigned int faces;     ///< slots per element, the F of face codes e * F + k
    unsigned int face_rows; ///< nodes of a face, shorter faces padded with NO_ID
    unsigned int shape_count;
    const shape_faces* shapes[4]; ///< the shapes a column may have, fewest corners first
};

inline constexpr face_table EDGE2_TABLE{ELEM_EDGE2, 2, 2, 1, 1, {&EDGE_FACES}};
inline constexpr face_table TRIA3_TABLE{ELEM_TRIA3, 3, 3, 2, 1, {&TRIANGLE_FACES}};
inline constexpr face_table QUAD4_TABLE{ELEM_QUAD4, 4, 4, 2, 1, {&QUADRANGLE_FACES}};
inline constexpr face_table FACE_MIX_TABLE{
    ELEM_FACE_MIX, 4, 4, 2, 3, {&OPEN_QUADRANGLE_FACES, &TRIANGLE_FACES, &QUADRANGLE_FACES}};
inline constexpr face_table TETRA4_TABLE{ELEM_TETRA4, 4, 4, 3, 1, {&TETRAHEDRON_FACES}};
inline constexpr face_table PYRAMID5_TABLE{ELEM_PYRAMID5, 5, 5, 4, 1, {&PYRAMID_FACES}};
inline constexpr face_table WEDGE6_TABLE{ELEM_WEDGE6, 6, 5, 4, 1, {&WEDGE_FACES}};
inline constexpr face_table HEXA8_TABLE{ELEM_HEXA8, 8, 6, 4, 1, {&HEXAHEDRON_FACES}};
inline constexpr face_table SOLID_MIX_TABLE{
    ELEM_SOLID_MIX, 8, 6, 4, 4, {&TETRAHEDRON_FACES, &PYRAMID_FACES, &WEDGE_FACES, &HEXAHEDRON_FACES}};

inline constexpr const face_table* FACE_TABLES[] = {&EDGE2_TABLE,    &TRIA3_TABLE,  &QUAD4_TABLE,
                                                    &FACE_MIX_TABLE, &TETRA4_TABLE, &PYRAMID5_TABLE,
                                                    &WEDGE6_TABLE,   &HEXA8_TABLE,  &SOLID_MIX_TABLE};

/// The table of a type; null for the types that have no faces here.
inline const face_table* find_face_table(element_type type) noexcept {
    for (const face_table* table : FACE_TABLES) {
        if (table->type == type) return table;
    }
    return nullptr;
}

/// Mixed surfaces without a fourth row hold triangles only.
inline element_type without_mixed_triangles(element_type type, unsigned int rows) noexcept {
    return type == ELEM_FACE_MIX && rows == 3 ? ELEM_TRIA3 : type;
}

/// True when a column has only padding behind the corners of the shape.
constexpr bool ends_with(const shape_faces& shape, const face_table& table,
                         const unsigned int* column) noexcept {
    unsigned int slot = shape.corners;
    while (slot < table.rows && column[slot] == NO_ID) ++slot;
    return slot == table.rows;
}

/// The shape of a column: the first that the column ends with, else the largest.
constexpr const shape_faces& shape_of(const face_table& table, const unsigned int* column) noexcept {
    unsigned int s = 0;
    while (s + 1 < table.shape_count && !ends_with(*table.shapes[s], table, column)) ++s;
    return *table.shapes[s];
}

/// Face k of a column of the given shape, behind its nodes as many NO_ID as the type's faces have rows.
template <unsigned int Rows>
constexpr std::array<unsigned int, Rows> face_nodes(const shape_faces& shape, unsigned int k,
                                                    const unsigned int* column) noexcept {
    std::array<unsigned int, Rows> nodes{};
    for (unsigned int i = 0; i < Rows; ++i) nodes[i] = i < shape.size[k] ? column[shape.nodes[k][i]] : NO_ID;
    return nodes;
}

/// Calls visit(k, nodes) for every face of a column, from its S-th shape on; unrolled, with the tables as
/// constants.
template <const face_table& Table, unsigned int S = 0, typename Visit>
void for_each_face_of(const unsigned int* column, Visit visit) {
    static constexpr const shape_faces& SHAPE = *Table.shapes[S];
    if constexpr (S + 1 < Table.shape_count) {
        if (!ends_with(SHAPE, Table, column)) return for_each_face_of<Table, S + 1>(column, visit);
    }
    [&]<unsigned int... K>(std::integer_sequence<unsigned int, K...>) {
        (visit(K, face_nodes<Table.face_rows>(SHAPE, K, column)), ...);
    }
    (std::make_integer_sequence<unsigned int, SHAPE.count>());
}

} // namespace qv7::plexo
