// Nearest-node and box queries over random points.

#include "peers.h"

#include <plexo/plexo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <random>

#ifdef PEER_NANOFLANN
#include <nanoflann.hpp>
#endif
#ifdef PEER_CGAL
#include <CGAL/Fuzzy_iso_box.h>
#include <CGAL/Orthogonal_k_neighbor_search.h>
#include <CGAL/Search_traits_3.h>
#include <CGAL/Simple_cartesian.h>
#endif
#ifdef PEER_VTK
#include "vtk_meshes.h"

#include <vtkStaticPointLocator.h>
#endif

namespace peers {

namespace {

using namespace qv7::plexo;
using point = vector_fixed<double, 3>;

struct queries {
    dense2D<double> pos;
    std::vector<point> points;
    double half_box; ///< boxes of about ten nodes
};

queries random_queries(std::size_t n) {
    std::mt19937_64 random(11);
    std::uniform_real_distribution<double> coordinate(0, 1);
    queries q{dense2D<double>(3, static_cast<unsigned int>(n)), std::vector<point>(n),
              0.5 * std::cbrt(10.0 / double(n))};
    for (unsigned int j = 0; j < q.pos.cols(); ++j) {
        for (unsigned int k = 0; k < 3; ++k) q.pos(k, j) = coordinate(random);
    }
    for (point& p : q.points) p = point{coordinate(random), coordinate(random), coordinate(random)};
    return q;
}

/// One structure: how it is built, asked for the nearest node and for a box; an empty function is left out.
struct structure {
    role part;
    std::string name;
    std::function<void()> build, nearest, box;
};

structure subject(const queries& q) {
    auto detector = std::make_shared<node_detector>();
    return {role::subject, "node_detector", [=, &q] { detector->reinit(q.pos); },
            [=, &q] {
                std::size_t sum = 0;
                for (const point& p : q.points) sum += detector->find_closest(p);
                keep(sum);
            },
            [=, &q] {
                dense1D<unsigned int, 16> found;
                std::size_t sum = 0;
                const double h = q.half_box;
                for (const point& p : q.points) {
                    found.clear();
                    detector->find_in_box(point{p[0] - h, p[1] - h, p[2] - h},
                                          point{p[0] + h, p[1] + h, p[2] + h}, found);
                    sum += found.size();
                }
                keep(sum);
            }};
}

#ifdef PEER_NANOFLANN
struct cloud {
    const double* data;
    std::size_t n;
    std::size_t kdtree_get_point_count() const { return n; }
    double kdtree_get_pt(std::size_t j, std::size_t k) const { return data[3 * j + k]; }
    template <typename Box>
    bool kdtree_get_bbox(Box&) const {
        return false;
    }
};

structure nanoflann_tree(const queries& q) {
    using tree = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, cloud>, cloud, 3,
                                                     unsigned int>;
    auto points = std::make_shared<cloud>(cloud{q.pos.data(), q.pos.cols()});
    auto index = std::make_shared<std::unique_ptr<tree>>();
    return {
        role::peer,
        "nanoflann",
        [=] { *index = std::make_unique<tree>(3, *points, nanoflann::KDTreeSingleIndexAdaptorParams(10)); },
        [=, &q] {
            std::size_t sum = 0;
            for (const point& p : q.points) {
                unsigned int nearest = 0;
                double distance = 0;
                nanoflann::KNNResultSet<double, unsigned int> result(1);
                result.init(&nearest, &distance);
                (*index)->findNeighbors(result, p.data(), nanoflann::SearchParams());
                sum += nearest;
            }
            keep(sum);
        },
        {}};
}
#endif

#ifdef PEER_CGAL
structure cgal_tree(const queries& q) {
    using kernel = CGAL::Simple_cartesian<double>;
    using traits = CGAL::Search_traits_3<kernel>;
    using search = CGAL::Orthogonal_k_neighbor_search<traits>;
    using tree = search::Tree;
    auto index = std::make_shared<std::unique_ptr<tree>>();
    return {role::peer, "CGAL::Kd_tree",
            [=, &q] {
                *index = std::make_unique<tree>();
                for (unsigned int j = 0; j < q.pos.cols(); ++j) {
                    const double* p = q.pos.col_data(j);
                    (*index)->insert(kernel::Point_3(p[0], p[1], p[2]));
                }
                (*index)->build();
            },
            [=, &q] {
                double sum = 0;
                for (const point& p : q.points) {
                    search s(**index, kernel::Point_3(p[0], p[1], p[2]), 1);
                    sum += s.begin()->second;
                }
                keep(sum);
            },
            [=, &q] {
                std::size_t sum = 0;
                const double h = q.half_box;
                std::vector<kernel::Point_3> found;
                for (const point& p : q.points) {
                    found.clear();
                    const CGAL::Fuzzy_iso_box<traits> box(kernel::Point_3(p[0] - h, p[1] - h, p[2] - h),
                                                          kernel::Point_3(p[0] + h, p[1] + h, p[2] + h));
                    (*index)->search(std::back_inserter(found), box);
                    sum += found.size();
                }
                keep(sum);
            }};
}
#endif

#ifdef PEER_VTK
structure static_grid(const queries& q) {
    auto cloud = vtkSmartPointer<vtkPolyData>::New();
    cloud->SetPoints(vtk_points(q.pos));
    auto locator = std::make_shared<vtkSmartPointer<vtkStaticPointLocator>>();
    return {role::peer,
            "vtkStaticPointLocator",
            [=] {
                *locator = vtkSmartPointer<vtkStaticPointLocator>::New();
                (*locator)->SetDataSet(cloud);
                (*locator)->BuildLocator();
            },
            [=, &q] {
                std::size_t sum = 0;
                for (const point& p : q.points) sum += std::size_t((*locator)->FindClosestPoint(p.data()));
                keep(sum);
            },
            {}};
}
#endif

} // namespace

void search_jobs(session& s) {
    const std::string build = "k-d tree build", grid_build = "k-d tree build, against a grid",
                      nearest = "k-d tree nearest", box = "k-d tree box",
                      all = "k-d tree build, nearest and box";
    const std::array names{build, grid_build, nearest, box, all};
    if (std::none_of(names.begin(), names.end(), [&](const std::string& name) { return s.wants(name); }))
        return;
    for (const std::size_t n : s.sizes()) {
        const queries q = random_queries(n);
        std::vector<structure> structures{subject(q)};
#ifdef PEER_NANOFLANN
        structures.push_back(nanoflann_tree(q));
#endif
#ifdef PEER_CGAL
        structures.push_back(cgal_tree(q));
#endif
        std::vector<contender> builds, searches, boxes, sums;
        for (const structure& t : structures) {
            builds.push_back({t.part, t.name, t.build});
            searches.push_back({t.part, t.name, t.nearest});
            if (!t.box) continue;
            boxes.push_back({t.part, t.name, t.box});
            sums.push_back({t.part, t.name, [t] {
                                t.build();
                                t.nearest();
                                t.box();
                            }});
        }
        s.measure(build, n, 0.9, builds); // always, for what follows asks the structures
#ifdef PEER_VTK
        // A uniform grid, not a tree: the bar for building alone on evenly spread points.
        const structure grid = static_grid(q);
        s.measure(grid_build, n, 0, {builds.front(), {grid.part, grid.name, grid.build}});
        searches.push_back({grid.part, grid.name, grid.nearest});
#endif
        if (s.wants(nearest)) s.measure(nearest, n, 0.9, searches);
        if (s.wants(box)) s.measure(box, n, 0.8, boxes);
        if (s.wants(all)) s.measure(all, n, 0.8, sums);
    }
}

} // namespace peers
