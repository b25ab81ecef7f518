#include "bench_meshes.h"
#include "bench_metrics.h"

#include <plexo/metrics.h>
#include <plexo/topology.h>

#include <benchmark/benchmark.h>

#include <cstddef>

extern "C" void dspev_(const char* job, const char* triangle, const int* n, double* packed, double* values,
                       double* vectors, const int* ld, double* work, int* info, std::size_t, std::size_t);

namespace {

using namespace qv7::plexo;

/// Calls work(M) for each of state.range(0) metrics.
template <typename Work>
void each_metric(benchmark::State& state, Work work) {
    const auto n = static_cast<unsigned int>(state.range(0));
    const dense2D<double> metrics = bench::random_metrics(n);
    for (auto _ : state) {
        for (unsigned int j = 0; j < n; ++j) work(bench::metric_of(metrics, j));
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void eigen_pairs_bench(benchmark::State& state) {
    each_metric(state, [](const symmetric_fixed<double, 3>& M) {
        vector_fixed<double, 3> values;
        matrix_fixed<double, 3, 3> vectors;
        benchmark::DoNotOptimize(eigen_pairs(M, values, vectors));
        benchmark::DoNotOptimize(vectors);
    });
}

void lapack_bench(benchmark::State& state, char job) {
    each_metric(state, [job](symmetric_fixed<double, 3> M) {
        double values[3], vectors[9], work[9];
        const int three = 3;
        int info;
        dspev_(&job, "U", &three, M.data(), values, vectors, &three, work, &info, 1, 1);
        benchmark::DoNotOptimize(values);
    });
}

void is_valid_metric_bench(benchmark::State& state) {
    each_metric(state,
                [](const symmetric_fixed<double, 3>& M) { benchmark::DoNotOptimize(is_valid_metric(M)); });
}

void minimum_metric_bench(benchmark::State& state) {
    const symmetric_fixed<double, 3> other{2, 1, 3, 0.5, -0.5, 4};
    each_metric(state, [&other](symmetric_fixed<double, 3> M) {
        minimum_metric(M, other, M);
        benchmark::DoNotOptimize(M);
    });
}

/// hmin of 0 leaves every metric as it is; 0.3 changes most.
void bound_metrics_bench(benchmark::State& state, double hmin) {
    const auto n = static_cast<unsigned int>(state.range(0));
    const dense2D<double> original = bench::random_metrics(n);
    dense2D<double> metrics;
    for (auto _ : state) {
        state.PauseTiming();
        metrics.copy(original);
        state.ResumeTiming();
        benchmark::DoNotOptimize(bound_metrics(metrics, hmin, 1e3));
    }
    state.SetItemsProcessed(state.iterations() * n);
}

/// The edges of about range(0) / 7 nodes of a tetrahedral box, so that there are about range(0) of them, with
/// sizes that grow too fast away from one corner.
struct field_on_edges {
    dense2D<double> pos, metrics;
    dense2D<unsigned int> edges;
    dense1D<double, 16> sizes;

    explicit field_on_edges(benchmark::State& state) {
        const bench::mesh m = bench::tetra_box(static_cast<std::size_t>(state.range(0)) * 6 / 7);
        pos = m.pos;
        copy_edges(m.connectM, m.type, edges);
        const unsigned int n = pos.cols();
        sizes.resize(n);
        metrics.resize(6, n);
        for (unsigned int j = 0; j < n; ++j) {
            const double* p = pos.col_data(j);
            sizes[j] = 0.01 + p[0] * p[0] + 0.5 * p[1] * p[2];
            const double thin = 0.001 + 0.5 * p[2];
            for (const unsigned int k : {0u, 2u}) metrics(k, j) = 1 / (sizes[j] * sizes[j]);
            metrics(5, j) = 1 / (thin * thin);
        }
    }
};

void H_shock_bench(benchmark::State& state, bool by_metric) {
    const field_on_edges field(state);
    for (auto _ : state) {
        dense1D<double, 16> shocks;
        benchmark::DoNotOptimize(by_metric ? H_shock(field.pos, field.edges, field.metrics, shocks)
                                           : H_shock(field.pos, field.edges, field.sizes, shocks));
    }
    state.SetItemsProcessed(state.iterations() * field.edges.cols());
}

void gradation_bench(benchmark::State& state, bool by_metric) {
    const field_on_edges field(state);
    int changed = 0;
    for (auto _ : state) {
        state.PauseTiming();
        dense1D<double, 16> sizes;
        dense2D<double> metrics;
        sizes.copy(field.sizes);
        metrics.copy(field.metrics);
        state.ResumeTiming();
        changed = by_metric ? bound_metric_gradation(field.pos, field.edges, metrics, 0.2)
                            : bound_metric_gradation(field.pos, field.edges, sizes, 0.2);
    }
    state.counters["changed"] = static_cast<double>(changed) / field.pos.cols();
    state.SetItemsProcessed(state.iterations() * field.edges.cols());
}

void all_sizes(benchmark::internal::Benchmark* b) {
    b->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

BENCHMARK(eigen_pairs_bench)->Apply(all_sizes);
BENCHMARK_CAPTURE(lapack_bench, pairs, 'V')->Apply(all_sizes);
BENCHMARK(is_valid_metric_bench)->Apply(all_sizes);
BENCHMARK_CAPTURE(lapack_bench, values, 'N')->Apply(all_sizes);
BENCHMARK(minimum_metric_bench)->Apply(all_sizes);
BENCHMARK_CAPTURE(bound_metrics_bench, inside, 0)->Apply(all_sizes);
BENCHMARK_CAPTURE(bound_metrics_bench, clamped, 0.3)->Apply(all_sizes);
BENCHMARK_CAPTURE(H_shock_bench, sizes, false)->Apply(all_sizes);
BENCHMARK_CAPTURE(H_shock_bench, metrics, true)->Apply(all_sizes);
BENCHMARK_CAPTURE(gradation_bench, sizes, false)->Apply(all_sizes);
BENCHMARK_CAPTURE(gradation_bench, metrics, true)->Apply(all_sizes);

} // namespace
