#include <plexo/topology.h>

#include "containers/runs.h"
#include "containers/scratch.h"

#include <algorithm>
#include <utility>

namespace qv7::plexo {

namespace {

/// The largest node plus one, 0 when there is none; NO_ID wraps around to 0 and so never counts.
unsigned int node_count(const dense2D<unsigned int>& connectM) {
    unsigned int count = 0;
    if (connectM.empty()) return count;
    all_runs(connectM, [&count](const unsigned int* ids, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) count = std::max(count, ids[i] + 1u);
        return true;
    });
    return count;
}

/// Calls visit(n, e) once for each node n of each element e, elements ascending. False when memory runs out.
template <typename Visit>
bool for_each_incidence(const dense2D<unsigned int>& connectM, unsigned int nodes, Visit visit) {
    scratch<unsigned int> last_element; // by node, so that a node listed twice counts once
    if (!last_element.allocate_filled(nodes, 0xFF)) return false;
    for (unsigned int e = 0; e < connectM.cols(); ++e) {
        const unsigned int* column = connectM.col_data(e);
        for (unsigned int i = 0; i < connectM.rows(); ++i) {
            const unsigned int n = column[i];
            if (n != NO_ID && std::exchange(last_element[n], e) != e) visit(n, e);
        }
    }
    return true;
}

/// Fills emptied outputs; false when they cannot be had.
bool list_elements(const dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& elements,
                   dense1D<unsigned int, 16>& offsets) {
    const unsigned int nodes = node_count(connectM);
    if (nodes == NO_ID || !offsets.resize(nodes + 1, 0)) return false;

    // The end of each node's list, behind a start for the first: counted, then summed up to starts, which
    // move to the ends while the lists are filled. There are no more incidences than entries, so 32 bits do.
    unsigned int* end = offsets.data() + 1;
    if (!for_each_incidence(connectM, nodes, [end](unsigned int n, unsigned int) { ++end[n]; })) return false;
    unsigned int total = 0;
    for (unsigned int n = 0; n < nodes; ++n) total += std::exchange(end[n], total);
    if (!elements.resize_for_overwrite(total)) return false;
    unsigned int* list = elements.data();
    return for_each_incidence(connectM, nodes, [=](unsigned int n, unsigned int e) { list[end[n]++] = e; });
}

} // namespace

int get_connected_elements(const dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& elements,
                           dense1D<unsigned int, 16>& offsets) {
    elements.clear();
    offsets.clear();
    if (list_elements(connectM, elements, offsets)) return 0;
    elements.clear();
    offsets.clear();
    return -199;
}

} // namespace qv7::plexo
