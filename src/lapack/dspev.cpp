#include "dspev.h"

#include "symmetric3.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

extern "C" void dspev_(const char* job, const char* triangle, const int* n, double* packed, double* values,
                       double* vectors, const int* ld, double* work, int* info, std::size_t, std::size_t);

namespace qv7::lapack {

int dspev(char job, char triangle, int n, double* packed, double* values, double* vectors, int ld,
          double* work, int& info) noexcept {
    const auto entries = n > 0 ? std::ptrdiff_t(n) * (n + 1) / 2 : 0;
    if (!std::all_of(packed, packed + entries, [](double entry) { return std::isfinite(entry); })) {
        return info = -4;
    }
    if (n == 3 && triangle == 'U') {
        double unused[9];
        const bool wanted = job == 'V' && ld >= 3;
        if ((wanted || job == 'N') &&
            eigen_pairs_of_order_3(packed, values, wanted ? vectors : unused, wanted ? ld : 3)) {
            return info = 0;
        }
    }
    dspev_(&job, &triangle, &n, packed, values, vectors, &ld, work, &info, 1, 1);
    return info;
}

} // namespace qv7::lapack
