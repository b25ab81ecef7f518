// Reading STL into a clean mesh, and writing it.

#include "peers.h"

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#ifdef PEER_VTK
#include "vtk_meshes.h"

#include <vtkSTLReader.h>
#include <vtkSTLWriter.h>
#endif
#ifdef PEER_GMSH
#include "gmsh_mesh.h"
#endif
#ifdef PEER_MESHOPTIMIZER
#include <meshoptimizer.h>
#endif
#ifdef PEER_ADMESH
#include <admesh/stl.h>
#endif

namespace peers {

namespace {

using namespace qv7::plexo;

/// The facets of a surface, in random order when shuffled; the nodes stay where they are.
bench::mesh facets(std::size_t n, bool shuffle) {
    bench::mesh m = bench::triangle_surface(n);
    if (!shuffle) return m;
    std::vector<unsigned int> order(m.connectM.cols());
    std::iota(order.begin(), order.end(), 0u);
    std::shuffle(order.begin(), order.end(), std::mt19937(5));
    dense2D<unsigned int> connectM(3, m.connectM.cols());
    for (unsigned int e = 0; e < connectM.cols(); ++e) {
        std::copy_n(m.connectM.col_data(order[e]), 3, connectM.col_data(e));
    }
    m.connectM = connectM;
    return m;
}

/// Reads the vertices of a binary file in slices, with nothing made of them.
std::vector<float> bare_read(const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    std::vector<char> slice(50 * 20'000);
    std::uint32_t count = 0;
    if (!file || std::fseek(file, 80, SEEK_SET) != 0 || std::fread(&count, 4, 1, file) != 1) return {};
    std::vector<float> vertices(9 * std::size_t(count));
    float* to = vertices.data();
    for (std::size_t got; (got = std::fread(slice.data(), 50, slice.size() / 50, file)) != 0;) {
        for (std::size_t k = 0; k < got; ++k, to += 9) std::memcpy(to, slice.data() + 50 * k + 12, 36);
    }
    std::fclose(file);
    return vertices;
}

void read_job(session& s, const std::string& name, bool ascii, bool shuffle, double target) {
    if (!s.wants(name)) return;
    for (std::size_t n : s.sizes()) {
        if (ascii) n = n * 3 / 10;
        const std::string path = working_file("read.stl");
        {
            const bench::mesh m = facets(n, shuffle);
            if (STL_output(path.c_str(), m.pos, m.connectM, ascii) != 0) return;
        }
        auto pos = std::make_shared<dense2D<double>>();
        auto connectM = std::make_shared<dense2D<unsigned int>>();
        std::vector<contender> contenders{{role::subject, "STL_input",
                                           [=] { keep(STL_input(path.c_str(), *pos, *connectM)); },
                                           [=] {
                                               *pos = dense2D<double>();
                                               *connectM = dense2D<unsigned int>();
                                           }}};
#ifdef PEER_VTK
        contenders.push_back({role::peer, "vtkSTLReader merging", [=] {
                                  vtkNew<vtkSTLReader> reader;
                                  reader->SetFileName(path.c_str());
                                  reader->MergingOn();
                                  reader->Update();
                                  keep(reader->GetOutput()->GetNumberOfPoints());
                              }});
#endif
#ifdef PEER_ADMESH
        contenders.push_back({role::other, "admesh, which matches facets only", [=] {
                                  stl_file stl;
                                  std::string name_copy = path;
                                  stl_open(&stl, name_copy.data());
                                  stl_check_facets_exact(&stl);
                                  keep(stl.stats.number_of_facets);
                                  stl_close(&stl);
                              }});
#endif
        if (!ascii) {
#ifdef PEER_MESHOPTIMIZER
            contenders.push_back({role::limit, "bare read + meshopt remap", [=] {
                                      const std::vector<float> vertices = bare_read(path);
                                      std::vector<unsigned int> remap(vertices.size() / 3);
                                      keep(meshopt_generateVertexRemap(remap.data(), nullptr, remap.size(),
                                                                       vertices.data(), remap.size(), 12));
                                  }});
#else
            contenders.push_back({role::limit, "bare read", [=] { keep(bare_read(path).size()); }});
#endif
        } else {
            contenders.push_back(line_scan(path));
        }
        s.measure(name, n, target, contenders);
        std::remove(path.c_str());
    }
}

/// What a plain program does: one call of fwrite a value.
void fwrite_binary(const bench::mesh& m, const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    const char header[80] = "solid-free header";
    const std::uint32_t count = m.connectM.cols();
    std::fwrite(header, 1, 80, file);
    std::fwrite(&count, 4, 1, file);
    for (unsigned int e = 0; e < count; ++e) {
        const float normal[3] = {0, 0, 1};
        for (const float& c : normal) std::fwrite(&c, 4, 1, file);
        for (unsigned int k = 0; k < 3; ++k) {
            for (unsigned int i = 0; i < 3; ++i) {
                const auto c = static_cast<float>(m.pos(i, m.connectM(k, e)));
                std::fwrite(&c, 4, 1, file);
            }
        }
        const std::uint16_t attribute = 0;
        std::fwrite(&attribute, 2, 1, file);
    }
    std::fclose(file);
}

void fprintf_ascii(const bench::mesh& m, const std::string& path) {
    std::FILE* file = std::fopen(path.c_str(), "wt");
    std::fprintf(file, "solid\n");
    for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
        std::fprintf(file, "   facet normal %le %le %le\n      outer loop\n", 0.0, 0.0, 1.0);
        for (unsigned int k = 0; k < 3; ++k) {
            const double* p = m.pos.col_data(m.connectM(k, e));
            std::fprintf(file, "         vertex %le %le %le\n", p[0], p[1], p[2]);
        }
        std::fprintf(file, "      endloop\n   endfacet\n");
    }
    std::fprintf(file, "endsolid\n");
    std::fclose(file);
}

void write_job(session& s, const std::string& name, bool ascii, double target) {
    if (!s.wants(name)) return;
    for (std::size_t n : s.sizes()) {
        if (ascii) n = n * 3 / 10;
        const bench::mesh m = bench::triangle_surface(n);
        const std::string path = working_file("write.stl");
        std::vector<contender> contenders{
            {role::subject, "STL_output",
             [&m, path, ascii] { keep(STL_output(path.c_str(), m.pos, m.connectM, ascii)); }},
            {role::peer, ascii ? "fprintf loop" : "fwrite a value", [&m, path, ascii] {
                 if (ascii) {
                     fprintf_ascii(m, path);
                 } else {
                     fwrite_binary(m, path);
                 }
             }}};
#ifdef PEER_VTK
        const auto surface = vtk_surface(m);
        contenders.push_back({role::peer, "vtkSTLWriter", [=] {
                                  vtkNew<vtkSTLWriter> writer;
                                  writer->SetInputData(surface);
                                  writer->SetFileName(path.c_str());
                                  if (ascii) {
                                      writer->SetFileTypeToASCII();
                                  } else {
                                      writer->SetFileTypeToBinary();
                                  }
                                  keep(writer->Write());
                              }});
#endif
#ifdef PEER_GMSH
        const gmsh_session gmsh;
        gmsh_add(m);
        ::gmsh::option::setNumber("Mesh.Binary", ascii ? 0 : 1);
        contenders.push_back({role::peer, "gmsh", [path] { ::gmsh::write(path); }});
#endif
        s.measure(name, m.connectM.cols(), target, contenders);
        std::remove(path.c_str());
    }
}

} // namespace

void stl_jobs(session& s) {
    read_job(s, "STL binary read to a clean mesh", false, false, 0.5);
    read_job(s, "STL binary read, shuffled facets", false, true, 0.3);
    read_job(s, "STL ASCII read", true, false, 0.3);
    write_job(s, "STL binary written", false, 0.4);
    write_job(s, "STL ASCII written", true, 0.2);
}

} // namespace peers
