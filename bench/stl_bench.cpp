// Reading and writing STL, the writers each next to the fprintf or fwrite loop that one would otherwise
// write.

#include "bench_file.h"
#include "bench_meshes.h"

#include <plexo/io.h>

#include <benchmark/benchmark.h>

#include <cstdio>

namespace {

using bench::bench_file;
using bench::mesh;
using bench::shuffled;
using namespace qv7::plexo;

mesh surface(const benchmark::State& state) {
    return bench::triangle_surface(std::size_t(state.range(0)));
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

/// Measures write(path), which returns 0 on success.
template <typename Write>
void measure(benchmark::State& state, Write write) {
    const bench_file file("written.stl");
    for (auto _ : state) {
        if (write(file.path()) != 0) state.SkipWithError("cannot write");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void write_ascii(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, [&](const char* path) { return STL_output(path, m.pos, m.connectM, true); });
}
BENCHMARK(write_ascii)->Apply(sizes);

void write_ascii_fprintf(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, [&](const char* path) {
        std::FILE* const file = std::fopen(path, "w");
        for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
            const double* const n = m.pos.col_data(m.connectM(0, j)); // as good as a normal
            std::fprintf(file, "   facet normal %le %le %le\n      outer loop\n", n[0], n[1], n[2]);
            for (unsigned int k = 0; k < 3; ++k) {
                const double* const p = m.pos.col_data(m.connectM(k, j));
                std::fprintf(file, "         vertex %le %le %le\n", p[0], p[1], p[2]);
            }
            std::fprintf(file, "      endloop\n   endfacet\n");
        }
        return std::fclose(file);
    });
}
BENCHMARK(write_ascii_fprintf)->Apply(sizes);

void write_binary(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, [&](const char* path) { return STL_output(path, m.pos, m.connectM, false); });
}
BENCHMARK(write_binary)->Apply(sizes);

void write_binary_fwrite(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, [&](const char* path) {
        std::FILE* const file = std::fopen(path, "wb");
        const auto put = [&](const double* p) {
            for (int i = 0; i < 3; ++i) {
                const auto x = float(p[i]);
                std::fwrite(&x, sizeof x, 1, file);
            }
        };
        for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
            put(m.pos.col_data(m.connectM(0, j)));
            for (unsigned int k = 0; k < 3; ++k) put(m.pos.col_data(m.connectM(k, j)));
            std::fwrite("\0", 1, 2, file);
        }
        return std::fclose(file);
    });
}
BENCHMARK(write_binary_fwrite)->Apply(sizes);

void read_stl(benchmark::State& state, const mesh& m, bool ascii) {
    const bench_file file("read.stl");
    if (STL_output(file.path(), m.pos, m.connectM, ascii) != 0) state.SkipWithError("cannot write");
    for (auto _ : state) {
        dense2D<double> pos;
        dense2D<unsigned int> connectM;
        if (STL_input(file.path(), pos, connectM) <= 0) state.SkipWithError("cannot read");
        benchmark::DoNotOptimize(connectM.data());
    }
    state.SetItemsProcessed(state.iterations() * m.connectM.cols());
}

void read_binary(benchmark::State& state) {
    read_stl(state, surface(state), false);
}
BENCHMARK(read_binary)->Apply(sizes);

void read_binary_shuffled(benchmark::State& state) {
    read_stl(state, shuffled(surface(state)), false);
}
BENCHMARK(read_binary_shuffled)->Apply(sizes);

void read_ascii(benchmark::State& state) {
    read_stl(state, surface(state), true);
}
BENCHMARK(read_ascii)->Apply(sizes);

} // namespace
