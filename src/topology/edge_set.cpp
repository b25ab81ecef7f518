#include "edge_set.h"

#include <plexo/ids.h>

#include "element_edges.h"

#include <algorithm>
#include <cstdint>

namespace qv7::plexo {

namespace {

using edge = edge_set::edge;

// Elements from the one at hand to the one whose lines are fetched.
constexpr unsigned int FETCH_AHEAD = 16;

// Words of a line: half a cache line for surfaces and hexahedra, a whole one for tetrahedra.
constexpr unsigned int SHORT_LINE = 8;
constexpr unsigned int LONG_LINE = 16;

bool same_pair(const edge& pair, unsigned int a, unsigned int b) {
    return (pair[0] == a && pair[1] == b) || (pair[0] == b && pair[1] == a);
}

/// Spreads an unordered pair over 64 bits (the finaliser of SplitMix64, Steele, Lea and Flood 2014).
std::uint64_t pair_hash(unsigned int a, unsigned int b) {
    std::uint64_t hash = std::uint64_t(std::min(a, b)) << 32 | std::max(a, b);
    hash = (hash ^ (hash >> 30)) * 0xBF58476D1CE4E5B9u;
    hash = (hash ^ (hash >> 27)) * 0x94D049BB133111EBu;
    return hash ^ (hash >> 31);
}

/// The shape with the most edges; null for a type without edges.
const shape_edges* largest_shape(const edge_table& table) {
    const shape_edges* largest = nullptr;
    for (const shape_edges* shape : table.shapes) largest = shape ? shape : largest;
    return largest;
}

} // namespace

bool has_rows_of_type(const dense2D<unsigned int>& connectivity, int type) noexcept {
    if (connectivity.empty()) return true;
    if (!check_IDs(connectivity, static_cast<element_type>(type), NO_ID)) return false;
    const unsigned int nodes = type >= 0 && type < ELEMENT_TYPE_COUNT ? NODES_PER_ELEMENT[type] : 0;
    return nodes == 0 || connectivity.rows() == nodes;
}

bool edge_set::collect(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                       const int* types, const dense2D<unsigned int>* excluded) noexcept {
    std::uint64_t most_edges = excluded ? excluded->cols() : 0;
    std::uint64_t nodes = 0;
    for (const auto* matrix = first; matrix != last; ++matrix) {
        const shape_edges* shape = largest_shape(edges_of_type(types[matrix - first]));
        if (matrix->empty() || !shape) continue;
        most_edges += std::uint64_t(shape->count) * matrix->cols();
        nodes = std::max(nodes, std::uint64_t(max_ID(*matrix)) + 1);
    }
    excluded_ = met_ = hashed_ = 0;
    line_count_ = 0;
    for (auto& table : tables_) {
        if (!table.allocate(0)) return false;
    }
    if (!edges_.allocate(most_edges)) return false;

    // Long lines where many edges meet at a node. None when they would take more memory than the edges may.
    const bool long_lines = most_edges > 16 * nodes;
    const std::uint64_t words = nodes * (long_lines ? LONG_LINE : SHORT_LINE);
    if (words <= 4 * most_edges + 1024) {
        if (!lines_.allocate_filled(words, 0xFF)) return false;
        line_count_ = static_cast<unsigned int>(std::min<std::uint64_t>(nodes, NO_ID - LONG_LINE));
    }
    return long_lines ? collect_all<LONG_LINE>(first, last, types, excluded)
                      : collect_all<SHORT_LINE>(first, last, types, excluded);
}

template <unsigned int Width>
bool edge_set::collect_all(const dense2D<unsigned int>* first, const dense2D<unsigned int>* last,
                           const int* types, const dense2D<unsigned int>* excluded) noexcept {
    if (excluded) {
        for (unsigned int j = 0; j < excluded->cols(); ++j) {
            if (!insert<Width>((*excluded)(0, j), (*excluded)(1, j))) return false;
        }
        excluded_ = met_;
    }
    for (; first != last; ++first, ++types) {
        const edge_table& table = edges_of_type(*types);
        if (first->empty() || !largest_shape(table)) continue;
        if (!collect_matrix<Width>(*first, table)) return false;
    }
    return true;
}

template <unsigned int Width>
bool edge_set::collect_matrix(const dense2D<unsigned int>& connectivity, const edge_table& table) noexcept {
    const std::size_t ld = connectivity.ld();
    const unsigned int rows = connectivity.rows();
    const unsigned int cols = connectivity.cols();
    const unsigned int corners = std::min(rows, largest_shape(table)->corners);
    const unsigned int* column = connectivity.data();
    for (unsigned int e = 0; e < cols; ++e, column += ld) {
        if (e + FETCH_AHEAD < cols) {
            const unsigned int* ahead = column + FETCH_AHEAD * ld;
            for (unsigned int i = 0; i < corners; ++i) {
                if (ahead[i] < line_count_) __builtin_prefetch(lines_.data() + std::size_t(ahead[i]) * Width);
            }
        }
        const shape_edges& shape = shape_of(table, column, rows);
        for (unsigned int k = 0; k < shape.count; ++k) {
            if (!insert<Width>(column[shape.nodes[k][0]], column[shape.nodes[k][1]])) return false;
        }
    }
    return true;
}

/// Whether a line has room for a node, now holds it, or held it before.
enum class edge_set::found { no_room, added, before };

/// A line holds, behind its counter, nodes that have an edge with its own. Unused words, and the counter,
/// which runs down from NO_ID, are never equal to a node that has a line.
template <unsigned int Width>
edge_set::found edge_set::find_or_add(unsigned int owner, unsigned int node) noexcept {
    unsigned int* line = lines_.data() + std::size_t(owner) * Width;
    unsigned int held = 0;
    for (unsigned int i = 0; i < Width; ++i) held |= static_cast<unsigned int>(line[i] == node);
    if (held != 0) return found::before;
    const unsigned int used = NO_ID - line[0] + 1;
    if (used == Width) return found::no_room;
    line[used] = node;
    --line[0];
    return found::added;
}

/// An edge stands in the line of its smaller node; where that is full, at the hub of many edges, in the line
/// of the larger one. Lines never lose nodes, so the place of an edge does not change.
template <unsigned int Width>
bool edge_set::insert(unsigned int a, unsigned int b) noexcept {
    const auto [smaller, larger] = std::minmax(a, b);
    if (larger >= line_count_) return insert_hashed(a, b);
    found result = find_or_add<Width>(smaller, larger);
    if (result == found::no_room) result = find_or_add<Width>(larger, smaller);
    if (result == found::no_room) return insert_hashed(a, b);
    if (result == found::added) edges_[met_++] = {a, b};
    return true;
}

bool edge_set::insert_hashed(unsigned int a, unsigned int b) noexcept {
    if (2 * hashed_ >= tables_[table_].size() && !grow_table()) return false;
    scratch<unsigned int>& table = tables_[table_];
    const std::size_t mask = table.size() - 1;
    std::size_t slot = pair_hash(a, b) & mask;
    for (; table[slot] != NO_ID; slot = (slot + 1) & mask) {
        if (same_pair(edges_[table[slot]], a, b)) return true;
    }
    if (met_ >= NO_ID) return false;
    table[slot] = static_cast<unsigned int>(met_);
    edges_[met_++] = {a, b};
    ++hashed_;
    return true;
}

bool edge_set::grow_table() noexcept {
    scratch<unsigned int>& old = tables_[table_];
    scratch<unsigned int>& grown = tables_[1 - table_];
    const std::size_t size = std::max<std::size_t>(1024, 4 * old.size());
    if (!grown.allocate_filled(size, 0xFF)) return false;
    for (std::size_t i = 0; i < old.size(); ++i) {
        if (old[i] == NO_ID) continue;
        const edge& pair = edges_[old[i]];
        std::size_t slot = pair_hash(pair[0], pair[1]) & (size - 1);
        while (grown[slot] != NO_ID) slot = (slot + 1) & (size - 1);
        grown[slot] = old[i];
    }
    table_ = 1 - table_;
    return old.allocate(0);
}

} // namespace qv7::plexo
