#include "io/element_ranges.h"

#include <plexo/ids.h>

#include <algorithm>
#include <cstdint>

namespace qv7::plexo::io {

namespace {

/// The rows that an element of the type takes; a mixed one takes what there is, up to a bound.
unsigned int rows_of_block(element_type type, unsigned int rows) {
    if (type == ELEM_FACE_MIX) return std::min(rows, 4u);
    if (type == ELEM_SOLID_MIX) return std::min(rows, 20u);
    return NODES_PER_ELEMENT[type];
}

bool valid_block(const dense2D<unsigned int>& connect, unsigned int begin, unsigned int end, int type_code) {
    if (begin > end || end > connect.cols()) return false;
    if (begin == end) return true;
    if (type_code < 0 || type_code >= ELEMENT_TYPE_COUNT) return false;
    const auto type = static_cast<element_type>(type_code);
    const unsigned int rows = rows_of_block(type, connect.rows());
    return rows <= connect.rows() && check_IDs(connect.sub_matrix(0, begin, rows, end - begin), type, NO_ID);
}

void copy_columns(const dense2D<unsigned int>& from, dense2D<unsigned int>& to, unsigned int first) {
    for (unsigned int j = 0; j < from.cols(); ++j) {
        unsigned int* const column = to.col_data(first + j);
        std::copy_n(from.col_data(j), from.rows(), column);
        std::fill(column + from.rows(), column + to.rows(), NO_ID);
    }
}

} // namespace

int check_ranged_mesh(const ranged_mesh& mesh) {
    if (mesh.pos.rows() != 3) return -2;
    if (mesh.ranges.size() != std::uint64_t(mesh.types.size()) + 1) return -5;
    if (mesh.properties.size() != mesh.connect.cols()) return -6;
    for (unsigned int k = 0; k < mesh.types.size(); ++k) {
        if (!valid_block(mesh.connect, mesh.ranges[k], mesh.ranges[k + 1], mesh.types[k])) return -3;
    }
    return 0;
}

bool join_blocks(const dense2D<unsigned int>& first, const dense2D<unsigned int>& second,
                 element_type first_type, element_type second_type, dense2D<unsigned int>& joined,
                 dense1D<unsigned int, 16>& ranges, dense1D<int, 16>& types) {
    const unsigned int first_cols = first.empty() ? 0 : first.cols();
    const unsigned int second_cols = second.empty() ? 0 : second.cols();
    const std::uint64_t cols = std::uint64_t(first_cols) + second_cols;
    const unsigned int rows = std::max(first.empty() ? 0 : first.rows(), second.empty() ? 0 : second.rows());
    if (cols > NO_ID || !joined.resize_for_overwrite(rows, static_cast<unsigned int>(cols))) return false;
    if (first_cols != 0) copy_columns(first, joined, 0);
    if (second_cols != 0) copy_columns(second, joined, first_cols);
    if (!ranges.resize(3) || !types.resize(2)) return false;
    ranges[1] = first_cols;
    ranges[2] = static_cast<unsigned int>(cols);
    types[0] = first_type;
    types[1] = second_type;
    return true;
}

} // namespace qv7::plexo::io
