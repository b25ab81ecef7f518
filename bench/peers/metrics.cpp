// Eigen-pairs and validity of 3-D metrics.

#include "peers.h"

#include "bench_metrics.h"

#include <plexo/plexo.h>

#include <algorithm>

#ifdef PEER_EIGEN
#include <Eigen/Dense>
#endif

extern "C" void dspev_(const char* job, const char* triangle, const int* n, double* packed, double* values,
                       double* vectors, const int* ld, double* work, int* info);

namespace peers {

namespace {

using namespace qv7::plexo;

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

} // namespace

void metric_jobs(session& s) {
    for (const std::size_t n : s.sizes()) {
        if (!s.wants("eigen-pairs 3-D") && !s.wants("is_valid_metric 3-D")) continue;
        const dense2D<double> metrics = bench::random_metrics(n);
        std::vector<contender> pairs{{role::subject, "eigen_pairs", [&] {
                                          double sum = 0;
                                          for (unsigned int j = 0; j < metrics.cols(); ++j) {
                                              vector_fixed<double, 3> values;
                                              matrix_fixed<double, 3, 3> vectors;
                                              eigen_pairs(bench::metric_of(metrics, j), values, vectors);
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
                            valid += is_valid_metric(bench::metric_of(metrics, j));
                        keep(valid);
                    }},
                   {role::peer, "LAPACK dspev N", [&] { lapack_values(metrics, 'N'); }}});
    }
}

} // namespace peers
