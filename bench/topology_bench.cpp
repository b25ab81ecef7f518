// Topology over generated meshes, in file order and shuffled, next to the plain forms that bound it: node
// buckets, a radix sort of face keys, a sort of all edges.

#include "bench_meshes.h"
#include "plain_topology.h"

#include <plexo/topology.h>

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using namespace qv7::plexo;

constexpr bool IN_ORDER = false;
constexpr bool SHUFFLED = true;

bench::mesh triangles(std::size_t n, bool shuffled) {
    const bench::mesh m = bench::triangle_surface(n);
    return shuffled ? bench::shuffled(m) : m;
}

bench::mesh tetrahedra(std::size_t n, bool shuffled) {
    const bench::mesh m = bench::tetra_box(n);
    return shuffled ? bench::shuffled(m) : m;
}

bench::mesh hexahedra(std::size_t n, bool shuffled) {
    const bench::mesh m = bench::hexa_box(n);
    return shuffled ? bench::shuffled(m) : m;
}

bench::mesh fan(std::size_t n, bool) {
    return bench::triangle_fan(static_cast<unsigned int>(n));
}

/// All triangles are the same three nodes.
bench::mesh coincident(std::size_t n, bool) {
    bench::mesh m = bench::triangle_fan(static_cast<unsigned int>(n));
    for (unsigned int i = 0; i < m.connectM.size(); ++i) m.connectM.data()[i] = i % 3;
    return m;
}

using maker = bench::mesh (*)(std::size_t, bool);

void per_element(benchmark::State& state, const bench::mesh& m) {
    state.SetItemsProcessed(state.iterations() * std::int64_t(m.connectM.cols()));
}

void neighbors(benchmark::State& state, maker make, bool shuffled) {
    const bench::mesh m = make(std::size_t(state.range(0)), shuffled);
    for (auto _ : state) {
        dense2D<unsigned int> result;
        benchmark::DoNotOptimize(get_neighbors(m.connectM, m.type, false, result));
    }
    per_element(state, m);
}

void node_buckets(benchmark::State& state, maker make, bool shuffled) {
    const bench::mesh m = make(std::size_t(state.range(0)), shuffled);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bench::node_bucket_neighbors(m.connectM, m.pos.cols()).data());
    }
    per_element(state, m);
}

void radix_sorted_faces(benchmark::State& state, maker make, bool shuffled) {
    const bench::mesh m = make(std::size_t(state.range(0)), shuffled);
    for (auto _ : state) {
        benchmark::DoNotOptimize(bench::sorted_face_neighbors(m.connectM, m.pos.cols()).data());
    }
    per_element(state, m);
}

void edges(benchmark::State& state, maker make, bool shuffled) {
    const bench::mesh m = make(std::size_t(state.range(0)), shuffled);
    for (auto _ : state) {
        dense2D<unsigned int> result;
        benchmark::DoNotOptimize(copy_edges(m.connectM, m.type, result));
    }
    per_element(state, m);
}

void sorted_edges(benchmark::State& state, maker make, bool shuffled) {
    const bench::mesh m = make(std::size_t(state.range(0)), shuffled);
    for (auto _ : state) benchmark::DoNotOptimize(bench::sorted_edges(m.connectM).data());
    per_element(state, m);
}

void parts(benchmark::State& state, bool shuffled) {
    const bench::mesh strips = bench::triangle_surface(std::size_t(state.range(0)), 64);
    const bench::mesh m = shuffled ? bench::shuffled(strips) : strips;
    for (auto _ : state) {
        dense2D<unsigned int> links;
        dense1D<unsigned int, 16> elements;
        dense1D<unsigned int, 16> offsets;
        get_neighbors(m.connectM, m.type, false, links);
        benchmark::DoNotOptimize(get_subdomains(links, elements, offsets));
    }
    per_element(state, m);
}

void boundaries(benchmark::State& state) {
    const bench::mesh m = triangles(std::size_t(state.range(0)), IN_ORDER);
    for (auto _ : state) {
        dense2D<unsigned int> faces;
        benchmark::DoNotOptimize(get_element_boundaries(m.connectM, m.type, faces));
    }
    per_element(state, m);
}

void ancestors(benchmark::State& state) {
    const bench::mesh m = triangles(std::size_t(state.range(0)), IN_ORDER);
    for (auto _ : state) {
        dense1D<unsigned int, 16> result;
        benchmark::DoNotOptimize(get_ancestors(m.connectM, result));
    }
    per_element(state, m);
}

void node_graph(benchmark::State& state, bool shuffled) {
    const bench::mesh m = tetrahedra(std::size_t(state.range(0)), shuffled);
    for (auto _ : state) {
        dense1D<unsigned int, 16> nodes;
        dense1D<unsigned int, 16> offsets;
        benchmark::DoNotOptimize(get_node_graph(m.connectM, nodes, offsets));
    }
    per_element(state, m);
}

void sorted_elements(benchmark::State& state) {
    const bench::mesh m = triangles(std::size_t(state.range(0)), SHUFFLED);
    for (auto _ : state) {
        dense2D<unsigned int> columns = m.connectM;
        dense1D<unsigned int, 16> new_IDs;
        benchmark::DoNotOptimize(sort_elfes(columns, new_IDs));
    }
    per_element(state, m);
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Unit(benchmark::kMillisecond)->Arg(10000)->Arg(100000)->Arg(1000000);
}

void triangle_sizes(benchmark::internal::Benchmark* b) {
    b->Unit(benchmark::kMillisecond)->Arg(20000)->Arg(200000)->Arg(2000000);
}

BENCHMARK_CAPTURE(neighbors, triangles, triangles, IN_ORDER)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(neighbors, triangles_shuffled, triangles, SHUFFLED)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(node_buckets, triangles, triangles, IN_ORDER)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(node_buckets, triangles_shuffled, triangles, SHUFFLED)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(radix_sorted_faces, triangles, triangles, IN_ORDER)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(neighbors, tetrahedra, tetrahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(neighbors, tetrahedra_shuffled, tetrahedra, SHUFFLED)->Apply(sizes);
BENCHMARK_CAPTURE(radix_sorted_faces, tetrahedra, tetrahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(radix_sorted_faces, tetrahedra_shuffled, tetrahedra, SHUFFLED)->Apply(sizes);
BENCHMARK_CAPTURE(neighbors, hexahedra, hexahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(neighbors, hexahedra_shuffled, hexahedra, SHUFFLED)->Apply(sizes);
BENCHMARK_CAPTURE(neighbors, fan, fan, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(neighbors, coincident, coincident, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(edges, tetrahedra, tetrahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(edges, tetrahedra_shuffled, tetrahedra, SHUFFLED)->Apply(sizes);
BENCHMARK_CAPTURE(sorted_edges, tetrahedra, tetrahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(sorted_edges, tetrahedra_shuffled, tetrahedra, SHUFFLED)->Apply(sizes);
BENCHMARK_CAPTURE(edges, triangles, triangles, IN_ORDER)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(edges, triangles_shuffled, triangles, SHUFFLED)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(edges, hexahedra, hexahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(edges, fan, fan, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(parts, triangles, IN_ORDER)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(parts, triangles_shuffled, SHUFFLED)->Apply(triangle_sizes);
BENCHMARK(boundaries)->Apply(triangle_sizes);
BENCHMARK(ancestors)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(node_graph, tetrahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(node_graph, tetrahedra_shuffled, SHUFFLED)->Apply(sizes);
BENCHMARK(sorted_elements)->Apply(triangle_sizes);

} // namespace
