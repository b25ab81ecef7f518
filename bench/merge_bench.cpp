#include "bench_meshes.h"

#include <plexo/geometry.h>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cmath>
#include <numeric>

namespace {

using namespace bench;

[[maybe_unused]] const int fixed_threshold = mallopt(M_MMAP_THRESHOLD, 128 << 10); // see foundations_bench

constexpr double JITTER = 1e-9;
constexpr double TOLERANCE = 1e-6;

/// About `nodes` nodes, six at each point of a surface.
mesh facets(std::int64_t nodes, double jitter, bool in_random_order) {
    const mesh m = soup(triangle_surface(static_cast<std::size_t>(nodes) / 3), jitter);
    return in_random_order ? shuffled(m) : m;
}

/// Merging renumbers the elements, so each round gets a copy of them.
void merge_copies(benchmark::State& state, const mesh& m, double tol, unsigned int mode) {
    for (auto _ : state) {
        state.PauseTiming();
        dense2D<unsigned int> connectivity;
        connectivity.copy(m.connectM);
        state.ResumeTiming();
        benchmark::DoNotOptimize(merge(m.pos, connectivity, tol, mode));
    }
}

void merge_facets(benchmark::State& state, double jitter, double tol, bool in_random_order) {
    const mesh m = facets(state.range(0), jitter, in_random_order);
    merge_copies(state, m, tol, 0);
    state.SetItemsProcessed(state.iterations() * m.pos.cols());
}

/// Nodes closer to each other than the tolerance everywhere: no group stands alone.
void merge_crowded(benchmark::State& state) {
    const auto cells = static_cast<unsigned int>(std::cbrt(double(state.range(0))));
    const dense2D<double> pos = box_nodes(cells);
    const double spacing = pos.cols() > 1 ? pos(0, 1) - pos(0, 0) : 1;
    dense1D<unsigned int, 16> all(pos.cols()), new_IDs;
    std::iota(all.begin(), all.end(), 0u);
    for (auto _ : state) benchmark::DoNotOptimize(merge(pos, all, new_IDs, 1.5 * spacing));
    state.SetItemsProcessed(state.iterations() * pos.cols());
}

void merge_coincident(benchmark::State& state) {
    const auto n = static_cast<unsigned int>(state.range(0));
    const dense2D<double> pos(3, n, 1.5);
    dense1D<unsigned int, 16> all(n), new_IDs;
    std::iota(all.begin(), all.end(), 0u);
    for (auto _ : state) benchmark::DoNotOptimize(merge(pos, all, new_IDs, TOLERANCE));
    state.SetItemsProcessed(state.iterations() * pos.cols());
}

void merge_within_elements(benchmark::State& state) {
    const mesh m = triangle_surface(static_cast<std::size_t>(state.range(0)));
    merge_copies(state, m, TOLERANCE, 1);
    state.SetItemsProcessed(state.iterations() * m.connectM.cols());
}

void sizes(benchmark::internal::Benchmark* b) {
    b->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(merge_facets, exact, 0, 0, false)->Apply(sizes);
BENCHMARK_CAPTURE(merge_facets, exact_shuffled, 0, 0, true)->Apply(sizes);
BENCHMARK_CAPTURE(merge_facets, near, JITTER, TOLERANCE, false)->Apply(sizes);
BENCHMARK_CAPTURE(merge_facets, near_shuffled, JITTER, TOLERANCE, true)->Apply(sizes);
BENCHMARK(merge_crowded)->Apply(sizes);
BENCHMARK(merge_coincident)->Apply(sizes);
BENCHMARK(merge_within_elements)->Apply(sizes);

} // namespace
