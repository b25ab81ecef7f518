#pragma once

#include "containers/scratch.h"

#include <plexo/containers.h>

#include <array>
#include <cstddef>

namespace qv7::plexo {

struct edge_table;

/// True when `connectivity` can be read as a matrix of the type: check_IDs without a node count, and as many
/// rows as a type of fixed size has nodes.
bool has_rows_of_type(const dense2D<unsigned int>& connectivity, int type) noexcept;

/// The distinct edges of connectivities, listed in the order and the direction in which they are first met.
class edge_set {
public:
    using edge = std::array<unsigned int, 2>;

    /// Collects the edges of the connectivities [first, last), each of which has_rows_of_type types[i]. Edges
    /// that are a column of `excluded` (2 rows; may be null) in either direction are left out. Expected
    /// O(entries). False when memory runs out.
    [[nodiscard]] bool collect(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                               const int* types, const dense2D<unsigned int>* excluded = nullptr) noexcept;

    std::size_t size() const noexcept { return met_ - excluded_; }
    const edge* begin() const noexcept { return edges_.data() + excluded_; }
    const edge* end() const noexcept { return edges_.data() + met_; }

private:
    template <unsigned int Width>
    [[nodiscard]] bool collect_all(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                                   const int* types, const dense2D<unsigned int>* excluded) noexcept;
    template <unsigned int Width>
    [[nodiscard]] bool collect_matrix(const dense2D<unsigned int>& connectivity,
                                      const edge_table& table) noexcept;
    enum class found;
    template <unsigned int Width>
    found find_or_add(unsigned int owner, unsigned int node) noexcept;
    template <unsigned int Width>
    [[nodiscard]] bool insert(unsigned int a, unsigned int b) noexcept;
    [[nodiscard]] bool insert_hashed(unsigned int a, unsigned int b) noexcept;
    [[nodiscard]] bool grow_table() noexcept;

    scratch<edge> edges_;      ///< the excluded ones, then the listed ones
    std::size_t excluded_ = 0; ///< how many of the former
    std::size_t met_ = 0;

    scratch<unsigned int> lines_; ///< Width words per node: a counter, then nodes with which it has an edge
    unsigned int line_count_ = 0; ///< edges with a node beyond, and those that do not fit a line, are hashed
    scratch<unsigned int> tables_[2]; ///< positions in edges_, open addressing; one of the two is in use
    unsigned int table_ = 0;
    std::size_t hashed_ = 0;
};

} // namespace qv7::plexo
