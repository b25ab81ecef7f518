// Eigen-pairs and validity of 3-D metrics.

#include "peers.h"

#include <plexo/plexo.h>

#include <cmath>
#include <memory>
#include <random>

#ifdef PEER_EIGEN
#include <Eigen/Dense>
#endif

extern "C" void dspev_(const char* job, const char* triangle, const int* n, double* packed, double* values,
                       double* vectors, const int* ld, double* work, int* info);

namespace peers {

namespace {

using namespace qv7::plexo;

/// Metrics with random frames and sizes from 1e-3 to 1e3.
dense2D<double> random_metrics(std::size_t n) {
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

void lapack_values(const dense2D<double>& metrics, char job) {
    const int n = 3, ld = job == 'V' ? 3 : 1;
    double sum = 0;
    for (unsigned int j = 0; j < metrics.cols(); ++j) {
        double packed[6], values[3], vectors[9], work[9];
        int info = 0;
        std::copy_n(metrics.col_data(j), 6, packed);
        dspev_(&job, "U", &n, packed, values, vectors, &ld, work, &info);
        sum += values[0];
    }
    keep(sum);
}

symmetric_fixed<double, 3> metric_of(const dense2D<double>& metrics, unsigned int j) {
    symmetric_fixed<double, 3> M;
    std::copy_n(metrics.col_data(j), 6, M.data());
    return M;
}

} // namespace

void metric_jobs(session& s) {
    for (const std::size_t n : s.sizes()) {
        if (!s.wants("eigen-pairs 3-D") && !s.wants("is_valid_metric 3-D")) continue;
        const dense2D<double> metrics = random_metrics(n);
        std::vector<contender> pairs{{role::subject, "eigen_pairs", [&] {
                                          double sum = 0;
                                          for (unsigned int j = 0; j < metrics.cols(); ++j) {
                                              vector_fixed<double, 3> values;
                                              matrix_fixed<double, 3, 3> vectors;
                                              eigen_pairs(metric_of(metrics, j), values, vectors);
                                              sum += values[0] + vectors(0, 0);
                                          }
                                          keep(sum);
                                      }}};
#ifdef PEER_EIGEN
        pairs.push_back({role::peer, "Eigen compute", [&] {
                             double sum = 0;
                             Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver;
                             for (unsigned int j = 0; j < metrics.cols(); ++j) {
                                 const double* m = metrics.col_data(j);
                                 Eigen::Matrix3d M;
                                 M << m[0], m[1], m[3], m[1], m[2], m[4], m[3], m[4], m[5];
                                 solver.compute(M);
                                 sum += solver.eigenvalues()[0] + solver.eigenvectors()(0, 0);
                             }
                             keep(sum);
                         }});
#endif
        pairs.push_back({role::peer, "LAPACK dspev V", [&] { lapack_values(metrics, 'V'); }});
        s.measure("eigen-pairs 3-D", n, 0.45, pairs);
        s.measure("is_valid_metric 3-D", n, 0.1,
                  {{role::subject, "is_valid_metric",
                    [&] {
                        unsigned int valid = 0;
                        for (unsigned int j = 0; j < metrics.cols(); ++j)
                            valid += is_valid_metric(metric_of(metrics, j));
                        keep(valid);
                    }},
                   {role::peer, "LAPACK dspev N", [&] { lapack_values(metrics, 'N'); }}});
    }
}

} // namespace peers
