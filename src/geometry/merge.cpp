#include <plexo/geometry.h>

#include <plexo/ids.h>

#include "containers/scratch.h"
#include "ids/id_table.h"
#include "ids/unique_indices.h"
#include "merge_items.h"
#include "merge_within_elements.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <numeric>

namespace qv7::plexo {

namespace {

using id_list = dense1D<unsigned int, 16>;

constexpr double DEFAULT_TOLERANCE = 1e-6;
constexpr int OUT_OF_MEMORY = -199;

node_positions positions_of(const dense2D<double>& pos) {
    return {pos.data(), pos.ld(), pos.rows() == 3};
}

bool flat_or_spatial(const dense2D<double>& pos) {
    return pos.rows() == 2 || pos.rows() == 3;
}

bool make_identity(id_list& table, unsigned int n) {
    if (!table.resize_for_overwrite(n)) return false;
    std::iota(table.begin(), table.end(), 0u);
    return true;
}

/// Merges items and sets new_IDs to the survivors of all `nods` nodes.
int merge_nodes(merge_input input, unsigned int nods, id_list& new_IDs) {
    id_list table;
    if (!input.nodes) {
        if (!table.resize_for_overwrite(nods)) return OUT_OF_MEMORY;
        const int merged = merge_items(input, table.data());
        if (merged >= 0) new_IDs = table;
        return merged;
    }
    scratch<unsigned int> survivor;
    if (!survivor.allocate(input.count) || !make_identity(table, nods)) return OUT_OF_MEMORY;
    const int merged = merge_items(input, survivor.data());
    if (merged < 0) return merged;
    unsigned int* const to = table.data();
    for (unsigned int i = 0; i < input.count; ++i) to[input.nodes[i]] = input.nodes[survivor[i]];
    new_IDs = table;
    return merged;
}

/// True when every ID is larger than the one before, so that none comes twice, and none is absent.
bool is_ascending(const id_list& nodes) {
    const unsigned int* const end = nodes.data() + nodes.size();
    return end[-1] != NO_ID && std::adjacent_find(nodes.data(), end, std::greater_equal<>()) == end;
}

bool is_identity(const id_list& table, unsigned int n) {
    const unsigned int* const ids = table.data();
    if (table.size() != n) return false;
    for (unsigned int i = 0; i < n; ++i) {
        if (ids[i] != i) return false;
    }
    return true;
}

/// Merges the nodes of one list of distinct IDs.
int merge_list(const dense2D<double>& pos, const id_list& nodes, id_list& new_IDs, double tol) {
    const unsigned int* listed = is_identity(nodes, pos.cols()) ? nullptr : nodes.data();
    return merge_nodes({positions_of(pos), listed, nodes.size(), nullptr, tol}, pos.cols(), new_IDs);
}

/// Merges the nodes of a onto the distinct nodes of `onto`.
int merge_lists(const dense2D<double>& pos, const id_list& a, const id_list& onto, id_list& new_IDs,
                double tol) {
    id_set in_a;
    if (!in_a.prepare(std::uint64_t(a.size()) + onto.size(), pos.cols() - 1)) return OUT_OF_MEMORY;
    for (const unsigned int id : a) in_a.insert(id);

    id_list items = onto;
    if (!append_unique_IDs(items, a, onto)) return OUT_OF_MEMORY;
    scratch<unsigned char> roles;
    if (!roles.allocate(items.size())) return OUT_OF_MEMORY;
    for (unsigned int i = 0; i < items.size(); ++i) {
        const bool only_in_a = i >= onto.size();
        const bool only_onto = !only_in_a && in_a.insert(items[i]);
        roles[i] = only_in_a ? MAY_BE_ABSORBED : only_onto ? MAY_ABSORB : MAY_DO_BOTH;
    }
    return merge_nodes({positions_of(pos), items.data(), items.size(), roles.data(), tol}, pos.cols(),
                       new_IDs);
}

int merge_pair(const dense2D<double>& pos, dense2D<unsigned int>& connectA, dense2D<unsigned int>& connectB,
               id_list& new_IDs, double tol, unsigned int mode) {
    dense2D<unsigned int> views[2] = {connectA, connectB};
    const int merged = merge(pos, views, views + 2, new_IDs, tol, mode);
    connectA = views[0];
    connectB = views[1];
    return merged;
}

} // namespace

int merge(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodesA,
          const dense1D<unsigned int, 16>& nodesB, dense1D<unsigned int, 16>& new_IDs, double tol) {
    const id_list a = nodesA; // shared views: new_IDs may be one of the lists
    const id_list b = nodesB;
    new_IDs.clear();
    if (pos.cols() == 0) return 0;
    if (!flat_or_spatial(pos)) return -1;
    if (!check_IDs(a, pos.cols())) return -2;
    if (!check_IDs(b, pos.cols())) return -3;
    if (tol < 0) return -4;

    if (b.empty()) return 0;
    if (a == b && is_ascending(b)) return merge_list(pos, b, new_IDs, tol);
    id_list onto;
    if (!append_unique_IDs(onto, b, id_list())) return OUT_OF_MEMORY;
    if (onto.empty()) return 0;
    return a == b ? merge_list(pos, onto, new_IDs, tol) : merge_lists(pos, a, onto, new_IDs, tol);
}

int merge(const dense2D<double>& pos, const dense1D<unsigned int, 16>& nodes,
          dense1D<unsigned int, 16>& new_IDs, double tol) {
    const id_list both = nodes;
    return merge(pos, both, both, new_IDs, tol);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>* first, dense2D<unsigned int>* last,
          dense1D<unsigned int, 16>& new_IDs, double tol, unsigned int mode) {
    new_IDs.clear();
    if (pos.cols() == 0 || first == last) return 0;
    if (!flat_or_spatial(pos)) return -1;
    if (last < first) return -3;
    if (tol < 0) return -5;
    if (mode > 2) return -6;
    id_list nodes;
    if (!append_unique_IDs(nodes, first, last)) return OUT_OF_MEMORY;
    if (nodes.empty()) return 0;
    if (!check_IDs(nodes, pos.cols())) return -2;

    int merged = 0;
    if (mode == 0) {
        merged = merge_list(pos, nodes, new_IDs, tol);
    } else {
        id_list table;
        if (!make_identity(table, pos.cols())) return OUT_OF_MEMORY;
        merged = merge_within_elements(positions_of(pos), first, last, nodes, tol, mode == 2, table.data());
        if (merged >= 0) new_IDs = table;
    }
    if (merged > 0) {
        for (dense2D<unsigned int>* matrix = first; matrix != last; ++matrix)
            change_indices(*matrix, new_IDs);
    }
    return merged;
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>* first, dense2D<unsigned int>* last, double tol,
          unsigned int mode) {
    id_list new_IDs;
    return merge(pos, first, last, new_IDs, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& new_IDs,
          double tol, unsigned int mode) {
    return merge(pos, &connectM, &connectM + 1, new_IDs, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectM, double tol, unsigned int mode) {
    return merge(pos, &connectM, &connectM + 1, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectM) {
    return merge(pos, connectM, DEFAULT_TOLERANCE, 0);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectA, dense2D<unsigned int>& connectB,
          dense1D<unsigned int, 16>& new_IDs, double tol, unsigned int mode) {
    return merge_pair(pos, connectA, connectB, new_IDs, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectA, dense2D<unsigned int>& connectB,
          double tol, unsigned int mode) {
    id_list new_IDs;
    return merge_pair(pos, connectA, connectB, new_IDs, tol, mode);
}

int merge(const dense2D<double>& pos, dense2D<unsigned int>& connectA, dense2D<unsigned int>& connectB) {
    return merge(pos, connectA, connectB, DEFAULT_TOLERANCE, 0);
}

int merge(dense2D<double>& pos, dense1D<unsigned int, 16>& new_IDs, double tol) {
    new_IDs.clear();
    if (pos.cols() == 0) return 0;
    if (!flat_or_spatial(pos)) return -1;
    if (tol < 0) return -3;

    id_list table;
    const int merged = merge_nodes({positions_of(pos), nullptr, pos.cols(), nullptr, tol}, pos.cols(), table);
    if (merged < 0) return merged;
    // Storage that nobody else sees is as good as a copy: survivors stay where they are, so no node is moved
    // onto one that has been moved.
    if (!pos.reserve(pos.rows(), pos.cols())) return OUT_OF_MEMORY;
    for (unsigned int i = 0; i < pos.cols(); ++i) {
        if (table[i] != i) std::copy_n(pos.col_data(table[i]), pos.rows(), pos.col_data(i));
    }
    new_IDs = table;
    return merged;
}

int merge(dense2D<double>& pos, double tol) {
    id_list new_IDs;
    return merge(pos, new_IDs, tol);
}

} // namespace qv7::plexo
