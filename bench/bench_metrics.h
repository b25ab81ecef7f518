#pragma once

/// \file
/// Generated 3-D metrics for measurements.

#include <plexo/containers.h>
#include <plexo/metrics.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>

namespace bench {

using namespace qv7::plexo;

/// Metrics with random frames and sizes from 1e-3 to 1e3.
inline dense2D<double> random_metrics(std::size_t n) {
    std::mt19937_64 random(3);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> exponent(-3, 3);
    dense2D<double> metrics(6, static_cast<unsigned int>(n));
    for (unsigned int j = 0; j < metrics.cols(); ++j) {
        double q[4], length = 0;
        for (double& c : q) {
            c = normal(random);
            length += c * c;
        }
        for (double& c : q) c /= std::sqrt(length);
        const double R[3][3] = {{1 - 2 * (q[2] * q[2] + q[3] * q[3]), 2 * (q[1] * q[2] - q[0] * q[3]),
                                 2 * (q[1] * q[3] + q[0] * q[2])},
                                {2 * (q[1] * q[2] + q[0] * q[3]), 1 - 2 * (q[1] * q[1] + q[3] * q[3]),
                                 2 * (q[2] * q[3] - q[0] * q[1])},
                                {2 * (q[1] * q[3] - q[0] * q[2]), 2 * (q[2] * q[3] + q[0] * q[1]),
                                 1 - 2 * (q[1] * q[1] + q[2] * q[2])}};
        double* m = metrics.col_data(j);
        for (int k = 0; k < 3; ++k) {
            const double lambda = std::pow(10, -2 * exponent(random));
            for (int c = 0, e = 0; c < 3; ++c) {
                for (int r = 0; r <= c; ++r, ++e) m[e] += lambda * R[r][k] * R[c][k];
            }
        }
    }
    return metrics;
}

/// The metric of one column.
inline symmetric_fixed<double, 3> metric_of(const dense2D<double>& metrics, unsigned int j) {
    symmetric_fixed<double, 3> M;
    std::copy_n(metrics.col_data(j), 6, M.data());
    return M;
}

} // namespace bench
