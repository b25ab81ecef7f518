#include "metrics/size_shock.h"

#include "metrics/edge_length.h"

#include <plexo/ids.h>
#include <plexo/metrics.h>

namespace qv7::plexo {

namespace {

/// The largest growth (ln(1 + shock)) along an edge at each node. `growth_of(a, b, pa, pb)` gives that of one
/// edge.
template <typename Growth>
void collect_growth(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                    unsigned int nodes_with_size, double* growth, Growth growth_of) {
    const unsigned int* edge = edges.data();
    const double* coordinates = pos.data();
    const std::size_t edge_ld = edges.ld(), pos_ld = pos.ld();
    for (unsigned int e = 0; e < edges.cols(); ++e, edge += edge_ld) {
        const unsigned int a = edge[0], b = edge[1];
        if (a >= nodes_with_size || b >= nodes_with_size) continue;
        const double along = growth_of(a, b, coordinates + a * pos_ld, coordinates + b * pos_ld);
        if (along > growth[a]) growth[a] = along;
        if (along > growth[b]) growth[b] = along;
    }
}

template <unsigned int N>
void isotropic_growth(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                      const dense1D<double, 16>& sizes, double* growth) {
    collect_growth(pos, edges, sizes.size(), growth,
                   [size = sizes.data()](unsigned int a, unsigned int b, const double* pa, const double* pb) {
                       double v[N];
                       return growth_along(edge_vector<N>(pa, pb, v), size[a], size[b]);
                   });
}

template <unsigned int N>
void anisotropic_growth(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                        const dense2D<double>& metrics, double* growth) {
    if (metrics.rows() < packed_size(N)) return; // no node has a metric
    const double* metric = metrics.data();
    const std::size_t ld = metrics.ld();
    collect_growth(pos, edges, metrics.cols(), growth,
                   [metric, ld](unsigned int a, unsigned int b, const double* pa, const double* pb) {
                       double v[N];
                       end_sizes sizes;
                       edge_vector<N>(pa, pb, v);
                       if (!sizes_along_edge<N>(metric + a * ld, metric + b * ld, v, sizes)) return 0.0;
                       return growth_along(1, sizes.a, sizes.b);
                   });
}

template <typename Field, typename Collect>
int shocks_of(const dense2D<double>& pos, const dense2D<unsigned int>& edges, const Field& field,
              dense1D<double, 16>& shocks, Collect collect_in_2d, Collect collect_in_3d) {
    if (edges.empty()) return 0;
    if (pos.rows() != 2 && pos.rows() != 3) return -1;
    if (!check_IDs(edges, ELEM_EDGE2, pos.cols())) return -2;

    dense1D<double, 16> result; // not the caller's: it may be one of the inputs
    if (!result.resize(pos.cols(), 0.0)) return -199;
    (pos.rows() == 2 ? collect_in_2d : collect_in_3d)(pos, edges, field, result.data());
    for (double& growth : result) growth = std::expm1(growth);
    shocks = result;
    return 0;
}

} // namespace

int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& edges, const dense1D<double, 16>& sizes,
            dense1D<double, 16>& shocks) {
    return shocks_of(pos, edges, sizes, shocks, isotropic_growth<2>, isotropic_growth<3>);
}

int H_shock(const dense2D<double>& pos, const dense2D<unsigned int>& edges, const dense2D<double>& metrics,
            dense1D<double, 16>& shocks) {
    return shocks_of(pos, edges, metrics, shocks, anisotropic_growth<2>, anisotropic_growth<3>);
}

} // namespace qv7::plexo
