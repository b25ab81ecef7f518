// Neighbours, edges and connected parts.

#include "peers.h"

#include "bench_meshes.h"
#include "plain_topology.h"

#include <plexo/plexo.h>

#include <memory>

#ifdef PEER_VTK
#include "vtk_meshes.h"

#include <vtkExtractEdges.h>
#include <vtkIdList.h>
#include <vtkPolyDataConnectivityFilter.h>
#endif
#ifdef PEER_OPENMESH
#include <OpenMesh/Core/Mesh/TriMesh_ArrayKernelT.hh>
#endif

namespace peers {

namespace {

using namespace qv7::plexo;

contender subject_neighbors(const bench::mesh& m) {
    auto neighbors = std::make_shared<dense2D<unsigned int>>();
    return {role::subject, "get_neighbors",
            [&m, neighbors] { keep(get_neighbors(m.connectM, m.type, true, *neighbors)); },
            [neighbors] { *neighbors = dense2D<unsigned int>(); }};
}

void triangle_neighbors(session& s, const std::string& name, bool shuffle, double target) {
    if (!s.wants(name)) return;
    for (const std::size_t n : s.sizes()) {
        bench::mesh m = bench::triangle_surface(2 * n);
        if (shuffle) m = bench::shuffled(m);
        std::vector<contender> contenders{
            subject_neighbors(m),
            {role::peer, "node buckets",
             [&] { keep(bench::node_bucket_neighbors(m.connectM, m.pos.cols()).data()); }},
            {role::limit, "radix sort of edges",
             [&] { keep(bench::sorted_face_neighbors(m.connectM, m.pos.cols()).data()); }}};
#ifdef PEER_OPENMESH
        contenders.push_back({role::peer, "OpenMesh add_face", [&] {
                                  OpenMesh::TriMesh_ArrayKernelT<> mesh;
                                  std::vector<OpenMesh::VertexHandle> vertex(m.pos.cols());
                                  for (unsigned int j = 0; j < m.pos.cols(); ++j) {
                                      const double* p = m.pos.col_data(j);
                                      vertex[j] = mesh.add_vertex({float(p[0]), float(p[1]), float(p[2])});
                                  }
                                  for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
                                      const unsigned int* t = m.connectM.col_data(e);
                                      mesh.add_face(vertex[t[0]], vertex[t[1]], vertex[t[2]]);
                                  }
                                  keep(mesh.n_faces());
                              }});
#endif
        s.measure(name, m.connectM.cols(), target, contenders);
    }
}

void tetra_neighbors(session& s, const std::string& name, bool shuffle) {
    if (!s.wants(name)) return;
    for (const std::size_t n : s.sizes()) {
        bench::mesh m = bench::tetra_box(n);
        if (shuffle) m = bench::shuffled(m);
        std::vector<contender> contenders{
            subject_neighbors(m), {role::limit, "radix sort of faces", [&] {
                                       keep(bench::sorted_face_neighbors(m.connectM, m.pos.cols()).data());
                                   }}};
#ifdef PEER_VTK
        const auto grid = vtk_grid(m);
        if (n <= 1'000'000) {
            contenders.push_back(
                {role::peer, "VTK cell neighbours", [=] {
                     vtkNew<vtkUnstructuredGrid> fresh; // links are kept in the grid: build them anew
                     fresh->ShallowCopy(grid);
                     fresh->BuildLinks();
                     vtkNew<vtkIdList> cell, face, neighbor;
                     face->SetNumberOfIds(3);
                     vtkIdType found = 0;
                     for (vtkIdType e = 0; e < fresh->GetNumberOfCells(); ++e) {
                         fresh->GetCellPoints(e, cell);
                         for (vtkIdType k = 0; k < 4; ++k) {
                             for (vtkIdType i = 0; i < 3; ++i) {
                                 face->SetId(i, cell->GetId((k + 1 + i) % 4));
                             }
                             fresh->GetCellNeighbors(e, face, neighbor);
                             found += neighbor->GetNumberOfIds();
                         }
                     }
                     keep(found);
                 }});
        }
#endif
        s.measure(name, m.connectM.cols(), 0.1, contenders);
    }
}

void tetra_edges(session& s, const std::string& name, bool shuffle, double target) {
    if (!s.wants(name)) return;
    for (const std::size_t n : s.sizes()) {
        bench::mesh m = bench::tetra_box(n);
        if (shuffle) m = bench::shuffled(m);
        auto edges = std::make_shared<dense2D<unsigned int>>();
        std::vector<contender> contenders{
            {role::subject, "copy_edges", [&m, edges] { keep(copy_edges(m.connectM, m.type, *edges)); },
             [edges] { *edges = dense2D<unsigned int>(); }},
            {role::limit, "sort and unique", [&] { keep(bench::sorted_edges(m.connectM).size()); }}};
#ifdef PEER_VTK
        const auto grid = vtk_grid(m);
        contenders.push_back({role::peer, "vtkExtractEdges", [=] {
                                  vtkNew<vtkExtractEdges> filter;
                                  filter->SetInputData(grid);
                                  filter->UseAllPointsOn();
                                  filter->Update();
                                  keep(filter->GetOutput()->GetNumberOfCells());
                              }});
#endif
        s.measure(name, m.connectM.cols(), target, contenders);
    }
}

void subdomains(session& s, const std::string& name) {
    if (!s.wants(name)) return;
    for (const std::size_t n : s.sizes()) {
        const bench::mesh m = bench::triangle_surface(2 * n, 64);
        std::vector<contender> contenders{{role::subject, "get_neighbors + get_subdomains", [&m] {
                                               dense2D<unsigned int> neighbors;
                                               dense1D<unsigned int, 16> elements, offsets;
                                               get_neighbors(m.connectM, m.type, true, neighbors);
                                               keep(get_subdomains(neighbors, elements, offsets));
                                           }}};
#ifdef PEER_VTK
        const auto surface = vtk_surface(m);
        contenders.push_back({role::peer, "vtkPolyDataConnectivityFilter", [=] {
                                  vtkNew<vtkPolyData> fresh;
                                  fresh->ShallowCopy(surface);
                                  vtkNew<vtkPolyDataConnectivityFilter> filter;
                                  filter->SetInputData(fresh);
                                  filter->SetExtractionModeToAllRegions();
                                  filter->ColorRegionsOn();
                                  filter->Update();
                                  keep(filter->GetNumberOfExtractedRegions());
                              }});
#endif
        s.measure(name, m.connectM.cols(), 0.35, contenders);
    }
}

} // namespace

void topology_jobs(session& s) {
    triangle_neighbors(s, "neighbours, triangles", false, 1.0);
    triangle_neighbors(s, "neighbours, triangles, shuffled", true, 0.2);
    tetra_neighbors(s, "neighbours, tetrahedra", false);
    tetra_neighbors(s, "neighbours, tetrahedra, shuffled", true);
    tetra_edges(s, "edges, tetrahedra", false, 0.3);
    tetra_edges(s, "edges, tetrahedra, shuffled", true, 0.15);
    subdomains(s, "neighbours + sub-domains");
}

} // namespace peers
