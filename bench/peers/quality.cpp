// Shape qualities of triangles, tetrahedra and hexahedra.

#include "peers.h"

#include "bench_meshes.h"

#include <plexo/plexo.h>

#include <memory>

#ifdef PEER_VTK
#include "vtk_meshes.h"

#include <vtkMeshQuality.h>
#endif

namespace peers {

namespace {

using namespace qv7::plexo;

void quality_job(session& s, const std::string& name, bench::mesh (*make)(std::size_t), double per_size,
                 bool shuffle, double target) {
    if (!s.wants(name)) return;
    for (const std::size_t n : s.sizes()) {
        bench::mesh m = make(static_cast<std::size_t>(per_size * double(n)));
        if (shuffle) m = bench::shuffled(m);
        auto qualities = std::make_shared<dense1D<double, 16>>();
        std::vector<contender> contenders{
            {role::subject, "shape_qualities",
             [&m, qualities] { keep(shape_qualities(m.pos, m.connectM, m.type, *qualities)); },
             [qualities] { qualities->clear_hard(); }}};
#ifdef PEER_VTK
        const auto grid = vtk_grid(m);
        contenders.push_back({role::peer, "vtkMeshQuality", [=] {
                                  vtkNew<vtkMeshQuality> filter;
                                  filter->SetInputData(grid);
                                  filter->SetTriangleQualityMeasureToAspectRatio();
                                  filter->SetTetQualityMeasureToAspectRatio();
                                  filter->SetHexQualityMeasureToScaledJacobian();
                                  filter->Update();
                                  keep(filter->GetOutput()->GetNumberOfCells());
                              }});
#endif
        s.measure(name, m.connectM.cols(), target, contenders);
    }
}

bench::mesh surface(std::size_t n) {
    return bench::triangle_surface(n);
}

} // namespace

void quality_jobs(session& s) {
    for (const bool shuffle : {false, true}) {
        const std::string suffix = shuffle ? ", shuffled" : "";
        quality_job(s, "quality, triangles" + suffix, surface, 2, shuffle, 0.35);
        quality_job(s, "quality, tetrahedra" + suffix, bench::tetra_box, 1, shuffle, 0.3);
        quality_job(s, "quality, hexahedra" + suffix, bench::hexa_box, 0.5, shuffle, 0.4);
    }
}

} // namespace peers
