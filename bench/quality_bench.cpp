#include "bench_meshes.h"

#include <plexo/quality.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>

namespace {

using bench::mesh;
using namespace qv7::plexo;

mesh mesh_of(element_type type, std::size_t n) {
    if (type == ELEM_TRIA3) return bench::triangle_surface(n);
    return type == ELEM_TETRA4 ? bench::tetra_box(n) : bench::hexa_box(n);
}

/// Ratings per second of about state.range(0) elements.
void shape_qualities_bench(benchmark::State& state, element_type type, bool shuffle) {
    mesh m = mesh_of(type, static_cast<std::size_t>(state.range(0)));
    if (shuffle) m = bench::shuffled(m);
    for (auto _ : state) {
        dense1D<double, 16> qualities;
        benchmark::DoNotOptimize(shape_qualities(m.pos, m.connectM, m.type, qualities));
    }
    state.SetItemsProcessed(state.iterations() * m.connectM.cols());
}

void shape_histogram_bench(benchmark::State& state) {
    const mesh m = mesh_of(ELEM_TRIA3, static_cast<std::size_t>(state.range(0)));
    qv7::misc::histogram histo(0, 1, 20);
    for (auto _ : state) benchmark::DoNotOptimize(shape_qualities(m.pos, m.connectM, m.type, histo));
    state.SetItemsProcessed(state.iterations() * m.connectM.cols());
}

/// Edges of about state.range(0) tetrahedra; the field varies, so that every rating takes a logarithm.
void edge_qualities_bench(benchmark::State& state, bool by_metric, bool shuffle) {
    mesh m = bench::tetra_box(static_cast<std::size_t>(state.range(0)));
    if (shuffle) m = bench::shuffled(m);
    dense1D<double, 16> sizes(m.pos.cols());
    dense2D<double> metrics(6, m.pos.cols());
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        sizes[j] = 0.01 * (1 + m.pos(0, j));
        for (const unsigned int k : {0u, 2u, 5u}) metrics(k, j) = 1 / (sizes[j] * sizes[j]);
    }
    const dense2D<unsigned int> excluded;
    unsigned long long edges = 0;
    for (auto _ : state) {
        qv7::misc::histogram histo(0, 2, 20);
        benchmark::DoNotOptimize(by_metric
                                     ? edge_qualities(m.pos, m.connectM, m.type, metrics, histo, excluded)
                                     : edge_qualities(m.pos, m.connectM, m.type, sizes, histo, excluded));
        edges += histo.count();
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(edges));
}

/// Values per second into slices, one by one or as a list.
void histogram_bench(benchmark::State& state, bool one_by_one) {
    dense1D<double, 16> values(static_cast<unsigned int>(state.range(0)));
    std::mt19937 random(1);
    for (double& value : values) value = std::uniform_real_distribution<double>(0, 1)(random);
    qv7::misc::histogram histo(0, 1, 20);
    for (auto _ : state) {
        if (one_by_one) {
            for (const double value : values) histo.process(value);
        } else {
            histo.process(values);
        }
    }
    state.SetItemsProcessed(state.iterations() * values.size());
}

void all_sizes(benchmark::internal::Benchmark* b) {
    b->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(shape_qualities_bench, triangles, ELEM_TRIA3, false)->Apply(all_sizes);
BENCHMARK_CAPTURE(shape_qualities_bench, triangles_shuffled, ELEM_TRIA3, true)->Apply(all_sizes);
BENCHMARK_CAPTURE(shape_qualities_bench, tetrahedra, ELEM_TETRA4, false)->Apply(all_sizes);
BENCHMARK_CAPTURE(shape_qualities_bench, tetrahedra_shuffled, ELEM_TETRA4, true)->Apply(all_sizes);
BENCHMARK_CAPTURE(shape_qualities_bench, hexahedra, ELEM_HEXA8, false)->Apply(all_sizes);
BENCHMARK_CAPTURE(shape_qualities_bench, hexahedra_shuffled, ELEM_HEXA8, true)->Apply(all_sizes);

BENCHMARK_CAPTURE(edge_qualities_bench, sizes, false, false)->Apply(all_sizes);
BENCHMARK_CAPTURE(edge_qualities_bench, sizes_shuffled, false, true)->Apply(all_sizes);
BENCHMARK_CAPTURE(edge_qualities_bench, metrics, true, false)->Apply(all_sizes);
BENCHMARK_CAPTURE(edge_qualities_bench, metrics_shuffled, true, true)->Apply(all_sizes);

BENCHMARK_CAPTURE(histogram_bench, one_by_one, true)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(histogram_bench, list, false)->Arg(1000000)->Unit(benchmark::kMillisecond);
BENCHMARK(shape_histogram_bench)->Apply(all_sizes);

} // namespace
