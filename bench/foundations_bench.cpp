// Containers and ID utilities, each next to what a user would otherwise write with the standard library.

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <benchmark/benchmark.h>

#include <malloc.h>

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

using bench::mesh;
using bench::shuffled;
using bench::triangle_surface;
using namespace qv7::plexo;
using id_list = dense1D<unsigned int, 16>;

// glibc adapts when it gives freed blocks back to the system, so one benchmark would change the page faults
// of the next; a fixed threshold makes their order irrelevant.
[[maybe_unused]] const int fixed_threshold = mallopt(M_MMAP_THRESHOLD, 128 << 10);

constexpr double INF = std::numeric_limits<double>::infinity();

mesh surface(const benchmark::State& state) {
    return triangle_surface(std::size_t(state.range(0)));
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
}

void push_back(benchmark::State& state) {
    for (auto _ : state) {
        dense1D<double, 16> list;
        for (int i = 0; i < state.range(0); ++i) list.push_back(i);
        benchmark::DoNotOptimize(list.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(push_back)->Apply(sizes);

void push_back_std_vector(benchmark::State& state) {
    for (auto _ : state) {
        std::vector<double> list;
        for (int i = 0; i < state.range(0); ++i) list.push_back(i);
        benchmark::DoNotOptimize(list.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(push_back_std_vector)->Apply(sizes);

void push_back_col(benchmark::State& state) {
    const double column[] = {1, 2, 3};
    for (auto _ : state) {
        dense2D<double> pos(3, 0);
        for (int j = 0; j < state.range(0); ++j) pos.push_back_col(column);
        benchmark::DoNotOptimize(pos.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(push_back_col)->Apply(sizes);

void deep_copy(benchmark::State& state) {
    const mesh m = surface(state);
    for (auto _ : state) {
        dense2D<double> pos;
        pos.copy(m.pos);
        benchmark::DoNotOptimize(pos.data());
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(m.pos.size() * sizeof(double)));
}
BENCHMARK(deep_copy)->Apply(sizes);

void check_typed(benchmark::State& state) {
    const mesh m = surface(state);
    for (auto _ : state) benchmark::DoNotOptimize(check_IDs(m.connectM, ELEM_TRIA3, m.pos.cols()));
    state.SetItemsProcessed(state.iterations() * m.connectM.size());
}
BENCHMARK(check_typed)->Apply(sizes);

void shift(benchmark::State& state) {
    mesh m = surface(state);
    for (auto _ : state) {
        shift_indices(m.connectM, 1, ELEM_TRIA3);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * m.connectM.size());
}
BENCHMARK(shift)->Apply(sizes);

void renumber(benchmark::State& state) {
    mesh m = shuffled(surface(state));
    id_list identity(m.pos.cols());
    for (unsigned int i = 0; i < identity.size(); ++i) identity[i] = i;
    for (auto _ : state) {
        change_indices(m.connectM, identity);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * m.connectM.size());
}
BENCHMARK(renumber)->Apply(sizes);

/// Node IDs as they come, and spread over 32 bits as the labels of a mesh file may be.
dense2D<unsigned int> node_IDs(const benchmark::State& state) {
    mesh m = surface(state);
    if (state.range(1) != 0) {
        std::for_each_n(m.connectM.data(), m.connectM.size(), [](unsigned int& id) { id *= 2654435761u; });
    }
    return m.connectM;
}

void compact_and_scattered(benchmark::internal::Benchmark* b) {
    b->ArgsProduct({{10000, 100000, 1000000}, {0, 1}})->ArgNames({"", "scattered"});
    b->Unit(benchmark::kMicrosecond);
}

void unique(benchmark::State& state) {
    const auto connectivity = node_IDs(state);
    for (auto _ : state) {
        id_list out;
        unique_indices(out, connectivity);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * connectivity.size());
}
BENCHMARK(unique)->Apply(compact_and_scattered);

void unique_std_unordered_set(benchmark::State& state) {
    const auto connectivity = node_IDs(state);
    for (auto _ : state) {
        std::unordered_set<unsigned int> seen;
        std::vector<unsigned int> out;
        for (const unsigned int id : connectivity.as_vector()) {
            if (seen.insert(id).second) out.push_back(id);
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * connectivity.size());
}
BENCHMARK(unique_std_unordered_set)->Apply(compact_and_scattered);

void match_lists(benchmark::State& state) {
    const auto connectivity = node_IDs(state);
    id_list all, there, back;
    unique_indices(all, connectivity);
    for (auto _ : state) {
        get_IDs(all, connectivity.as_vector(), there, back);
        benchmark::DoNotOptimize(there.data());
    }
    state.SetItemsProcessed(state.iterations() * connectivity.size());
}
BENCHMARK(match_lists)->Apply(compact_and_scattered);

void match_lists_std_unordered_map(benchmark::State& state) {
    const auto connectivity = node_IDs(state);
    id_list all;
    unique_indices(all, connectivity);
    for (auto _ : state) {
        std::unordered_map<unsigned int, unsigned int> position;
        for (unsigned int i = 0; i < all.size(); ++i) position[all[i]] = i;
        std::vector<unsigned int> there(connectivity.size());
        for (unsigned int j = 0; j < connectivity.size(); ++j) there[j] = position[connectivity.data()[j]];
        benchmark::DoNotOptimize(there.data());
    }
    state.SetItemsProcessed(state.iterations() * connectivity.size());
}
BENCHMARK(match_lists_std_unordered_map)->Apply(compact_and_scattered);

void match_elements(benchmark::State& state) {
    const mesh m = surface(state);
    dense2D<unsigned int> turned;
    turned.copy(m.connectM);
    for (unsigned int j = 0; j < turned.cols(); ++j) {
        std::rotate(turned.col_data(j), turned.col_data(j) + j % 3, turned.col_data(j) + 3);
    }
    id_list there, back;
    for (auto _ : state) {
        get_IDs(m.connectM, turned, there, back, false);
        benchmark::DoNotOptimize(there.data());
    }
    state.SetItemsProcessed(state.iterations() * turned.cols());
}
BENCHMARK(match_elements)->Apply(sizes);

void bounding_box(benchmark::State& state) {
    const mesh m = surface(state);
    for (auto _ : state) {
        vector_fixed<double, 3> min{INF, INF, INF}, max{-INF, -INF, -INF};
        inc_bounding_box(m.pos, min, max);
        benchmark::DoNotOptimize(min);
        benchmark::DoNotOptimize(max);
    }
    state.SetItemsProcessed(state.iterations() * m.pos.cols());
}
BENCHMARK(bounding_box)->Apply(sizes);

} // namespace
