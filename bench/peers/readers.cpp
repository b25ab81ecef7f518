// Text formats read: OBJ and NASTRAN.

#include "peers.h"

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <cstdio>
#include <cstring>
#include <memory>

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

/// The least that any reader of lines does.
contender line_scan(const std::string& path) {
    return {role::limit, "memchr line scan", [path] {
                std::FILE* file = std::fopen(path.c_str(), "rb");
                std::vector<char> slice(1 << 20);
                std::size_t lines = 0;
                for (std::size_t got; (got = std::fread(slice.data(), 1, slice.size(), file));) {
                    const char* at = slice.data();
                    const char* const end = at + got;
                    while ((at = static_cast<const char*>(std::memchr(at, '\n', std::size_t(end - at))))) {
                        ++at;
                        ++lines;
                    }
                }
                std::fclose(file);
                keep(lines);
            }};
}

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

void nastran_job(session& s) {
    const std::string name = "NASTRAN read";
    if (!s.wants(name)) return;
    for (const std::size_t n : s.sizes()) {
        const std::string path = working_file("read.bdf");
        const bench::mesh m = bench::triangle_surface(n * 6 / 10); // counted by nodes: 3/10 of the size
        if (NASTRAN_output(path.c_str(), m.pos, m.connectM, ELEM_TRIA3) != 0) return;
        std::vector<contender> contenders{{role::subject, "NASTRAN_input", [path] {
                                               dense2D<double> pos;
                                               dense2D<unsigned int> connectM;
                                               element_type type = ELEM_NONE;
                                               keep(NASTRAN_input(path.c_str(), pos, connectM, type));
                                           }}};
#ifdef PEER_GMSH
        const gmsh_session gmsh;
        const std::string gmsh_path = working_file("gmsh.bdf");
        gmsh_add(m);
        ::gmsh::write(gmsh_path); // its own dialect, the one it reads best
        contenders.push_back(
            {role::peer, "gmsh", [gmsh_path] { ::gmsh::open(gmsh_path); }, [] { ::gmsh::clear(); }});
#endif
        contenders.push_back(line_scan(path));
        s.measure(name, m.pos.cols(), 0.15, contenders);
        std::remove(path.c_str());
#ifdef PEER_GMSH
        std::remove(gmsh_path.c_str());
#endif
    }
}

} // namespace

void reader_jobs(session& s) {
    obj_job(s);
    nastran_job(s);
}

} // namespace peers
