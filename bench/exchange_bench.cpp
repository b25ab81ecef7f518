#include "bench_file.h"
#include "bench_meshes.h"

#include <plexo/io.h>

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

// The exchange formats against what one would write by hand, a loop of fprintf or stream insertions.
// Files lie in memory, so that no disk is measured.

namespace {

using bench::bench_file;
using bench::mesh;
using namespace qv7::plexo;

using writer = void (*)(const char* path, const mesh& m);

// ---------------------------------------------------------------- by hand

void medit_by_hand(const char* path, const mesh& m) {
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
    std::fclose(file);
}

void obj_by_hand(const char* path, const mesh& m) {
    std::FILE* const file = std::fopen(path, "w");
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        std::fprintf(file, " v %g %g %g \n", m.pos(0, j), m.pos(1, j), m.pos(2, j));
    }
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
        std::fprintf(file, " f %u// %u// %u// \n", m.connectM(0, j) + 1, m.connectM(1, j) + 1,
                     m.connectM(2, j) + 1);
    }
    std::fclose(file);
}

void nastran_by_hand(const char* path, const mesh& m) {
    std::ofstream file(path);
    file.setf(std::ios::showpoint);
    file << "BEGIN BULK\n";
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
        file << "CTRIA3," << j << ",1,";
        for (unsigned int i = 0; i < 3; ++i) file << m.connectM(i, j) << ",";
        file << "\n";
    }
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        file << "GRID*   " << std::left;
        file.width(16);
        file << j;
        for (unsigned int i = 0; i < 2; ++i) {
            file.width(16);
            file << m.pos(i, j);
        }
        file << "\n*       " << m.pos(2, j) << "\n";
    }
    file << "ENDDATA\n";
}

void femap_by_hand(const char* path, const mesh& m) {
    std::ofstream file(path);
    file << "-1\n403\n";
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        file << j << ",0,0,1,0,0,0,0,0,0,0," << m.pos(0, j) << "," << m.pos(1, j) << "," << m.pos(2, j)
             << ",0,\n";
    }
    file << "-1\n-1\n404\n";
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
        file << j << ",1,0,32,2,1,0,0,0,0,0,0,0,\n";
        for (unsigned int i = 0; i < 3; ++i) file << m.connectM(i, j) << ",";
        file << "0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n0.,0.,0.,0,0,0,0,0,0,\n0.,0.,0.,\n0.,0.,0.,\n"
                "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n";
    }
    file << "-1\n";
}

void vtk_by_hand(const char* path, const mesh& m) {
    std::FILE* const file = std::fopen(path, "w");
    std::fprintf(file, "\nPOINTS %u double\n", m.pos.cols());
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        std::fprintf(file, "%f %f %f\n", m.pos(0, j), m.pos(1, j), m.pos(2, j));
    }
    std::fprintf(file, "\nCELLS %u %u\n", m.connectM.cols(), 4 * m.connectM.cols());
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
        std::fprintf(file, "%u %u %u %u \n", 3u, m.connectM(0, j), m.connectM(1, j), m.connectM(2, j));
    }
    std::fprintf(file, "\nCELL_TYPES %u\n", m.connectM.cols());
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) std::fprintf(file, "%d\n", 5);
    std::fclose(file);
}

void ensight_by_hand(const char* path, const mesh& m) {
    std::FILE* const file = std::fopen(path, "w");
    std::fprintf(file, "coordinates\n%8u\n", m.pos.cols());
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        std::fprintf(file, "%8u%12.5e%12.5e%12.5e\n", j + 1, m.pos(0, j), m.pos(1, j), m.pos(2, j));
    }
    std::fprintf(file, "part %8d\n*************\ntria3\n%8u\n", 1, m.connectM.cols());
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
        std::fprintf(file, "%8u%8u%8u%8u\n", j + 1, m.connectM(0, j) + 1, m.connectM(1, j) + 1,
                     m.connectM(2, j) + 1);
    }
    std::fclose(file);
}

// ---------------------------------------------------------------- by this library

void medit(const char* path, const mesh& m) {
    medit_output(path, m.pos, m.connectM, m.type);
}
void obj(const char* path, const mesh& m) {
    WavefrontOBJ_output(path, m.pos, m.connectM, m.type);
}
void nastran(const char* path, const mesh& m) {
    NASTRAN_output(path, m.pos, m.connectM, m.type);
}
void femap(const char* path, const mesh& m) {
    dense1D<unsigned int, 16> ranges(2, 0);
    ranges[1] = m.connectM.cols();
    FEMAP_output(path, m.pos, m.connectM, ranges, dense1D<int, 16>(1, m.type),
                 dense1D<unsigned int, 16>(m.connectM.cols(), 1));
}
void vtk(const char* path, const mesh& m) {
    vtk_output(path, m.pos, m.connectM, m.type);
}
void ensight(const char* path, const mesh& m) {
    ensight_output(path, m.pos, m.connectM, m.type);
}

/// Bytes per second of a surface of about state.range(0) triangles.
void write_bench(benchmark::State& state, writer write) {
    const mesh m = bench::triangle_surface(static_cast<std::size_t>(state.range(0)));
    const bench_file file("written");
    for (auto _ : state) write(file.path(), m);
    state.SetBytesProcessed(state.iterations() *
                            static_cast<std::int64_t>(std::filesystem::file_size(file.path())));
}

// ---------------------------------------------------------------- reading

/// Plain records, as most programs write them, that every reader here takes.
void plain_obj(const char* path, const mesh& m) {
    std::FILE* const file = std::fopen(path, "w");
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        std::fprintf(file, "v %.6f %.6f %.6f\n", m.pos(0, j), m.pos(1, j), m.pos(2, j));
    }
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
        std::fprintf(file, "f %u %u %u\n", m.connectM(0, j) + 1, m.connectM(1, j) + 1, m.connectM(2, j) + 1);
    }
    std::fclose(file);
}
void free_field_deck(const char* path, const mesh& m) {
    std::FILE* const file = std::fopen(path, "w");
    std::fprintf(file, "BEGIN BULK\n");
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        std::fprintf(file, "GRID,%u,0,%.6f,%.6f,%.6f\n", j + 1, m.pos(0, j), m.pos(1, j), m.pos(2, j));
    }
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
        std::fprintf(file, "CTRIA3,%u,1,%u,%u,%u\n", j + 1, m.connectM(0, j) + 1, m.connectM(1, j) + 1,
                     m.connectM(2, j) + 1);
    }
    std::fprintf(file, "ENDDATA\n");
    std::fclose(file);
}
void small_field_deck(const char* path, const mesh& m) {
    std::FILE* const file = std::fopen(path, "w");
    std::fprintf(file, "BEGIN BULK\n");
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        std::fprintf(file, "GRID    %-8u%-8u%-8.5f%-8.5f%-8.5f\n", j + 1, 0u, m.pos(0, j), m.pos(1, j),
                     m.pos(2, j));
    }
    for (unsigned int j = 0; j < m.connectM.cols(); ++j) {
        std::fprintf(file, "CTRIA3  %-8u%-8u%-8u%-8u%-8u\n", j + 1, 1u, m.connectM(0, j) + 1,
                     m.connectM(1, j) + 1, m.connectM(2, j) + 1);
    }
    std::fprintf(file, "ENDDATA\n");
    std::fclose(file);
}

using reader = bool (*)(const char* path); ///< true when there was something to read

bool read_obj(const char* path) {
    dense2D<double> pos, normals, texture;
    dense2D<unsigned int> triangles, quads;
    return WavefrontOBJ_input(path, pos, normals, texture, triangles, quads) == 0 && triangles.cols() != 0;
}
bool read_nastran(const char* path) {
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
    element_type type = ELEM_NONE;
    return NASTRAN_input(path, pos, connectM, type) > 0;
}
bool read_femap(const char* path) {
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
    element_type type = ELEM_NONE;
    return FEMAP_input(path, pos, connectM, type) > 0;
}

/// Bytes per second of a file with about state.range(0) triangles.
void read_bench(benchmark::State& state, const char* name, writer make, reader read) {
    const bench_file file(name);
    make(file.path(), bench::triangle_surface(static_cast<std::size_t>(state.range(0))));
    for (auto _ : state) {
        if (!read(file.path())) {
            state.SkipWithError("could not read");
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() *
                            static_cast<std::int64_t>(std::filesystem::file_size(file.path())));
}

void sizes(benchmark::internal::Benchmark* family) {
    family->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK_CAPTURE(write_bench, medit, medit)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, medit_by_hand, medit_by_hand)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, obj, obj)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, obj_by_hand, obj_by_hand)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, nastran, nastran)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, nastran_by_hand, nastran_by_hand)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, femap, femap)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, femap_by_hand, femap_by_hand)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, vtk, vtk)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, vtk_by_hand, vtk_by_hand)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, ensight, ensight)->Apply(sizes);
BENCHMARK_CAPTURE(write_bench, ensight_by_hand, ensight_by_hand)->Apply(sizes);

BENCHMARK_CAPTURE(read_bench, obj, "read.obj", plain_obj, read_obj)->Apply(sizes);
BENCHMARK_CAPTURE(read_bench, femap, "read.neu", femap, read_femap)->Apply(sizes);
BENCHMARK_CAPTURE(read_bench, nastran_free, "read.bdf", free_field_deck, read_nastran)->Apply(sizes);
BENCHMARK_CAPTURE(read_bench, nastran_small, "read.bdf", small_field_deck, read_nastran)->Apply(sizes);

} // namespace
