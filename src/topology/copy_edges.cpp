#include <plexo/topology.h>

#include "edge_set.h"

#include <algorithm>
#include <cstdint>

namespace qv7::plexo {

namespace {

int append_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end, const int* types,
                 dense2D<unsigned int>& edges) {
    edge_set met;
    if (!met.collect(begin, end, types)) return -199;
    if (met.size() == 0) return 0;
    const std::uint64_t present = edges.empty() ? 0 : edges.cols();
    const std::uint64_t total = present + met.size();
    if (total > NO_ID || !edges.resize(2, static_cast<unsigned int>(total))) return -199;
    std::copy_n(met.begin()->data(), 2 * met.size(), edges.col_data(static_cast<unsigned int>(present)));
    return 0;
}

} // namespace

int copy_edges(const dense2D<unsigned int>& connectivity, element_type type, dense2D<unsigned int>& edges) {
    if (connectivity.empty()) return 0;
    if (!has_rows_of_type(connectivity, type)) return -1;
    if (!edges.empty() && edges.rows() != 2) return -3;

    const int code = type;
    return append_edges(&connectivity, &connectivity + 1, &code, edges);
}

int copy_edges(const dense2D<unsigned int>* begin, const dense2D<unsigned int>* end,
               const dense1D<int, 16>& types, dense2D<unsigned int>& edges) {
    if (end < begin) return -2;
    if (static_cast<std::size_t>(end - begin) != types.size()) return -3;
    if (!edges.empty() && edges.rows() != 2) return -4;
    for (unsigned int i = 0; i < types.size(); ++i) {
        if (!has_rows_of_type(begin[i], types[i])) return -1;
    }

    return append_edges(begin, end, types.data(), edges);
}

} // namespace qv7::plexo
