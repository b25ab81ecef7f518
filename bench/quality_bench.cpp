#include "bench_meshes.h"

#include <plexo/quality.h>

#include <benchmark/benchmark.h>

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

#define SHAPES(name, type, shuffle)                                                                          \
    BENCHMARK_CAPTURE(shape_qualities_bench, name, type, shuffle)                                            \
        ->RangeMultiplier(10)                                                                                \
        ->Range(10000, 1000000)                                                                              \
        ->Unit(benchmark::kMillisecond)

SHAPES(triangles, ELEM_TRIA3, false);
SHAPES(triangles_shuffled, ELEM_TRIA3, true);
SHAPES(tetrahedra, ELEM_TETRA4, false);
SHAPES(tetrahedra_shuffled, ELEM_TETRA4, true);
SHAPES(hexahedra, ELEM_HEXA8, false);
SHAPES(hexahedra_shuffled, ELEM_HEXA8, true);
BENCHMARK(shape_histogram_bench)->RangeMultiplier(10)->Range(10000, 1000000)->Unit(benchmark::kMillisecond);

} // namespace
