// Moving, copying, cleaning and clipping meshes of triangles, in the order of a mesh generator and shuffled.

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <benchmark/benchmark.h>

#include <malloc.h>

namespace {

using namespace qv7::plexo;
using vector3 = vector_fixed<double, 3>;

[[maybe_unused]] const int fixed_threshold = mallopt(M_MMAP_THRESHOLD, 128 << 10); // see foundations_bench

bench::mesh surface(const benchmark::State& state) {
    const auto m = bench::triangle_surface(std::size_t(state.range(0)));
    return state.range(1) == 0 ? m : bench::shuffled(m);
}

void translate_all(benchmark::State& state) {
    auto m = surface(state);
    for (auto _ : state) benchmark::DoNotOptimize(translate(m.pos, vector3{1, 2, 3}));
    state.SetItemsProcessed(state.iterations() * m.pos.cols());
}

void rotate_all(benchmark::State& state) {
    auto m = surface(state);
    for (auto _ : state) benchmark::DoNotOptimize(rotate(m.pos, vector3{1, 2, 3}, vector3{0.1, 0.2, 0.3}));
    state.SetItemsProcessed(state.iterations() * m.pos.cols());
}

void translate_elements(benchmark::State& state) {
    auto m = surface(state);
    for (auto _ : state) benchmark::DoNotOptimize(translate(m.pos, vector3{1, 2, 3}, m.connectM));
    state.SetItemsProcessed(state.iterations() * m.connectM.cols());
}

void copy_elements(benchmark::State& state) {
    const auto m = surface(state);
    for (auto _ : state) {
        dense2D<double> pos = m.pos; // shares storage until it grows
        dense2D<unsigned int> copies;
        benchmark::DoNotOptimize(
            copy_mesh(pos, copies, vector3{1, 0, 0}, vector3{0, 0, 0}, vector3{0, 0, 0.1}, 4, m.connectM));
    }
    state.SetItemsProcessed(state.iterations() * m.connectM.cols() * 4);
}

/// Every third element goes, and with it some nodes.
void simplify_after_removal(benchmark::State& state) {
    const auto m = surface(state);
    dense2D<unsigned int> rest(3, 0);
    for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
        if (e % 3 != 0) rest.push_back_col(m.connectM.col_data(e));
    }
    for (auto _ : state) {
        state.PauseTiming();
        dense2D<double> pos;
        dense2D<unsigned int> connectM;
        pos.copy(m.pos);
        connectM.copy(rest);
        state.ResumeTiming();
        dense1D<unsigned int, 16> new_IDs;
        benchmark::DoNotOptimize(simplify(pos, connectM, new_IDs, 0));
    }
    state.SetItemsProcessed(state.iterations() * rest.cols());
}

void remove_no_degenerated(benchmark::State& state) {
    auto m = surface(state);
    dense1D<unsigned int, 16> new_IDs;
    for (auto _ : state) benchmark::DoNotOptimize(remove_degenerated(m.connectM, new_IDs, false));
    state.SetItemsProcessed(state.iterations() * m.connectM.cols());
}

/// A plane through the middle keeps half of the elements.
void clip_in_half(benchmark::State& state) {
    const auto m = surface(state);
    for (auto _ : state) {
        dense2D<unsigned int> half;
        benchmark::DoNotOptimize(clip(m.pos, m.connectM, vector3{0.5, 0, 0}, vector3{1, 0.1, 0}, half));
    }
    state.SetItemsProcessed(state.iterations() * m.connectM.cols());
}

void sizes(benchmark::internal::Benchmark* b) {
    b->ArgsProduct({{10000, 100000, 1000000}, {0, 1}})->Unit(benchmark::kMicrosecond);
}
BENCHMARK(translate_all)->Apply(sizes);
BENCHMARK(rotate_all)->Apply(sizes);
BENCHMARK(translate_elements)->Apply(sizes);
BENCHMARK(copy_elements)->Apply(sizes);
BENCHMARK(simplify_after_removal)->Apply(sizes);
BENCHMARK(remove_no_degenerated)->Apply(sizes);
BENCHMARK(clip_in_half)->Apply(sizes);

} // namespace
