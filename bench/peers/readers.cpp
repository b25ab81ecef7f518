// Text formats read: OBJ and NASTRAN.

#include "peers.h"

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <cstdio>

#ifdef PEER_VTK
#include <vtkNew.h>
#include <vtkOBJReader.h>
#include <vtkPolyData.h>
#endif
#ifdef PEER_TINYOBJ
#include <tiny_obj_loader.h>
#endif
#ifdef PEER_ASSIMP
#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#endif
#ifdef PEER_GMSH
#include "gmsh_mesh.h"
#endif

namespace peers {

namespace {

using namespace qv7::plexo;

void obj_job(session& s) {
    const std::string name = "OBJ read";
    if (!s.wants(name)) return;
    for (const std::size_t n : s.sizes()) {
        const std::string path = working_file("read.obj");
        std::size_t size = 0;
        {
            const bench::mesh m = bench::triangle_surface(n);
            size = m.connectM.cols();
            // Corners as most programs write them: plain numbers.
            std::FILE* file = std::fopen(path.c_str(), "w");
            for (unsigned int j = 0; j < m.pos.cols(); ++j) {
                std::fprintf(file, "v %.6f %.6f %.6f\n", m.pos(0, j), m.pos(1, j), m.pos(2, j));
            }
            for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
                const unsigned int* t = m.connectM.col_data(e);
                std::fprintf(file, "f %u %u %u\n", t[0] + 1, t[1] + 1, t[2] + 1);
            }
            std::fclose(file);
        }
        std::vector<contender> contenders{
            {role::subject, "WavefrontOBJ_input", [path] {
                 dense2D<double> pos, normals, texture;
                 dense2D<unsigned int> triangles, quads;
                 keep(WavefrontOBJ_input(path.c_str(), pos, normals, texture, triangles, quads));
             }}};
#ifdef PEER_TINYOBJ
        contenders.push_back(
            {role::peer, "tinyobjloader", [path] {
                 tinyobj::attrib_t attributes;
                 std::vector<tinyobj::shape_t> shapes;
                 std::vector<tinyobj::material_t> materials;
                 std::string warning, error;
                 keep(tinyobj::LoadObj(&attributes, &shapes, &materials, &warning, &error, path.c_str()));
             }});
#endif
#ifdef PEER_ASSIMP
        contenders.push_back({role::peer, "assimp", [path] {
                                  Assimp::Importer importer;
                                  keep(importer.ReadFile(path, 0));
                              }});
#endif
#ifdef PEER_VTK
        contenders.push_back({role::peer, "vtkOBJReader", [path] {
                                  vtkNew<vtkOBJReader> reader;
                                  reader->SetFileName(path.c_str());
                                  reader->Update();
                                  keep(reader->GetOutput()->GetNumberOfPoints());
                              }});
#endif
        contenders.push_back(line_scan(path));
        s.measure(name, size, 0.25, contenders);
        std::remove(path.c_str());
    }
}

contender nastran_reader(const std::string& path) {
    return {role::subject, "NASTRAN_input", [path] {
                dense2D<double> pos;
                dense2D<unsigned int> connectM;
                element_type type = ELEM_NONE;
                keep(NASTRAN_input(path.c_str(), pos, connectM, type));
            }};
}

/// A deck as most programs write it: small fields in columns.
void write_columns(const std::string& path, const bench::mesh& m) {
    std::FILE* file = std::fopen(path.c_str(), "w");
    std::fputs("BEGIN BULK\n", file);
    for (unsigned int j = 0; j < m.pos.cols(); ++j) {
        std::fprintf(file, "GRID    %8u        %8.5f%8.5f%8.5f\n", j + 1, m.pos(0, j), m.pos(1, j),
                     m.pos(2, j));
    }
    for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
        const unsigned int* t = m.connectM.col_data(e);
        std::fprintf(file, "CTRIA3  %8u%8u%8u%8u%8u\n", e + 1, 1u, t[0] + 1, t[1] + 1, t[2] + 1);
    }
    std::fputs("ENDDATA\n", file);
    std::fclose(file);
}

void nastran_jobs(session& s) {
    const std::string own = "NASTRAN read, dialect of each", common = "NASTRAN read, columns of eight";
    if (!s.wants(own) && !s.wants(common)) return;
    for (const std::size_t n : s.sizes()) {
        const bench::mesh m = bench::triangle_surface(n * 6 / 10); // counted by nodes: 3/10 of the size
        const std::string path = working_file("own.bdf"), columns_path = working_file("columns.bdf");
        if (NASTRAN_output(path.c_str(), m.pos, m.connectM, ELEM_TRIA3) != 0) return;
        write_columns(columns_path, m);
        std::vector<contender> own_decks{nastran_reader(path)}, one_deck{nastran_reader(columns_path)};
#ifdef PEER_GMSH
        const gmsh_session gmsh;
        const std::string gmsh_path = working_file("gmsh.bdf");
        gmsh_add(m);
        ::gmsh::write(gmsh_path); // what it reads best
        const auto gmsh_reader = [](const std::string& deck) {
            return contender{role::peer, "gmsh", [deck] { ::gmsh::open(deck); }, [] { ::gmsh::clear(); }};
        };
        own_decks.push_back(gmsh_reader(gmsh_path));
        one_deck.push_back(gmsh_reader(columns_path));
#endif
        own_decks.push_back(line_scan(path));
        one_deck.push_back(line_scan(columns_path));
        if (s.wants(own)) s.measure(own, m.pos.cols(), 0.15, own_decks);
        if (s.wants(common)) s.measure(common, m.pos.cols(), 0.15, one_deck);
        std::remove(path.c_str());
        std::remove(columns_path.c_str());
#ifdef PEER_GMSH
        std::remove(gmsh_path.c_str());
#endif
    }
}

} // namespace

void reader_jobs(session& s) {
    obj_job(s);
    nastran_jobs(s);
}

} // namespace peers
