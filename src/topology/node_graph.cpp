#include <plexo/topology.h>

#include "containers/scratch.h"

#include <cstdint>
#include <utility>

namespace qv7::plexo {

namespace {

/// The nodes and the elements at each, as get_connected_elements gives them.
struct node_elements {
    dense1D<unsigned int, 16> elements;
    dense1D<unsigned int, 16> offsets;
    unsigned int nodes() const { return offsets.size() - 1; }
};

/// Calls visit(n, m) once for each node n, ascending, and each other node m that shares an element with it.
/// False when memory runs out.
template <typename Visit>
bool for_each_pair(const dense2D<unsigned int>& connectM, const node_elements& at, Visit visit) {
    scratch<unsigned int> last_node; // by node: for which n it was met last
    if (!last_node.allocate_filled(at.nodes(), 0xFF)) return false;
    const unsigned int* element = at.elements.data();
    const unsigned int* offset = at.offsets.data();
    const unsigned int rows = connectM.rows();
    for (unsigned int n = 0; n < at.nodes(); ++n) {
        if (offset[n] == offset[n + 1]) continue;
        last_node[n] = n;
        for (unsigned int i = offset[n]; i < offset[n + 1]; ++i) {
            const unsigned int* column = connectM.col_data(element[i]);
            for (unsigned int k = 0; k < rows; ++k) {
                const unsigned int m = column[k];
                if (m != NO_ID && std::exchange(last_node[m], n) != n) visit(n, m);
            }
        }
    }
    return true;
}

/// Fills emptied outputs; false when they cannot be had.
bool list_nodes(const dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& nodes,
                dense1D<unsigned int, 16>& offsets) {
    node_elements at;
    if (get_connected_elements(connectM, at.elements, at.offsets) != 0) return false;
    if (!offsets.resize(at.offsets.size(), 0)) return false;

    // The end of each node's list, behind a start for the first: counted, then summed up to starts, which
    // move to the ends while the lists are filled.
    unsigned int* end = offsets.data() + 1;
    std::uint64_t total = 0;
    if (!for_each_pair(connectM, at, [&](unsigned int n, unsigned int) { ++end[n], ++total; })) return false;
    if (total > NO_ID) return false;
    unsigned int start = 0;
    for (unsigned int n = 0; n < at.nodes(); ++n) start += std::exchange(end[n], start);
    if (!nodes.resize_for_overwrite(start)) return false;
    unsigned int* list = nodes.data();
    // Pairs come in both orders: putting n in the list of m, with n ascending, sorts every list.
    return for_each_pair(connectM, at, [=](unsigned int n, unsigned int m) { list[end[m]++] = n; });
}

} // namespace

int get_node_graph(const dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& nodes,
                   dense1D<unsigned int, 16>& offsets) {
    nodes.clear();
    offsets.clear();
    if (list_nodes(connectM, nodes, offsets)) return 0;
    nodes.clear();
    offsets.clear();
    return -199;
}

} // namespace qv7::plexo
