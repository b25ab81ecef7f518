// Neighbours, edges and connected parts.

#include "peers.h"

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <array>
#include <cstdint>
#include <cstring>
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

// ---- bare programs for the same job
// ---------------------------------------------------------------------------------

/// Node buckets: each edge scans the triangles of one of its nodes and stops at the first other that has
/// both. Manifold input only.
void node_bucket_neighbors(const dense2D<unsigned int>& triangles, unsigned int nodes) {
    const unsigned int n = triangles.cols();
    const unsigned int* t = triangles.data();
    std::vector<unsigned int> start(std::size_t(nodes) + 2), bucket(std::size_t(n) * 3);
    for (std::size_t k = 0; k < std::size_t(n) * 3; ++k) ++start[t[k] + 2];
    for (std::size_t k = 2; k < start.size(); ++k) start[k] += start[k - 1];
    for (std::size_t k = 0; k < std::size_t(n) * 3; ++k)
        bucket[start[t[k] + 1]++] = static_cast<unsigned int>(k / 3);
    std::vector<unsigned int> neighbors(std::size_t(n) * 3, NO_ID);
    for (unsigned int e = 0; e < n; ++e) {
        for (unsigned int k = 0; k < 3; ++k) {
            const unsigned int a = t[3 * std::size_t(e) + (k + 1) % 3],
                               b = t[3 * std::size_t(e) + (k + 2) % 3];
            for (unsigned int slot = start[a]; slot < start[a + 1]; ++slot) {
                const unsigned int* other = t + 3 * std::size_t(bucket[slot]);
                if (bucket[slot] != e && (other[0] == b || other[1] == b || other[2] == b)) {
                    neighbors[3 * std::size_t(e) + k] = bucket[slot];
                    break;
                }
            }
        }
    }
    keep(neighbors.data());
}

struct keyed_face {
    std::uint64_t key;
    unsigned int third, code;
};

/// Sorts whole face keys by radix, 11 bits a pass, least significant first.
void radix_sort(std::vector<keyed_face>& faces, unsigned int nodes, bool with_third) {
    std::vector<keyed_face> other(faces.size());
    unsigned int bits = 1;
    while (bits < 32 && (nodes >> bits) != 0) ++bits;
    const auto pass = [&](auto digit) {
        std::vector<std::size_t> count(2049);
        for (const keyed_face& f : faces) ++count[digit(f) + 1];
        for (std::size_t k = 1; k < count.size(); ++k) count[k] += count[k - 1];
        for (const keyed_face& f : faces) other[count[digit(f)]++] = f;
        faces.swap(other);
    };
    if (with_third) {
        for (unsigned int shift = 0; shift < bits; shift += 11) {
            pass([shift](const keyed_face& f) { return (f.third >> shift) & 2047u; });
        }
    }
    for (const unsigned int base : {0u, 32u}) {
        for (unsigned int shift = 0; shift < bits; shift += 11) {
            pass([=](const keyed_face& f) {
                return static_cast<unsigned int>(f.key >> (base + shift)) & 2047u;
            });
        }
    }
}

/// Faces of simplices by sorting their node lists.
void sorted_face_neighbors(const dense2D<unsigned int>& connectM, unsigned int nodes) {
    const unsigned int rows = connectM.rows();
    std::vector<keyed_face> faces;
    faces.reserve(connectM.size());
    for (unsigned int e = 0; e < connectM.cols(); ++e) {
        const unsigned int* column = connectM.col_data(e);
        for (unsigned int k = 0; k < rows; ++k) {
            std::array<unsigned int, 3> face{NO_ID, NO_ID, NO_ID};
            for (unsigned int i = 0, to = 0; i < rows; ++i) {
                if (i != k) face[to++] = column[i];
            }
            if (face[1] < face[0]) std::swap(face[0], face[1]);
            if (face[2] < face[1]) std::swap(face[1], face[2]);
            if (face[1] < face[0]) std::swap(face[0], face[1]);
            faces.push_back({std::uint64_t(face[0]) << 32 | face[1], face[2], e * rows + k});
        }
    }
    radix_sort(faces, nodes, rows == 4);
    std::vector<unsigned int> neighbors(connectM.size(), NO_ID);
    for (std::size_t k = 0; k + 1 < faces.size(); ++k) {
        if (faces[k].key != faces[k + 1].key || faces[k].third != faces[k + 1].third) continue;
        neighbors[faces[k].code] = faces[k + 1].code / rows;
        neighbors[faces[k + 1].code] = faces[k].code / rows;
    }
    keep(neighbors.data());
}

// ---- jobs
// -----------------------------------------------------------------------------------------------------------

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
            {role::peer, "node buckets", [&] { node_bucket_neighbors(m.connectM, m.pos.cols()); }},
            {role::limit, "radix sort of edges", [&] { sorted_face_neighbors(m.connectM, m.pos.cols()); }}};
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
            subject_neighbors(m),
            {role::limit, "radix sort of faces", [&] { sorted_face_neighbors(m.connectM, m.pos.cols()); }}};
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
            {role::limit, "sort and unique", [&] {
                 std::vector<std::uint64_t> pairs;
                 pairs.reserve(6 * std::size_t(m.connectM.cols()));
                 for (unsigned int e = 0; e < m.connectM.cols(); ++e) {
                     const unsigned int* c = m.connectM.col_data(e);
                     for (unsigned int i = 0; i < 4; ++i) {
                         for (unsigned int j = i + 1; j < 4; ++j) {
                             pairs.push_back(std::uint64_t(std::min(c[i], c[j])) << 32 |
                                             std::max(c[i], c[j]));
                         }
                     }
                 }
                 std::sort(pairs.begin(), pairs.end());
                 pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
                 keep(pairs.size());
             }}};
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
