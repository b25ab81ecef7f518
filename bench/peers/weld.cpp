// Merging coincident and nearly coincident nodes of a triangle soup.

#include "peers.h"

#include <plexo/plexo.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <random>

#ifdef PEER_VTK
#include <vtkCellArray.h>
#include <vtkCleanPolyData.h>
#include <vtkNew.h>
#include <vtkPoints.h>
#include <vtkPolyData.h>
#include <vtkSmartPointer.h>
#include <vtkStaticCleanPolyData.h>
#endif
#ifdef PEER_MESHOPTIMIZER
#include <meshoptimizer.h>
#endif

namespace peers {

namespace {

using namespace qv7::plexo;

constexpr unsigned int COPIES = 6; // a node of a triangulated surface is given by about six facets

/// n nodes, each of n / COPIES points given COPIES times, moved by at most `jitter`; neighbouring triangles
/// name neighbouring points, as in a file, unless shuffled.
dense2D<double> soup(std::size_t n, double jitter, bool shuffled) {
    const auto side = static_cast<std::size_t>(std::cbrt(double(n / COPIES))) + 1;
    std::mt19937 random(7);
    std::uniform_real_distribution<double> shift(-jitter, jitter);
    std::vector<std::size_t> order(n);
    std::iota(order.begin(), order.end(), std::size_t(0));
    if (shuffled) std::shuffle(order.begin(), order.end(), random);
    dense2D<double> pos(3, static_cast<unsigned int>(n));
    for (std::size_t k = 0; k < n; ++k) {
        const std::size_t point = k / COPIES;
        double* p = pos.col_data(static_cast<unsigned int>(order[k]));
        p[0] = double(point % side) / double(side) + (jitter > 0 ? shift(random) : 0);
        p[1] = double(point / side % side) / double(side) + (jitter > 0 ? shift(random) : 0);
        p[2] = double(point / side / side) / double(side) + (jitter > 0 ? shift(random) : 0);
    }
    return pos;
}

#ifdef PEER_VTK
vtkSmartPointer<vtkPolyData> vtk_soup(const dense2D<double>& pos) {
    vtkNew<vtkPoints> points;
    points->SetDataTypeToDouble();
    points->SetNumberOfPoints(pos.cols());
    for (unsigned int j = 0; j < pos.cols(); ++j) points->SetPoint(j, pos.col_data(j));
    vtkNew<vtkCellArray> triangles;
    triangles->AllocateExact(pos.cols() / 3, pos.cols());
    for (vtkIdType j = 0; j + 2 < vtkIdType(pos.cols()); j += 3) {
        const vtkIdType ids[] = {j, j + 1, j + 2};
        triangles->InsertNextCell(3, ids);
    }
    auto mesh = vtkSmartPointer<vtkPolyData>::New();
    mesh->SetPoints(points);
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
        const dense2D<double> pos = soup(n, jitter, shuffled);
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
