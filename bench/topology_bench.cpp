// Topology over generated meshes, in file order and shuffled, next to the plain forms that bound it: node
// buckets, a radix sort of face keys, a sort of all edges.

#include "bench_meshes.h"

#include <plexo/topology.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

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

/// Triangles at each node by counting sort; each edge then looks through those of one node up to the first
/// hit. Manifold meshes only.
void node_buckets(benchmark::State& state, maker make, bool shuffled) {
    const bench::mesh m = make(std::size_t(state.range(0)), shuffled);
    const std::size_t n = m.connectM.cols();
    for (auto _ : state) {
        std::vector<unsigned int> start(m.pos.cols() + 1, 0);
        std::vector<unsigned int> at(3 * n);
        std::vector<unsigned int> result(3 * n, NO_ID);
        const unsigned int* ids = m.connectM.data();
        for (std::size_t i = 0; i < 3 * n; ++i) ++start[ids[i] + 1];
        for (std::size_t i = 1; i < start.size(); ++i) start[i] += start[i - 1];
        std::vector<unsigned int> end(start.begin(), start.end() - 1);
        for (std::size_t i = 0; i < 3 * n; ++i) at[end[ids[i]]++] = static_cast<unsigned int>(i / 3);
        for (std::size_t e = 0; e < n; ++e) {
            for (unsigned int k = 0; k < 3; ++k) {
                const unsigned int a = ids[3 * e + (k + 1) % 3];
                const unsigned int b = ids[3 * e + (k + 2) % 3];
                for (unsigned int i = start[a]; i < start[a + 1]; ++i) {
                    const unsigned int* other = ids + 3 * std::size_t(at[i]);
                    if (at[i] != e && (other[0] == b || other[1] == b || other[2] == b)) {
                        result[3 * e + k] = at[i];
                        break;
                    }
                }
            }
        }
        benchmark::DoNotOptimize(result.data());
    }
    per_element(state, m);
}

template <std::size_t N>
struct keyed {
    std::array<unsigned int, N> key;
    unsigned int code;
};

/// Sorts the faces by their sorted nodes, 11 bits at a time, and links equal ones that stand together.
template <std::size_t N>
void radix_sorted_faces(benchmark::State& state, maker make, bool shuffled) {
    const bench::mesh m = make(std::size_t(state.range(0)), shuffled);
    const unsigned int rows = N + 1;
    const std::size_t faces = std::size_t(rows) * m.connectM.cols();
    for (auto _ : state) {
        std::vector<keyed<N>> from(faces);
        std::vector<keyed<N>> to(faces);
        std::vector<unsigned int> result(faces, NO_ID);
        for (std::size_t f = 0; f < faces; ++f) {
            const unsigned int* column = m.connectM.col_data(static_cast<unsigned int>(f / rows));
            for (std::size_t i = 0; i < N; ++i) from[f].key[i] = column[(f % rows + 1 + i) % rows];
            std::sort(from[f].key.begin(), from[f].key.end());
            from[f].code = static_cast<unsigned int>(f);
        }
        for (std::size_t i = 0; i < N; ++i) {
            for (unsigned int shift = 0; m.pos.cols() >> shift != 0; shift += 11) {
                std::array<unsigned int, 2049> start{};
                for (const auto& face : from) ++start[(face.key[i] >> shift & 2047) + 1];
                for (std::size_t d = 1; d < start.size(); ++d) start[d] += start[d - 1];
                for (const auto& face : from) to[start[face.key[i] >> shift & 2047]++] = face;
                from.swap(to);
            }
        }
        for (std::size_t f = 0; f + 1 < faces; ++f) {
            if (from[f].key != from[f + 1].key) continue;
            result[from[f].code] = from[f + 1].code / rows;
            result[from[f + 1].code] = from[f].code / rows;
        }
        benchmark::DoNotOptimize(result.data());
    }
    per_element(state, m);
}

constexpr auto radix_sorted_edges_of_surface = radix_sorted_faces<2>;
constexpr auto radix_sorted_faces_of_solid = radix_sorted_faces<3>;

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
    for (auto _ : state) {
        std::vector<std::uint64_t> all;
        all.reserve(std::size_t(6) * m.connectM.cols());
        for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
            const unsigned int* column = m.connectM.col_data(e);
            for (unsigned int i = 0; i < 3; ++i) {
                for (unsigned int k = i + 1; k < 4; ++k) {
                    const auto [a, b] = std::minmax(column[i], column[k]);
                    all.push_back(std::uint64_t(a) << 32 | b);
                }
            }
        }
        std::sort(all.begin(), all.end());
        all.erase(std::unique(all.begin(), all.end()), all.end());
        benchmark::DoNotOptimize(all.data());
    }
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
BENCHMARK_CAPTURE(radix_sorted_edges_of_surface, triangles, triangles, IN_ORDER)->Apply(triangle_sizes);
BENCHMARK_CAPTURE(neighbors, tetrahedra, tetrahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(neighbors, tetrahedra_shuffled, tetrahedra, SHUFFLED)->Apply(sizes);
BENCHMARK_CAPTURE(radix_sorted_faces_of_solid, tetrahedra, tetrahedra, IN_ORDER)->Apply(sizes);
BENCHMARK_CAPTURE(radix_sorted_faces_of_solid, tetrahedra_shuffled, tetrahedra, SHUFFLED)->Apply(sizes);
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
