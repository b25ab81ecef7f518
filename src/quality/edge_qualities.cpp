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

/// Rates edges against one size per node.
template <unsigned int D>
class size_rater {
public:
    size_rater(const dense2D<double>& pos, const dense1D<double, 16>& sizes)
        : pos_(pos.data()), ld_(pos.ld()), sizes_(sizes.data()), count_(sizes.size()) {}

    void prefetch(unsigned int node) const {
        __builtin_prefetch(pos_ + node * ld_);
        if (node < count_) __builtin_prefetch(sizes_ + node);
    }
    /// False when there is no positive size at an end.
    bool rate(unsigned int a, unsigned int b, double& q) const {
        if (a >= count_ || b >= count_ || !(sizes_[a] > 0 && sizes_[b] > 0)) return false;
        double v[D];
        q = length_in_sizes(edge_vector<D>(pos_ + a * ld_, pos_ + b * ld_, v), sizes_[a], sizes_[b]);
        return true;
    }

private:
    const double* pos_;
    std::size_t ld_;
    const double* sizes_;
    std::size_t count_;
};

/// Rates edges against one metric per node.
template <unsigned int D>
class metric_rater {
public:
    metric_rater(const dense2D<double>& pos, const dense2D<double>& metrics)
        : pos_(pos.data()),
          ld_(pos.ld()),
          metrics_(metrics.data()),
          metric_ld_(metrics.ld()),
          count_(metrics.rows() < packed_size(D) ? 0 : metrics.cols()) {}

    void prefetch(unsigned int node) const {
        __builtin_prefetch(pos_ + node * ld_);
        if (node < count_) __builtin_prefetch(metrics_ + node * metric_ld_);
    }
    /// False when there is no positive size at an end.
    bool rate(unsigned int a, unsigned int b, double& q) const {
        if (a >= count_ || b >= count_) return false;
        const double* const A = metrics_ + a * metric_ld_;
        const double* const B = metrics_ + b * metric_ld_;
        if (!is_valid_metric(load_metric<D>(A)) || !is_valid_metric(load_metric<D>(B))) return false;
        double v[D];
        edge_vector<D>(pos_ + a * ld_, pos_ + b * ld_, v);
        end_sizes h;
        q = sizes_along_edge<D>(A, B, v, h) ? length_in_sizes(1, h.a, h.b) : LARGEST_DOUBLE;
        return true;
    }

private:
    const double* pos_;
    std::size_t ld_;
    const double* metrics_;
    std::size_t metric_ld_;
    std::size_t count_;
};

/// Counts the rating of every edge that has one; true when all have.
template <typename Rater>
bool rate_edges(const edge_set& edges, const Rater& rater, misc::histogram& histo) {
    bool all_rated = true;
    const edge_set::edge* const end = edges.end();
    for (const edge_set::edge* edge = edges.begin(); edge != end; ++edge) {
        if (static_cast<std::size_t>(end - edge) > PREFETCH_DISTANCE) {
            for (const unsigned int node : edge[PREFETCH_DISTANCE]) rater.prefetch(node);
        }
        double q;
        if (rater.rate((*edge)[0], (*edge)[1], q))
            histo.process(q);
        else
            all_rated = false;
    }
    return all_rated;
}

bool rate_edges(const edge_set& edges, const dense2D<double>& pos, const dense1D<double, 16>& sizes,
                misc::histogram& histo) {
    const bool rated = pos.rows() == 2 ? rate_edges(edges, size_rater<2>(pos, sizes), histo)
                                       : rate_edges(edges, size_rater<3>(pos, sizes), histo);
    return rated && sizes.size() == pos.cols();
}

bool rate_edges(const edge_set& edges, const dense2D<double>& pos, const dense2D<double>& metrics,
                misc::histogram& histo) {
    const bool rated = pos.rows() == 2 ? rate_edges(edges, metric_rater<2>(pos, metrics), histo)
                                       : rate_edges(edges, metric_rater<3>(pos, metrics), histo);
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
