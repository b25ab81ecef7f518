#pragma once

#include <plexo/containers.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace qv7::plexo::io {

/// N matrices with their types as the list that the general writers take.
template <std::size_t N>
class matrix_list {
public:
    matrix_list(const std::array<dense2D<unsigned int>, N>& matrices,
                const std::array<element_type, N>& types)
        : matrices_(matrices), types_(unsigned(N)) {
        if (complete()) std::copy(types.begin(), types.end(), types_.begin());
    }
    /// False when there was no memory for the types.
    bool complete() const { return types_.size() == N; }
    const dense2D<unsigned int>* first() const { return matrices_.data(); }
    const dense2D<unsigned int>* last() const { return matrices_.data() + N; }
    const dense1D<int, 16>& types() const { return types_; }

private:
    std::array<dense2D<unsigned int>, N> matrices_; // they share storage with the originals
    dense1D<int, 16> types_;
};

/// The checks of a list of matrices in their order. 0; -4 `last` lies before `first`; -5 not one type per
/// matrix; -3 a matrix is not valid for its type and `nodes` nodes, as check_IDs has it.
int check_matrix_list(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                      const dense1D<int, 16>& types, unsigned int nodes);

/// Elements of one shape that are written together: `connectM` has a column for each.
struct typed_block {
    element_type type;
    dense2D<unsigned int> connectM;
    unsigned int matrix;               ///< position of the matrix that the elements come from
    dense1D<unsigned int, 16> columns; ///< their columns there; empty when they are all, in order
};

/// Appends the blocks of a list of matrices, `types` holding one code for each. An empty matrix makes none;
/// one of a plain type is its own block and shares storage with it. A mixed matrix is grouped by the number
/// of nodes of its columns, which keep their order: each group is a block of the linear type with that many
/// nodes, and the groups come in the order of their first columns. Columns with a number of nodes that no
/// linear element has are dropped. \return false when memory runs out; may throw std::bad_alloc
bool split_into_blocks(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                       const dense1D<int, 16>& types, std::vector<typed_block>& blocks);

} // namespace qv7::plexo::io
