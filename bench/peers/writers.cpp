// Text formats written: MEDIT, VTK, OBJ, NASTRAN, FEMAP, EnSight.

#include "peers.h"

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <cstdio>

#ifdef PEER_VTK
#include "vtk_meshes.h"

#include <vtkOBJWriter.h>
#include <vtkUnstructuredGridWriter.h>
#endif
#ifdef PEER_GMSH
#include "gmsh_mesh.h"
#endif

namespace peers {

namespace {

using namespace qv7::plexo;

/// A record written by a plain program for each node and each triangle, with the formats of the file at hand.
struct plain_writer {
    const char* node;      ///< three coordinates
    const char* triangle;  ///< three node numbers
    bool numbered = false; ///< a node's number precedes its coordinates

    void operator()(const bench::mesh& m, const std::string& path) const {
        std::FILE* file = std::fopen(path.c_str(), "w");
        for (unsigned int j = 0; j < m.pos.cols(); ++j) {
            const double* p = m.pos.col_data(j);
            if (numbered) std::fprintf(file, "%8u", j + 1);
            std::fprintf(file, node, p[0], p[1], p[2]); // NOLINT(clang-diagnostic-format-nonliteral)
        }
        for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
            const unsigned int* t = m.connectM.col_data(e);
            std::fprintf(file, triangle, t[0] + 1, t[1] + 1,
                         t[2] + 1); // NOLINT(clang-diagnostic-format-nonliteral)
        }
        std::fclose(file);
    }
};

struct text_format {
    std::string name, extension;
    int (*write)(const char*, const dense2D<double>&, const dense2D<unsigned int>&);
    plain_writer plain;
    bool gmsh = false; ///< gmsh writes it too
};

int write_femap(const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& connectM) {
    dense1D<unsigned int, 16> ranges(2), properties(connectM.cols(), 1);
    ranges[0] = 0;
    ranges[1] = connectM.cols();
    return FEMAP_output(path, pos, connectM, ranges, dense1D<int, 16>(1, ELEM_TRIA3), properties);
}

const text_format FORMATS[] = {
    {"MEDIT written",
     "mesh",
     [](const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& c) {
         return medit_output(path, pos, c, ELEM_TRIA3);
     },
     {"%E %E %E 0 \n", "%d %d %d 0 \n"},
     true},
    {"VTK written",
     "vtk",
     [](const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& c) {
         return vtk_output(path, pos, c, ELEM_TRIA3);
     },
     {"%f %f %f\n", "3 %d %d %d \n"},
     true},
    {"OBJ written",
     "obj",
     [](const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& c) {
         return WavefrontOBJ_output(path, pos, c, ELEM_TRIA3);
     },
     {" v %g %g %g \n", " f %u// %u// %u// \n"}},
    {"NASTRAN written",
     "bdf",
     [](const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& c) {
         return NASTRAN_output(path, pos, c, ELEM_TRIA3);
     },
     {"%-16.6g%-16.6g\n*       %g\n", "CTRIA3,1,1,%u,%u,%u,\n", true},
     true},
    {"FEMAP written",
     "neu",
     write_femap,
     {",0,0,1,0,0,0,0,0,0,0,%g,%g,%g,0,\n",
      "1,1,0,32,2,1,0,0,0,0,0,0,0,\n%u,%u,%u,0,0,0,0,0,0,0,\n0,0,0,0,0,0,0,0,0,0,\n0.,0.,0.,0,0,0,0,0,0,\n0.,"
      "0.,0.,\n"
      "0.,0.,0.,\n0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,\n",
      true}},
    {"EnSight written",
     "geo",
     [](const char* path, const dense2D<double>& pos, const dense2D<unsigned int>& c) {
         return ensight_output(path, pos, c, ELEM_TRIA3);
     },
     {"%12.5e%12.5e%12.5e\n", "       1%8u%8u%8u\n", true}},
};

#ifdef PEER_VTK
template <typename Writer, typename Data>
contender vtk_writer(const char* name, const Data& data, const std::string& path) {
    return {role::peer, name, [=] {
                vtkNew<Writer> writer;
                writer->SetInputData(data);
                writer->SetFileName(path.c_str());
                keep(writer->Write());
            }};
}
#endif

void write_job(session& s, const text_format& format) {
    if (!s.wants(format.name)) return;
    for (const std::size_t n : s.sizes()) {
        const bench::mesh m = bench::triangle_surface(n);
        const std::string path = working_file("write." + format.extension);
        std::vector<contender> contenders{
            {role::subject, "this library",
             [&, path] { keep(format.write(path.c_str(), m.pos, m.connectM)); }},
            {role::peer, "fprintf loop", [&, path] { format.plain(m, path); }}};
#ifdef PEER_VTK
        if (format.extension == "vtk") {
            contenders.push_back(
                vtk_writer<vtkUnstructuredGridWriter>("vtkUnstructuredGridWriter", vtk_grid(m), path));
        }
        if (format.extension == "obj") {
            contenders.push_back(vtk_writer<vtkOBJWriter>("vtkOBJWriter", vtk_surface(m), path));
        }
#endif
#ifdef PEER_GMSH
        const gmsh_session gmsh;
        if (format.gmsh) {
            gmsh_add(m);
            contenders.push_back({role::peer, "gmsh", [path] { ::gmsh::write(path); }});
        }
#endif
        s.measure(format.name, m.connectM.cols(), 0.2, contenders);
        std::remove(path.c_str());
    }
}

} // namespace

void writer_jobs(session& s) {
    for (const text_format& format : FORMATS) write_job(s, format);
}

} // namespace peers
