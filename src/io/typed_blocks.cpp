#include "io/typed_blocks.h"

#include <plexo/ids.h>

#include <algorithm>
#include <array>

namespace qv7::plexo::io {

namespace {

constexpr unsigned int MOST_NODES = 8; // of a linear element

// The linear face or solid with the given number of nodes; ELEM_NONE where there is none.
constexpr std::array<element_type, MOST_NODES + 1> FACES = {ELEM_NONE, ELEM_NONE, ELEM_NONE, ELEM_TRIA3,
                                                            ELEM_QUAD4};
constexpr std::array<element_type, MOST_NODES + 1> SOLIDS = {ELEM_NONE,   ELEM_NONE,   ELEM_NONE,
                                                             ELEM_NONE,   ELEM_TETRA4, ELEM_PYRAMID5,
                                                             ELEM_WEDGE6, ELEM_NONE,   ELEM_HEXA8};

bool split_mixed(const dense2D<unsigned int>& mixed, const std::array<element_type, MOST_NODES + 1>& shapes,
                 unsigned int matrix, std::vector<typed_block>& blocks) {
    const unsigned int rows = std::min(mixed.rows(), MOST_NODES), cols = mixed.cols();
    const auto node_count = [&](unsigned int j) {
        const unsigned int* const column = mixed.col_data(j);
        return unsigned(std::count_if(column, column + rows, [](unsigned int id) { return id != NO_ID; }));
    };

    std::array<unsigned int, MOST_NODES + 1> columns_with{};
    std::array<std::size_t, MOST_NODES + 1> block_with{};
    std::array<unsigned int, MOST_NODES + 1> in_order_of_appearance{};
    unsigned int groups = 0;
    for (unsigned int j = 0; j < cols; ++j) {
        const unsigned int n = node_count(j);
        if (columns_with[n]++ == 0) in_order_of_appearance[groups++] = n;
    }
    for (unsigned int g = 0; g < groups; ++g) {
        const unsigned int n = in_order_of_appearance[g];
        if (shapes[n] == ELEM_NONE) continue;
        block_with[n] = blocks.size();
        blocks.push_back({shapes[n], {}, matrix, {}});
        typed_block& block = blocks.back();
        if (columns_with[n] == cols) {
            block.connectM = mixed.sub_matrix(0, 0, n, cols);
            return true;
        }
        if (!block.connectM.resize_for_overwrite(n, columns_with[n])) return false;
        if (!block.columns.resize_for_overwrite(columns_with[n])) return false;
    }
    std::array<unsigned int, MOST_NODES + 1> filled{};
    for (unsigned int j = 0; j < cols; ++j) {
        const unsigned int n = node_count(j);
        if (shapes[n] == ELEM_NONE) continue;
        typed_block& block = blocks[block_with[n]];
        std::copy_n(mixed.col_data(j), n, block.connectM.col_data(filled[n]));
        block.columns[filled[n]++] = j;
    }
    return true;
}

} // namespace

int check_matrix_list(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                      const dense1D<int, 16>& types, unsigned int nodes) {
    if (first > last) return -4;
    if (std::size_t(last - first) != types.size()) return -5;
    const int* type = types.data();
    const bool valid = std::all_of(first, last, [&](const dense2D<unsigned int>& connectM) {
        return check_IDs(connectM, static_cast<element_type>(*type++), nodes);
    });
    return valid ? 0 : -3;
}

bool split_into_blocks(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                       const dense1D<int, 16>& types, std::vector<typed_block>& blocks) {
    for (const dense2D<unsigned int>* connectM = first; connectM != last; ++connectM) {
        if (connectM->empty()) continue;
        const auto matrix = static_cast<unsigned int>(connectM - first);
        const auto type = static_cast<element_type>(types[matrix]);
        if (type == ELEM_FACE_MIX) {
            if (!split_mixed(*connectM, FACES, matrix, blocks)) return false;
        } else if (type == ELEM_SOLID_MIX) {
            if (!split_mixed(*connectM, SOLIDS, matrix, blocks)) return false;
        } else {
            blocks.push_back({type, *connectM, matrix, {}});
        }
    }
    return true;
}

} // namespace qv7::plexo::io
