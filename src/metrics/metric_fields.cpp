#include "containers/detach.h"
#include "metrics/metric_algebra.h"

#include <plexo/metrics.h>

#include <cmath>

namespace qv7::plexo {

namespace {

using column_test = bool (*)(const double*);

bool is_valid_size(double size) {
    return size > 0 && std::isfinite(size);
}

template <unsigned int N>
bool is_valid_column(const double* column) {
    return is_valid_metric(load_metric<N>(column));
}

/// The validity test for the columns of a field; null when the row count is not that of a metric.
column_test validity_test(const dense2D<double>& metrics) {
    if (metrics.rows() == packed_size(2)) return is_valid_column<2>;
    if (metrics.rows() == packed_size(3)) return is_valid_column<3>;
    return nullptr;
}

template <unsigned int N>
void bound_columns(dense2D<double>& metrics, double hmin, double hmax) {
    for (unsigned int j = 0; j < metrics.cols(); ++j) {
        symmetric_fixed<double, N> M = load_metric<N>(metrics.col_data(j));
        bound_metric(M, hmin, hmax);
        store_metric(M, metrics.col_data(j));
    }
}

template <unsigned int N>
void store_isotropic(double size, double* column) {
    symmetric_fixed<double, N> M;
    metric_iso_to_aniso(size, M);
    store_metric(M, column);
}

template <unsigned int N>
void convert_sizes(const dense1D<double, 16>& sizes, dense2D<double>& metrics) {
    if (!metrics.resize_for_overwrite(packed_size(N), sizes.size())) return;
    for (unsigned int j = 0; j < sizes.size(); ++j) store_isotropic<N>(sizes[j], metrics.col_data(j));
}

bool are_frames_of(const dense2D<double>& frames, unsigned int n) {
    return frames.rows() == 6 && frames.cols() == n;
}

matrix_fixed<double, 3, 2> load_frame(const double* column) {
    matrix_fixed<double, 3, 2> F;
    std::copy_n(column, 6, F.data());
    return F;
}

} // namespace

bool are_valid_metrics(const dense1D<double, 16>& sizes) {
    return std::all_of(sizes.begin(), sizes.end(), is_valid_size);
}

bool are_valid_metrics(const dense1D<unsigned int, 16>& nodes, const dense1D<double, 16>& sizes) {
    return std::all_of(nodes.begin(), nodes.end(),
                       [size = sizes.data(), n = sizes.size()](unsigned int node) {
                           return node < n && is_valid_size(size[node]);
                       });
}

bool are_valid_metrics(const dense2D<double>& metrics) {
    const column_test is_valid = validity_test(metrics);
    if (!is_valid) return false;
    for (unsigned int j = 0; j < metrics.cols(); ++j) {
        if (!is_valid(metrics.col_data(j))) return false;
    }
    return true;
}

bool are_valid_metrics(const dense1D<unsigned int, 16>& nodes, const dense2D<double>& metrics) {
    if (metrics.empty() && nodes.empty()) return true;
    const column_test is_valid = validity_test(metrics);
    if (!is_valid) return false;
    return std::all_of(nodes.begin(), nodes.end(), [&](unsigned int node) {
        return node < metrics.cols() && is_valid(metrics.col_data(node));
    });
}

int bound_metrics(dense1D<double, 16>& sizes, double hmin, double hmax) {
    for (double& size : sizes) {
        if (hmin > size) size = hmin;
        if (size > hmax) size = hmax; // second, so that hmax prevails when hmin > hmax
    }
    return 0;
}

int bound_metrics(dense2D<double>& metrics, double hmin, double hmax) {
    if (metrics.empty()) return 0;
    if (hmin < 0 && hmax < 0) return 0;
    if (metrics.rows() != packed_size(2) && metrics.rows() != packed_size(3)) return -1;

    if (metrics.rows() == packed_size(2)) {
        bound_columns<2>(metrics, hmin, hmax);
    } else {
        bound_columns<3>(metrics, hmin, hmax);
    }
    return 0;
}

int overwrite_invalid_metrics(dense1D<double, 16>& sizes, const dense1D<double, 16>& defaults) {
    if (!detach(sizes, defaults)) return -199;
    const unsigned int n = std::min(sizes.size(), defaults.size());
    double* size = sizes.data();
    const double* fallback = defaults.data();
    for (unsigned int i = 0; i < n; ++i) {
        if (size[i] <= 0 && fallback[i] > 0) size[i] = fallback[i];
    }
    return 0;
}

int overwrite_invalid_metrics(dense2D<double>& metrics, const dense1D<double, 16>& defaults) {
    if (metrics.empty()) return 0;
    const column_test is_valid = validity_test(metrics);
    if (!is_valid) return -1;

    if (!detach(metrics, defaults)) return -199;
    const auto store = metrics.rows() == packed_size(2) ? store_isotropic<2> : store_isotropic<3>;
    const unsigned int n = std::min(metrics.cols(), defaults.size());
    for (unsigned int j = 0; j < n; ++j) {
        if (defaults[j] > 0 && !is_valid(metrics.col_data(j))) store(defaults[j], metrics.col_data(j));
    }
    return 0;
}

int overwrite_invalid_metrics(dense2D<double>& metrics, const dense2D<double>& defaults) {
    if (metrics.empty()) return 0;
    const column_test is_valid = validity_test(metrics);
    if (!is_valid) return -1;
    if (metrics.rows() != defaults.rows()) return -2; // also when the defaults are no metrics

    if (!detach(metrics, defaults)) return -199;
    const unsigned int n = std::min(metrics.cols(), defaults.cols());
    for (unsigned int j = 0; j < n; ++j) {
        if (is_valid(metrics.col_data(j)) || !is_valid(defaults.col_data(j))) continue;
        std::copy_n(defaults.col_data(j), metrics.rows(), metrics.col_data(j));
    }
    return 0;
}

void metrics_iso_to_aniso2d(const dense1D<double, 16>& sizes, dense2D<double>& metrics) {
    convert_sizes<2>(sizes, metrics);
}

void metrics_iso_to_aniso3d(const dense1D<double, 16>& sizes, dense2D<double>& metrics) {
    convert_sizes<3>(sizes, metrics);
}

int metrics_iso_to_aniso2d(const dense1D<double, 16>& sizes, const dense2D<double>& frames,
                           dense2D<double>& metrics) {
    const unsigned int n = sizes.size();
    if (n != 0 && !are_frames_of(frames, n)) return -2;

    const dense2D<double> planes = frames; // the output may be the frames
    if (!metrics.resize_for_overwrite(packed_size(2), n)) return -199;
    for (unsigned int j = 0; j < n; ++j) {
        symmetric_fixed<double, 2> M;
        metric_iso_to_aniso2d(sizes[j], load_frame(planes.col_data(j)), M);
        store_metric(M, metrics.col_data(j));
    }
    return 0;
}

int metrics_aniso3d_to_aniso2d(const dense2D<double>& metrics3d, const dense2D<double>& frames,
                               dense2D<double>& metrics2d) {
    const unsigned int n = metrics3d.cols();
    if (!metrics3d.empty()) {
        if (metrics3d.rows() != packed_size(3)) return -1;
        if (!are_frames_of(frames, n)) return -2;
    }

    const dense2D<double> source = metrics3d, planes = frames; // either may be the output
    if (!metrics2d.resize_for_overwrite(packed_size(2), source.empty() ? 0 : n)) return -199;
    for (unsigned int j = 0; j < metrics2d.cols(); ++j) {
        symmetric_fixed<double, 2> M;
        metric_aniso3d_to_aniso2d(load_metric<3>(source.col_data(j)), load_frame(planes.col_data(j)), M);
        store_metric(M, metrics2d.col_data(j));
    }
    return 0;
}

} // namespace qv7::plexo
