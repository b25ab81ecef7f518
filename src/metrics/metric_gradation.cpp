#include "containers/detach.h"
#include "containers/scratch.h"
#include "metrics/metric_algebra.h"
#include "metrics/node_queue.h"

#include <plexo/ids.h>
#include <plexo/metrics.h>

#include <cmath>
#include <cstring>

namespace qv7::plexo {

namespace {

/// The neighbours of every valid node along the edges between two different valid nodes.
class edge_graph {
public:
    [[nodiscard]] bool build(const dense2D<unsigned int>& edges, unsigned int nodes,
                             const unsigned char* valid) noexcept {
        if (!begin_.allocate_filled(std::size_t(nodes) + 2, 0)) return false;
        // Counts stand two places ahead, so that filling leaves every start where it belongs.
        std::size_t* const next = begin_.data() + 1;
        for_each_edge(edges, valid, [next](unsigned int a, unsigned int b) {
            ++next[std::size_t(a) + 1];
            ++next[std::size_t(b) + 1];
        });
        for (std::size_t node = 0; node < nodes; ++node) next[node + 1] += next[node];
        if (!neighbors_.allocate(next[nodes])) return false;
        for_each_edge(edges, valid, [next, this](unsigned int a, unsigned int b) {
            neighbors_[next[a]++] = b;
            neighbors_[next[b]++] = a;
        });
        return true;
    }

    const unsigned int* begin(unsigned int node) const noexcept { return neighbors_.data() + begin_[node]; }
    const unsigned int* end(unsigned int node) const noexcept {
        return neighbors_.data() + begin_[std::size_t(node) + 1];
    }

    /// Calls work(a, b) for the edges between two different valid nodes.
    template <typename Work>
    static void for_each_edge(const dense2D<unsigned int>& edges, const unsigned char* valid, Work work) {
        const unsigned int* edge = edges.data();
        for (unsigned int e = 0; e < edges.cols(); ++e, edge += edges.ld()) {
            if (edge[0] != edge[1] && valid[edge[0]] && valid[edge[1]]) work(edge[0], edge[1]);
        }
    }

private:
    scratch<std::size_t> begin_;
    scratch<unsigned int> neighbors_;
};

/// The sum of a size and an increment that is not negative, rounded down: then the difference of the end
/// sizes of an edge never exceeds what the bound allows, and the smallest sum over all paths does not depend
/// on their order.
double sum_rounded_down(double size, double increment) {
    const double sum = size + increment;
    const double added = sum - size;
    const double error = (size - (sum - added)) + (increment - added); // exact: Knuth's two-sum
    return error < 0 ? std::nextafter(sum, 0.0) : sum;
}

// Isotropic form

/// Lowers sizes along the edges of a mesh in N dimensions.
template <unsigned int N>
class size_sweep {
public:
    size_sweep(const dense2D<double>& pos, double growth) : pos_(pos), growth_(growth) {}

    /// \return the number of nodes lowered, or -199
    int run(const dense2D<unsigned int>& edges, dense1D<double, 16>& sizes) {
        const unsigned int n = sizes.size();
        scratch<unsigned char> valid;
        if (!size_.allocate(n) || !valid.allocate(n) || !queue_.prepare(n, size_.data())) return -199;
        for (unsigned int node = 0; node < n; ++node) {
            size_[node] = sizes[node];
            valid[node] = sizes[node] > 0 && std::isfinite(sizes[node]);
        }
        edge_graph::for_each_edge(edges, valid.data(), [this](unsigned int a, unsigned int b) {
            const unsigned int smaller = size_[a] <= size_[b] ? a : b;
            const unsigned int larger = smaller == a ? b : a;
            if (allowed(smaller, larger) < size_[larger]) queue_.put(smaller);
        });
        if (queue_.empty()) return 0;

        if (!graph_.build(edges, n, valid.data())) return -199;
        while (!queue_.empty()) {
            const unsigned int node = queue_.take(); // no smaller size is left that could lower it
            for (const unsigned int* other = graph_.begin(node); other != graph_.end(node); ++other) {
                if (size_[*other] <= size_[node]) continue;
                const double bound = allowed(node, *other);
                if (!(bound < size_[*other])) continue;
                size_[*other] = bound;
                queue_.put(*other);
            }
        }

        int changed = 0;
        for (unsigned int node = 0; node < n; ++node) {
            if (!(size_[node] < sizes[node])) continue;
            sizes[node] = size_[node];
            ++changed;
        }
        return changed;
    }

private:
    /// The largest size that the bound allows at the other end of an edge; NaN or infinite when it bounds
    /// nothing.
    double allowed(unsigned int node, unsigned int other) const {
        double v[N];
        const double length = edge_vector<N>(pos_.col_data(node), pos_.col_data(other), v);
        if (length == 0) return LARGEST_DOUBLE;
        return sum_rounded_down(size_[node], length * growth_);
    }

    const dense2D<double>& pos_;
    const double growth_;
    scratch<double> size_;
    node_queue queue_;
    edge_graph graph_;
};

// Anisotropic form

/// Shrinks metrics along the edges of a mesh in N dimensions. Metrics only grow in the sense of quadratic
/// forms, so sizes only shrink, by more than the tolerance between `growth` and `limit` at every step.
template <unsigned int N>
class metric_sweep {
    using metric = symmetric_fixed<double, N>;

public:
    /// `growth` is ln(1 + shock) as aimed at, `limit` (slightly more) as tolerated.
    metric_sweep(const dense2D<double>& pos, double growth, double limit)
        : pos_(pos), growth_(growth), limit_(limit) {}

    /// \return the number of nodes changed, or -199
    int run(const dense2D<unsigned int>& edges, dense2D<double>& metrics) {
        const unsigned int n = metrics.cols();
        scratch<unsigned char> valid;
        if (!metric_.allocate(n) || !valid.allocate(n) || !key_.allocate(n) ||
            !queue_.prepare(n, key_.data())) {
            return -199;
        }
        for (unsigned int node = 0; node < n; ++node) {
            set(node, load_metric<N>(metrics.col_data(node)));
            valid[node] = is_valid_metric(metric_[node]);
        }
        if (!is_any_exceeded(edges, valid.data())) return 0;

        scratch<unsigned char> reached;
        if (!graph_.build(edges, n, valid.data()) || !reached.allocate_filled(n, 0) || !region_.allocate(n)) {
            return -199;
        }
        for (unsigned int node = 0; node < n; ++node) {
            if (valid[node] && !reached[node]) shrink_region(collect_region(node, reached));
        }

        int changed = 0;
        for (unsigned int node = 0; node < n; ++node) {
            if (std::memcmp(metric_[node].data(), metrics.col_data(node), sizeof(metric)) == 0) continue;
            store_metric(metric_[node], metrics.col_data(node));
            ++changed;
        }
        return changed;
    }

private:
    /// Nodes of small sizes leave the queue first.
    void set(unsigned int node, const metric& M) {
        metric_[node] = M;
        key_[node] = 0;
        for (unsigned int i = 0; i < N; ++i) key_[node] -= M(i, i);
    }

    bool sizes_along(unsigned int a, unsigned int b, end_sizes& sizes) const {
        double v[N];
        edge_vector<N>(pos_.col_data(a), pos_.col_data(b), v);
        return sizes_along_edge<N>(metric_[a].data(), metric_[b].data(), v, sizes);
    }

    bool is_any_exceeded(const dense2D<unsigned int>& edges, const unsigned char* valid) const {
        bool any = false;
        edge_graph::for_each_edge(edges, valid, [&any, this](unsigned int a, unsigned int b) {
            end_sizes sizes;
            if (any || !sizes_along(a, b, sizes)) return;
            any = is_exceeded(sizes.a, sizes.b) || is_exceeded(sizes.b, sizes.a);
        });
        return any;
    }

    /// Queues every node of the region along one of whose edges the other size is too much larger.
    void queue_exceeded(unsigned int region_size) {
        for (unsigned int k = 0; k < region_size; ++k) {
            const unsigned int node = region_[k];
            for (const unsigned int* other = graph_.begin(node); other != graph_.end(node); ++other) {
                end_sizes sizes;
                if (!sizes_along(node, *other, sizes) || !is_exceeded(sizes.a, sizes.b)) continue;
                queue_.put(node);
                break;
            }
        }
    }

    bool is_exceeded(double size, double other_size) const { return other_size - size > limit_; }

    void shrink_neighbors(unsigned int node) {
        for (const unsigned int* other = graph_.begin(node); other != graph_.end(node); ++other) {
            end_sizes sizes;
            if (!sizes_along(node, *other, sizes) || !is_exceeded(sizes.a, sizes.b)) continue;
            const double shrink = sizes.a / (sizes.a + growth_);
            set(*other, intersection(metric_[*other], scaled(metric_[node], shrink * shrink)));
            if (!settle(node, *other)) queue_.put(node);
            queue_.put(*other);
        }
    }

    /// Where rounding left the size at the other end a little too large, shrinks that end as a whole; false
    /// when it takes too long.
    bool settle(unsigned int node, unsigned int other) {
        for (int repeat = 0; repeat < 4; ++repeat) {
            end_sizes sizes;
            if (!sizes_along(node, other, sizes) || !is_exceeded(sizes.a, sizes.b)) return true;
            const double factor = sizes.b / (sizes.a + growth_);
            set(other, scaled(metric_[other], factor * factor * (1 + 1e-15)));
        }
        return false;
    }

    /// Shrinks the metrics of one region, on which no other region has any influence, until none exceeds the
    /// bound.
    void shrink_region(unsigned int size) {
        queue_exceeded(size);
        // Hardly any node is visited more than a few times. Only where the bound asks for less than the
        // rounding of metrics can show, so that equal metrics are the answer, would the sweep not end by
        // itself.
        const std::uint64_t most_visits = growth_ > 0 ? 64 * std::uint64_t(size) : 0;
        for (std::uint64_t visit = 0; visit < most_visits && !queue_.empty(); ++visit) {
            shrink_neighbors(queue_.take());
            if (queue_.empty()) {
                // An edge that held may have been lost again to the rounding of a later step at its end
                // nodes.
                queue_exceeded(size);
                visit += size;
            }
        }
        if (queue_.empty()) return;
        while (!queue_.empty()) queue_.take();
        level_region(size);
    }

    /// Gives the region one metric, the intersection of all its nodes'.
    void level_region(unsigned int size) {
        std::sort(region_.data(), region_.data() + size); // independent of the order of the edges
        metric common = metric_[region_[0]];
        for (unsigned int k = 1; k < size; ++k) common = intersection(common, metric_[region_[k]]);
        for (unsigned int k = 0; k < size; ++k) set(region_[k], common);
    }

    /// Lists the nodes connected with one by edges of some length; returns their number.
    unsigned int collect_region(unsigned int seed, scratch<unsigned char>& reached) {
        unsigned int size = 1;
        region_[0] = seed;
        reached[seed] = 1;
        for (unsigned int k = 0; k < size; ++k) {
            const unsigned int node = region_[k];
            for (const unsigned int* other = graph_.begin(node); other != graph_.end(node); ++other) {
                if (reached[*other] ||
                    std::equal(pos_.col_data(node), pos_.col_data(node) + N, pos_.col_data(*other))) {
                    continue;
                }
                reached[*other] = 1;
                region_[size++] = *other;
            }
        }
        return size;
    }

    static metric scaled(metric M, double factor) {
        for (double& entry : M.entries) entry *= factor;
        return M;
    }

    /// The metric that has the smaller size of both along each common conjugate direction. Unlike
    /// minimum_metric it keeps M1 to the last bit where M1 has it, as only what exceeds M1 is added; and
    /// where rounding prevents a reduction it gives the sum, which is also smaller than both.
    static metric intersection(metric M1, const metric& M2) {
        simultaneous_reduction<N> both;
        const bool reduced = reduce(M1, M2, both);
        for (unsigned int j = 0, packed = 0; j < N; ++j) {
            for (unsigned int i = 0; i <= j; ++i, ++packed) {
                double excess = 0;
                for (unsigned int k = 0; reduced && k < N; ++k) {
                    excess +=
                        std::max(both.second[k] - both.first[k], 0.0) * both.axes(i, k) * both.axes(j, k);
                }
                M1[packed] += reduced ? excess : M2[packed];
            }
        }
        return M1;
    }

    const dense2D<double>& pos_;
    const double growth_;
    const double limit_;
    scratch<metric> metric_;
    scratch<double> key_;
    scratch<unsigned int> region_; // the nodes of the region at work
    node_queue queue_;
    edge_graph graph_;
};

} // namespace

int bound_metric_gradation(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                           dense1D<double, 16>& sizes, double max_shock) {
    if (edges.empty()) return 0;
    if (pos.rows() != 2 && pos.rows() != 3) return -1;
    if (!check_IDs(edges, ELEM_EDGE2, pos.cols())) return -2;
    if (sizes.size() != pos.cols()) return -3;
    if (!(max_shock >= 0)) return -4;

    if (!detach(sizes, pos)) return -199;
    const double growth = std::log1p(max_shock);
    return pos.rows() == 2 ? size_sweep<2>(pos, growth).run(edges, sizes)
                           : size_sweep<3>(pos, growth).run(edges, sizes);
}

int bound_metric_gradation(const dense2D<double>& pos, const dense2D<unsigned int>& edges,
                           dense2D<double>& metrics, double max_shock) {
    if (edges.empty()) return 0;
    if (pos.rows() != 2 && pos.rows() != 3) return -1;
    if (!check_IDs(edges, ELEM_EDGE2, pos.cols())) return -2;
    if (metrics.rows() != packed_size(pos.rows()) || metrics.cols() != pos.cols()) return -3;
    if (!(max_shock >= 0)) return -4;

    if (!detach(metrics, pos)) return -199;
    const double growth = std::log1p(max_shock);
    const double limit = std::log1p(max_shock * (1 + 5e-10));
    return pos.rows() == 2 ? metric_sweep<2>(pos, growth, limit).run(edges, metrics)
                           : metric_sweep<3>(pos, growth, limit).run(edges, metrics);
}

} // namespace qv7::plexo
