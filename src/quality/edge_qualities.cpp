#include <plexo/quality.h>

#include <plexo/ids.h>
#include <plexo/metrics.h>

#include "metrics/edge_length.h"
#include "metrics/metric_algebra.h"
#include "topology/edge_set.h"

#include <cstddef>

namespace qv7::plexo {

namespace {

/// Edges between asking for the data of an edge's nodes and using it.
constexpr std::size_t PREFETCH_DISTANCE = 16;

/// One size, or one packed metric, per node.
struct node_field {
    const double* values;
    std::size_t stride; ///< from a node to the next
    std::size_t count;
};

/// Rates the edge from p to q by the sizes at its ends; false when one is not positive.
template <unsigned int D>
bool rate_by_sizes(const double* p, const double* q, const double* size_p, const double* size_q,
                   double& rating) {
    if (!(*size_p > 0 && *size_q > 0)) return false;
    double v[D];
    rating = length_in_sizes(edge_vector<D>(p, q, v), *size_p, *size_q);
    return true;
}

/// Rates the edge from p to q by the metrics at its ends; false when one is not valid.
template <unsigned int D>
bool rate_by_metrics(const double* p, const double* q, const double* metric_p, const double* metric_q,
                     double& rating) {
    if (!is_valid_metric(load_metric<D>(metric_p)) || !is_valid_metric(load_metric<D>(metric_q)))
        return false;
    double v[D];
    edge_vector<D>(p, q, v);
    end_sizes h;
    const bool positive = sizes_along_edge<D>(metric_p, metric_q, v, h);
    rating = positive ? length_in_sizes(1, h.a, h.b) : LARGEST_DOUBLE;
    return true;
}

/// Counts the rating of every edge that has one; true when all have.
template <auto RATE>
bool rate_edges(const edge_set& edges, const dense2D<double>& pos, const node_field& field,
                misc::histogram& histo) {
    const double* const nodes = pos.data();
    const std::size_t ld = pos.ld();
    bool all_rated = true;
    const edge_set::edge* const end = edges.end();
    for (const edge_set::edge* edge = edges.begin(); edge != end; ++edge) {
        if (static_cast<std::size_t>(end - edge) > PREFETCH_DISTANCE) {
            for (const unsigned int node : edge[PREFETCH_DISTANCE]) {
                __builtin_prefetch(nodes + node * ld);
                if (node < field.count) __builtin_prefetch(field.values + node * field.stride);
            }
        }
        const unsigned int a = (*edge)[0], b = (*edge)[1];
        double rating;
        if (a < field.count && b < field.count &&
            RATE(nodes + a * ld, nodes + b * ld, field.values + a * field.stride,
                 field.values + b * field.stride, rating))
            histo.process(rating);
        else
            all_rated = false;
    }
    return all_rated;
}

bool rate_edges(const edge_set& edges, const dense2D<double>& pos, const dense1D<double, 16>& sizes,
                misc::histogram& histo) {
    const node_field field{sizes.data(), 1, sizes.size()};
    const bool rated = pos.rows() == 2 ? rate_edges<rate_by_sizes<2>>(edges, pos, field, histo)
                                       : rate_edges<rate_by_sizes<3>>(edges, pos, field, histo);
    return rated && sizes.size() == pos.cols();
}

bool rate_edges(const edge_set& edges, const dense2D<double>& pos, const dense2D<double>& metrics,
                misc::histogram& histo) {
    const bool enough_rows = metrics.rows() >= packed_size(pos.rows());
    const node_field field{metrics.data(), metrics.ld(), enough_rows ? metrics.cols() : 0};
    const bool rated = pos.rows() == 2 ? rate_edges<rate_by_metrics<2>>(edges, pos, field, histo)
                                       : rate_edges<rate_by_metrics<3>>(edges, pos, field, histo);
    return rated && metrics.cols() == pos.cols();
}

/// The range form for sizes and metrics alike.
template <typename Field>
int rate_range(const dense2D<double>& pos, const dense2D<unsigned int>* first,
               const dense2D<unsigned int>* last, const int* types, std::size_t type_count,
               const Field& field, misc::histogram& histo, const dense2D<unsigned int>& excluded) {
    if (first == last) return 0;
    if (pos.rows() != 2 && pos.rows() != 3) return -1;
    if (last < first || static_cast<std::size_t>(last - first) != type_count) return -4;
    for (std::size_t i = 0; i < type_count; ++i) {
        if (!check_IDs(first[i], static_cast<element_type>(types[i]), pos.cols())) return -2;
    }
    if (!check_IDs(excluded, ELEM_EDGE2, pos.cols())) return -7;

    edge_set edges;
    if (!edges.collect(first, last, types, excluded.empty() ? nullptr : &excluded)) return -199;
    return rate_edges(edges, pos, field, histo) ? 0 : -5;
}

} // namespace

int edge_quality(double L, double h1, double h2, double& q) {
    if (h1 <= 0) return -2;
    if (h2 <= 0) return -3;
    q = length_in_sizes(L, h1, h2);
    return 0;
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                   const dense2D<unsigned int>* last, const dense1D<int, 16>& types,
                   const dense1D<double, 16>& sizes, misc::histogram& histo,
                   const dense2D<unsigned int>& excluded) {
    return rate_range(pos, first, last, types.data(), types.size(), sizes, histo, excluded);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>* first,
                   const dense2D<unsigned int>* last, const dense1D<int, 16>& types,
                   const dense2D<double>& metrics, misc::histogram& histo,
                   const dense2D<unsigned int>& excluded) {
    return rate_range(pos, first, last, types.data(), types.size(), metrics, histo, excluded);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, element_type type,
                   const dense1D<double, 16>& sizes, misc::histogram& histo,
                   const dense2D<unsigned int>& excluded) {
    const int code = type;
    return rate_range(pos, &connectM, &connectM + 1, &code, 1, sizes, histo, excluded);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned int>& connectM, element_type type,
                   const dense2D<double>& metrics, misc::histogram& histo,
                   const dense2D<unsigned int>& excluded) {
    const int code = type;
    return rate_range(pos, &connectM, &connectM + 1, &code, 1, metrics, histo, excluded);
}

} // namespace qv7::plexo
