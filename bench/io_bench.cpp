// Reading and writing files, the writers each next to the fprintf or fwrite loop that one would otherwise
// write. Files live in memory where the system has such a place, so that no disk is measured.

#include "bench_meshes.h"

#include <plexo/io.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include <unistd.h>

namespace {

using bench::mesh;
using bench::shuffled;
using bench::triangle_surface;
using namespace qv7::plexo;

std::string path_for(const char* extension) {
    const std::string directory = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
    return directory + "/plexo_bench_" + std::to_string(getpid()) + extension;
}

mesh surface(const benchmark::State& state) {
    return triangle_surface(std::size_t(state.range(0)));
}

void sizes(benchmark::internal::Benchmark* b) {
    b->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond);
}

// Measures write(path), which returns 0 on success.
template <typename Write>
void measure(benchmark::State& state, const char* extension, Write write) {
    const std::string path = path_for(extension);
    for (auto _ : state) {
        if (write(path.c_str()) != 0) state.SkipWithError("cannot write");
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    std::remove(path.c_str());
}

// ------------------------------------------------------------ MEDIT

void medit_write(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".mesh", [&](const char* path) { return medit_output(path, m.pos, m.connectM, m.type); });
}
BENCHMARK(medit_write)->Apply(sizes);

void medit_write_fprintf(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".mesh", [&](const char* path) {
        std::FILE* const file = std::fopen(path, "w");
        std::fprintf(file, "MeshVersionFormatted 1\nDimension 3\nVertices\n%u\n", m.pos.cols());
        for (unsigned int j = 0; j < m.pos.cols(); ++j) {
            for (unsigned int i = 0; i < 3; ++i) std::fprintf(file, "%E ", m.pos(i, j));
            std::fprintf(file, "0 \n");
        }
        std::fprintf(file, "Triangles\n%u\n", m.connectM.cols());
        for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
            for (unsigned int i = 0; i < 3; ++i) std::fprintf(file, "%u ", m.connectM(i, j) + 1);
            std::fprintf(file, "0 \n");
        }
        return std::fclose(file);
    });
}
BENCHMARK(medit_write_fprintf)->Apply(sizes);

// ------------------------------------------------------------ VTK, EnSight

void vtk_write(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".vtk", [&](const char* path) { return vtk_output(path, m.pos, m.connectM, m.type); });
}
BENCHMARK(vtk_write)->Apply(sizes);

void vtk_write_fprintf(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".vtk", [&](const char* path) {
        std::FILE* const file = std::fopen(path, "w");
        for (unsigned int j = 0; j < m.pos.cols(); ++j) {
            std::fprintf(file, "%f %f %f\n", m.pos(0, j), m.pos(1, j), m.pos(2, j));
        }
        for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
            std::fprintf(file, "3 %u %u %u \n", m.connectM(0, j), m.connectM(1, j), m.connectM(2, j));
        }
        for (unsigned int j = 0; j < m.connectM.cols(); ++j) std::fprintf(file, "%d\n", 5);
        return std::fclose(file);
    });
}
BENCHMARK(vtk_write_fprintf)->Apply(sizes);

void ensight_write(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".geo", [&](const char* path) { return ensight_output(path, m.pos, m.connectM, m.type); });
}
BENCHMARK(ensight_write)->Apply(sizes);

void ensight_write_fprintf(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".geo", [&](const char* path) {
        std::FILE* const file = std::fopen(path, "w");
        for (unsigned int j = 0; j < m.pos.cols(); ++j) {
            std::fprintf(file, "%8u%12.5e%12.5e%12.5e\n", j + 1, m.pos(0, j), m.pos(1, j), m.pos(2, j));
        }
        for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
            std::fprintf(file, "%8u%8u%8u%8u\n", j + 1, m.connectM(0, j) + 1, m.connectM(1, j) + 1,
                         m.connectM(2, j) + 1);
        }
        return std::fclose(file);
    });
}
BENCHMARK(ensight_write_fprintf)->Apply(sizes);

// ------------------------------------------------------------ STL

void stl_write_ascii(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".stl", [&](const char* path) { return STL_output(path, m.pos, m.connectM, true); });
}
BENCHMARK(stl_write_ascii)->Apply(sizes);

void stl_write_ascii_fprintf(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".stl", [&](const char* path) {
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
BENCHMARK(stl_write_ascii_fprintf)->Apply(sizes);

void stl_write_binary(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".stl", [&](const char* path) { return STL_output(path, m.pos, m.connectM, false); });
}
BENCHMARK(stl_write_binary)->Apply(sizes);

void stl_write_binary_fwrite(benchmark::State& state) {
    const mesh m = surface(state);
    measure(state, ".stl", [&](const char* path) {
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
BENCHMARK(stl_write_binary_fwrite)->Apply(sizes);

void read_stl(benchmark::State& state, const mesh& m, bool ascii) {
    const std::string path = path_for(".stl");
    if (STL_output(path.c_str(), m.pos, m.connectM, ascii) != 0) state.SkipWithError("cannot write");
    for (auto _ : state) {
        dense2D<double> pos;
        dense2D<unsigned int> connectM;
        if (STL_input(path.c_str(), pos, connectM) <= 0) state.SkipWithError("cannot read");
        benchmark::DoNotOptimize(connectM.data());
    }
    state.SetItemsProcessed(state.iterations() * m.connectM.cols());
    std::remove(path.c_str());
}

void stl_read_binary(benchmark::State& state) {
    read_stl(state, surface(state), false);
}
BENCHMARK(stl_read_binary)->Apply(sizes);

void stl_read_binary_shuffled(benchmark::State& state) {
    read_stl(state, shuffled(surface(state)), false);
}
BENCHMARK(stl_read_binary_shuffled)->Apply(sizes);

void stl_read_ascii(benchmark::State& state) {
    read_stl(state, surface(state), true);
}
BENCHMARK(stl_read_ascii)->Apply(sizes);

} // namespace
