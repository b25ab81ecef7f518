#include <plexo/topology.h>

#include <plexo/ids.h>

#include "containers/detach.h"

namespace qv7::plexo {

int get_ancestors(const dense2D<unsigned int>& connectM, dense1D<unsigned int, 16>& ancestors) {
    if (connectM.empty()) return 0;
    if (ancestors.empty()) {
        if (!ancestors.resize(max_ID(connectM) + 1, NO_ID)) return -199;
    } else if (!detach(ancestors, connectM)) {
        return -199;
    }

    // NO_ID is never below the size, so padding needs no test of its own.
    unsigned int* ancestor = ancestors.data();
    const unsigned int size = ancestors.size();
    const unsigned int rows = connectM.rows();
    for (unsigned int e = 0; e < connectM.cols(); ++e) {
        const unsigned int* column = connectM.col_data(e);
        for (unsigned int i = 0; i < rows; ++i) {
            if (column[i] < size) ancestor[column[i]] = e;
        }
    }
    return 0;
}

} // namespace qv7::plexo
