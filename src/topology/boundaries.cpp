#include <plexo/topology.h>

#include <plexo/ids.h>

#include "element_faces.h"

#include <algorithm>
#include <cstdint>

namespace qv7::plexo {

namespace {

/// Finds the table of an element type: 0, or the code of the first of these checks that fails.
int check_elements(const dense2D<unsigned int>& connectivity, element_type type, const face_table*& table) {
    type = without_mixed_triangles(type, connectivity.rows());
    if (!check_IDs(connectivity, type, NO_ID)) return -1;
    table = find_face_table(type);
    if (!table) return -2;
    if (connectivity.rows() != table->rows) return -1;
    return 0;
}

/// The same with the neighbours across the faces.
int check_mesh(const dense2D<unsigned int>& connectivity, const dense2D<unsigned int>& neighbors,
               element_type type, const face_table*& table) {
    if (const int code = check_elements(connectivity, type, table); code != 0) return code;
    if (neighbors.cols() != connectivity.cols() || neighbors.rows() != table->faces) return -2;
    return 0;
}

/// Calls visit(shape, e, k) for every face that the elements have, until it returns false.
template <typename Visit>
bool all_faces(const dense2D<unsigned int>& connectivity, const face_table& table, Visit visit) {
    for (unsigned int e = 0; e < connectivity.cols(); ++e) {
        const shape_faces& shape = shape_of(table, connectivity.col_data(e));
        for (unsigned int k = 0; k < shape.count; ++k) {
            if (!visit(shape, e, k)) return false;
        }
    }
    return true;
}

/// The same for the faces without a neighbour.
template <typename Visit>
bool all_boundary_faces(const dense2D<unsigned int>& connectivity, const dense2D<unsigned int>& neighbors,
                        const face_table& table, Visit visit) {
    const unsigned int* across = neighbors.data();
    const std::size_t ld = neighbors.ld();
    for (unsigned int e = 0; e < connectivity.cols(); ++e, across += ld) {
        if (std::find(across, across + table.faces, NO_ID) == across + table.faces) continue;
        const shape_faces& shape = shape_of(table, connectivity.col_data(e));
        for (unsigned int k = 0; k < shape.count; ++k) {
            if (across[k] == NO_ID && !visit(shape, e, k)) return false;
        }
    }
    return true;
}

/// Appends as columns the faces that `all_wanted(visit)` visits. When they do not all fit, as many as do are
/// appended and the result is -199.
template <typename AllWanted>
int append_faces(const dense2D<unsigned int>& connectivity, const face_table& table,
                 dense2D<unsigned int>& faces, AllWanted all_wanted) {
    std::uint64_t count = 0;
    all_wanted([&count](const shape_faces&, unsigned int, unsigned int) {
        ++count;
        return true;
    });
    if (count == 0) return 0;
    const unsigned int rows = table.face_rows;
    const std::uint64_t present = faces.empty() ? 0 : faces.cols();
    if (present + count > NO_ID || !faces.resize(rows, static_cast<unsigned int>(present + count), NO_ID)) {
        if (present == 0 && !faces.resize(rows, 0)) return -199;
        all_wanted([&](const shape_faces& shape, unsigned int e, unsigned int k) {
            return faces.push_back_col(face_nodes<4>(shape, k, connectivity.col_data(e)).data());
        });
        return -199;
    }
    unsigned int* out = faces.col_data(static_cast<unsigned int>(present));
    all_wanted([&](const shape_faces& shape, unsigned int e, unsigned int k) {
        const unsigned int* column = connectivity.col_data(e);
        for (unsigned int i = 0; i < shape.size[k]; ++i) out[i] = column[shape.nodes[k][i]];
        out += rows;
        return true;
    });
    return 0;
}

} // namespace

int get_element_boundaries(const dense2D<unsigned int>& connectivity, element_type type,
                           dense2D<unsigned int>& faces) {
    if (connectivity.empty()) return 0;
    const face_table* table = nullptr;
    if (const int code = check_elements(connectivity, type, table); code != 0) return code;
    if (!faces.empty() && faces.rows() != table->face_rows) return -2;

    return append_faces(connectivity, *table, faces,
                        [&](auto visit) { return all_faces(connectivity, *table, visit); });
}

int get_mesh_boundaries(const dense2D<unsigned int>& connectivity, const dense2D<unsigned int>& neighbors,
                        element_type type, dense2D<unsigned int>& faces) {
    if (connectivity.empty()) return 0;
    const face_table* table = nullptr;
    if (const int code = check_mesh(connectivity, neighbors, type, table); code != 0) return code;
    if (!faces.empty() && faces.rows() != table->face_rows) return -3;

    return append_faces(connectivity, *table, faces, [&](auto visit) {
        return all_boundary_faces(connectivity, neighbors, *table, visit);
    });
}

int get_mesh_bounding_elements(const dense2D<unsigned int>& connectivity,
                               const dense2D<unsigned int>& neighbors, element_type type,
                               dense1D<unsigned int, 16>& codes) {
    if (connectivity.empty()) return 0;
    const face_table* table = nullptr;
    if (const int code = check_mesh(connectivity, neighbors, type, table); code != 0) return code;

    // A code fits 32 bits, because a type has at most as many faces as rows and rows * columns fits.
    const bool all_appended = all_boundary_faces(connectivity, neighbors, *table,
                                                 [&](const shape_faces&, unsigned int e, unsigned int k) {
                                                     return codes.push_back(e * table->faces + k);
                                                 });
    return all_appended ? 0 : -199;
}

} // namespace qv7::plexo
