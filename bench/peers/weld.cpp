// Merging coincident and nearly coincident nodes of a triangle soup.

#include "peers.h"

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <memory>
#include <numeric>

#ifdef PEER_VTK
#include "vtk_meshes.h"

#include <vtkCleanPolyData.h>
#include <vtkStaticCleanPolyData.h>
#endif
#ifdef PEER_MESHOPTIMIZER
#include <meshoptimizer.h>
#endif

namespace peers {

namespace {

using namespace qv7::plexo;

/// About n nodes of a triangle surface, each facet with nodes of its own; neighbouring facets follow one
/// another, as in a file, unless shuffled.
dense2D<double> soup_nodes(std::size_t n, double jitter, bool shuffled) {
    const bench::mesh facets = bench::soup(bench::triangle_surface(n / 3), jitter);
    return shuffled ? bench::shuffled(facets).pos : facets.pos;
}

#ifdef PEER_VTK
vtkSmartPointer<vtkPolyData> vtk_soup(const dense2D<double>& pos) {
    vtkNew<vtkCellArray> triangles;
    triangles->AllocateExact(pos.cols() / 3, pos.cols());
    for (vtkIdType j = 0; j + 2 < vtkIdType(pos.cols()); j += 3) {
        const vtkIdType ids[] = {j, j + 1, j + 2};
        triangles->InsertNextCell(3, ids);
    }
    auto mesh = vtkSmartPointer<vtkPolyData>::New();
    mesh->SetPoints(vtk_points(pos));
    mesh->SetPolys(triangles);
    return mesh;
}

template <typename Filter>
void clean(vtkPolyData* mesh, double tolerance) {
    vtkNew<Filter> filter;
    filter->SetInputData(mesh);
    filter->ToleranceIsAbsoluteOn();
    filter->SetAbsoluteTolerance(tolerance);
    filter->Update();
    keep(filter->GetOutput()->GetNumberOfPoints());
}
#endif

void weld_job(session& s, const std::string& name, double jitter, double tolerance, bool shuffled,
              double target) {
    if (!s.wants(name)) return;
    for (const std::size_t n : s.sizes()) {
        const dense2D<double> pos = soup_nodes(n, jitter, shuffled);
        dense1D<unsigned int, 16> nodes(pos.cols());
        std::iota(nodes.begin(), nodes.end(), 0u);
        auto new_IDs = std::make_shared<dense1D<unsigned int, 16>>();
        std::vector<contender> contenders{{role::subject, "merge",
                                           [=] { keep(merge(pos, nodes, *new_IDs, tolerance)); },
                                           [=] { new_IDs->clear_hard(); }}};
#ifdef PEER_VTK
        const auto mesh = vtk_soup(pos);
        if (tolerance == 0) {
            contenders.push_back({role::peer, "vtkCleanPolyData", [=] { clean<vtkCleanPolyData>(mesh, 0); }});
        } else {
            contenders.push_back({role::peer, "vtkStaticCleanPolyData",
                                  [=] { clean<vtkStaticCleanPolyData>(mesh, tolerance); }});
        }
#endif
#ifdef PEER_MESHOPTIMIZER
        if (tolerance == 0) { // no vertex list, no survivor order: less than what the others do
            contenders.push_back({role::limit, "meshopt_generateVertexRemap", [=] {
                                      std::vector<unsigned int> remap(pos.cols());
                                      keep(meshopt_generateVertexRemap(remap.data(), nullptr, pos.cols(),
                                                                       pos.data(), pos.cols(),
                                                                       3 * sizeof(double)));
                                  }});
        }
#endif
        s.measure(name, n, target, contenders);
    }
}

} // namespace

void weld_jobs(session& s) {
    weld_job(s, "merge exact", 0, 0, false, 0.4);
    weld_job(s, "merge exact, shuffled", 0, 0, true, 0.3);
    weld_job(s, "merge within 1e-6", 1e-9, 1e-6, false, 0.4);
    weld_job(s, "merge within 1e-6, shuffled", 1e-9, 1e-6, true, 0.3);
}

} // namespace peers
