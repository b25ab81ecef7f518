#include <plexo/geometry.h>
#include <plexo/ids.h>
#include <plexo/topology.h>

#include <algorithm>

namespace qv7::plexo {

namespace {

/// Moves the nodes from N0 on that have an entry to the front and numbers them; returns how many nodes are
/// left.
unsigned int compact_nodes(dense2D<double>& pos, dense1D<unsigned int, 16>& table, unsigned int N0) {
    double* const p = pos.data();
    unsigned int* const new_ID = table.data();
    const std::size_t ld = pos.ld();
    const unsigned int rows = pos.rows();
    for (unsigned int i = 0; i < N0; ++i) new_ID[i] = i;
    unsigned int kept = N0;
    for (unsigned int i = N0; i < table.size(); ++i) {
        if (new_ID[i] == NO_ID) continue;
        if (i > kept) std::copy_n(p + i * ld, rows, p + kept * ld);
        new_ID[i] = kept++;
    }
    return kept;
}

} // namespace

int simplify(dense2D<double>& pos, dense2D<unsigned int>* first, dense2D<unsigned int>* last,
             dense1D<unsigned int, 16>& new_IDs, unsigned int N0) {
    const unsigned int nodes = pos.cols();
    new_IDs.clear();
    if (first == last) return 0;
    if (last < first) return -3;
    if (!std::all_of(first, last, [=](const auto& connectivity) { return check_IDs(connectivity, nodes); }))
        return -2;
    if (pos.empty() || N0 >= nodes) return 0;

    // Until the nodes are numbered, the table holds their ancestors, which an unused node has not.
    if (!new_IDs.resize(nodes, NO_ID)) return -199;
    std::for_each(first, last, [&](const auto& connectivity) { get_ancestors(connectivity, new_IDs); });
    const unsigned int kept = compact_nodes(pos, new_IDs, N0);
    if (kept == nodes) return 0;

    pos.resize(pos.rows(), kept);
    std::for_each(first, last, [&](auto& connectivity) { change_indices(connectivity, new_IDs); });
    return static_cast<int>(nodes - kept);
}

int simplify(dense2D<double>& pos, dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& new_IDs,
             unsigned int N0) {
    return simplify(pos, &connectM, &connectM + 1, new_IDs, N0);
}

int simplify(dense2D<double>& pos, dense2D<unsigned int>& connectM, unsigned int N0) {
    dense1D<unsigned int, 16> new_IDs;
    return simplify(pos, connectM, new_IDs, N0);
}

int simplify(dense2D<double>& pos, dense2D<unsigned int>& connectA, dense2D<unsigned int>& connectB,
             unsigned int N0) {
    dense2D<unsigned int> views[2] = {connectA, connectB};
    dense1D<unsigned int, 16> new_IDs;
    return simplify(pos, views, views + 2, new_IDs, N0);
}

} // namespace qv7::plexo
