#pragma once

#include "io/text_writer.h"

#include <plexo/containers.h>

namespace qv7::plexo::io {

/// A mesh as NASTRAN and FEMAP writers take it: one connectivity that a range list cuts into typed blocks,
/// block k being columns ranges[k] to ranges[k + 1] - 1, and a property number per element.
struct ranged_mesh {
    const dense2D<double>& pos;
    const dense2D<unsigned int>& connect;
    const dense1D<unsigned int, 16>& ranges;
    const dense1D<int, 16>& types;
    const dense1D<unsigned int, 16>& properties;
};

/// 0, or the first that fails: -2 coordinates without 3 rows, -5 ranges and types do not match, -6 not one
/// property per element, -3 a block that is no range of columns, has too few rows for its type or fails
/// check_IDs without a node bound.
int check_ranged_mesh(const ranged_mesh& mesh);

/// The general form of an output: write(file, mesh) puts a mesh that passes the checks into the file. An
/// empty connectivity leaves the file empty. \return 0; -1 the file cannot be created or written; what
/// check_ranged_mesh() gives
template <typename Write>
int write_ranged_mesh(const char* path, const ranged_mesh& mesh, Write write) {
    text_writer file(path);
    if (mesh.connect.empty()) return 0;
    if (!file.is_open()) return -1;
    if (const int status = check_ranged_mesh(mesh); status != 0) return status;
    write(file, mesh);
    return file.close() ? 0 : -1;
}

/// The shape of an element: its block's type, or for a mixed type what its padding tells.
inline element_type shape_of(element_type block_type, const unsigned int* nodes, unsigned int rows) {
    const auto ends_before = [=](unsigned int row) { return rows <= row || nodes[row] == NO_ID; };
    if (block_type == ELEM_FACE_MIX) return ends_before(3) ? ELEM_TRIA3 : ELEM_QUAD4;
    if (block_type != ELEM_SOLID_MIX) return block_type;
    if (ends_before(4)) return ELEM_TETRA4;
    if (ends_before(5)) return ELEM_PYRAMID5;
    return ends_before(6) ? ELEM_WEDGE6 : ELEM_HEXA8;
}

/// Calls visit(shape, block type, ID, nodes) for every element of a checked mesh, block by block.
template <typename Visit>
void for_each_element(const ranged_mesh& mesh, Visit visit) {
    const unsigned int* const nodes = mesh.connect.data();
    const std::size_t ld = mesh.connect.ld();
    const unsigned int rows = mesh.connect.rows();
    for (unsigned int k = 0; k < mesh.types.size(); ++k) {
        const auto type = static_cast<element_type>(mesh.types[k]);
        for (unsigned int j = mesh.ranges[k]; j < mesh.ranges[k + 1]; ++j) {
            const unsigned int* const column = nodes + j * ld;
            visit(shape_of(type, column, rows), type, j, column);
        }
    }
}

/// Puts the columns of two matrices side by side, first then second; those of the lower one are padded with
/// NO_ID. Fills the ranges and types of the two blocks. False when memory runs out.
bool join_blocks(const dense2D<unsigned int>& first, const dense2D<unsigned int>& second,
                 element_type first_type, element_type second_type, dense2D<unsigned int>& joined,
                 dense1D<unsigned int, 16>& ranges, dense1D<int, 16>& types);

} // namespace qv7::plexo::io
