// Prescribes element sizes over a box of tetrahedra: thin ones in a boundary layer along one wall, small ones
// around a point, coarse ones elsewhere. The field is made valid, bounded, intersected and graded, the mesh's
// edges are rated in it, and mesh and fields are written in MEDIT format.

#include "example_support.h"
#include "print_histogram.h"

#include <plexo/plexo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

namespace {

using namespace qv7::plexo;

constexpr unsigned int DEFAULT_CELLS = 24, MOST_CELLS = 200;

constexpr double LAYER_THICKNESS = 0.15; ///< of the boundary layer along the wall z = 0 of the unit box
constexpr double SIZE_AT_WALL = 0.005;   ///< across the layer
constexpr double SIZE_ALONG_WALL = 0.1;
constexpr double BACKGROUND_SIZE = 0.08;
constexpr double SIZE_AT_CORNER = 0.01; ///< at the corner (1, 1, 1)
constexpr double LOWEST_SIZE = 0.008, HIGHEST_SIZE = 0.09;
constexpr double MAX_SHOCK = 0.25;

struct mesh {
    dense2D<double> pos;
    dense2D<unsigned int> tetrahedra;
};

/// cells × cells × cells cubes of the unit box, each cut into six tetrahedra around a diagonal. Empty when
/// there is no memory for it.
mesh box_of_tetrahedra(unsigned int cells) {
    static constexpr unsigned int CUT[6][4] = {{0, 1, 3, 7}, {0, 3, 2, 7}, {0, 2, 6, 7},
                                               {0, 6, 4, 7}, {0, 4, 5, 7}, {0, 5, 1, 7}};
    const unsigned int line = cells + 1;
    mesh m{dense2D<double>(3, line * line * line), dense2D<unsigned int>(4, 6 * cells * cells * cells)};
    if (m.pos.empty() || m.tetrahedra.empty()) return {};
    for (unsigned int node = 0; node < m.pos.cols(); ++node) {
        m.pos(0, node) = double(node % line) / cells;
        m.pos(1, node) = double(node / line % line) / cells;
        m.pos(2, node) = double(node / line / line) / cells;
    }
    for (unsigned int cube = 0, element = 0; cube < cells * cells * cells; ++cube) {
        const unsigned int lowest =
            cube % cells + line * (cube / cells % cells) + line * line * (cube / cells / cells);
        for (const auto& corners : CUT) {
            for (unsigned int k = 0; k < 4; ++k) { // bits 0, 1, 2 of a corner lead along x, y, z
                const unsigned int c = corners[k];
                m.tetrahedra(k, element) = lowest + (c & 1) + line * (c >> 1 & 1) + line * line * (c >> 2);
            }
            ++element;
        }
    }
    return m;
}

/// Metrics of the boundary layer: thin across the wall, the thinner the nearer. Nodes outside it have none
/// yet.
dense2D<double> boundary_layer(const dense2D<double>& pos) {
    dense2D<double> metrics(6, pos.cols());
    for (unsigned int node = 0; node < metrics.cols(); ++node) {
        const double height = pos(2, node);
        if (height > LAYER_THICKNESS) continue;
        const double across = SIZE_AT_WALL + 0.4 * height;
        metrics(0, node) = metrics(2, node) = 1 / (SIZE_ALONG_WALL * SIZE_ALONG_WALL);
        metrics(5, node) = 1 / (across * across);
    }
    return metrics;
}

/// Isotropic sizes that grow away from the corner (1, 1, 1).
dense1D<double, 16> sizes_around_corner(const dense2D<double>& pos) {
    dense1D<double, 16> sizes(pos.cols());
    for (unsigned int node = 0; node < sizes.size(); ++node) {
        sizes[node] = SIZE_AT_CORNER + std::hypot(pos(0, node) - 1, pos(1, node) - 1, pos(2, node) - 1);
    }
    return sizes;
}

/// Replaces every metric by its intersection with the one of the other field.
void intersect(dense2D<double>& metrics, const dense2D<double>& others) {
    for (unsigned int node = 0; node < metrics.cols(); ++node) {
        symmetric_fixed<double, 3> M, other;
        std::copy_n(metrics.col_data(node), 6, M.data());
        std::copy_n(others.col_data(node), 6, other.data());
        minimum_metric(M, other, M);
        std::copy_n(M.data(), 6, metrics.col_data(node));
    }
}

/// The smallest size that each metric prescribes in any direction.
dense1D<double, 16> smallest_sizes(const dense2D<double>& metrics) {
    dense1D<double, 16> sizes(metrics.cols());
    for (unsigned int node = 0; node < sizes.size(); ++node) {
        symmetric_fixed<double, 3> M;
        vector_fixed<double, 3> eigenvalues;
        matrix_fixed<double, 3, 3> eigenvectors;
        std::copy_n(metrics.col_data(node), 6, M.data());
        if (eigen_pairs(M, eigenvalues, eigenvectors)) sizes[node] = 1 / std::sqrt(eigenvalues[2]);
    }
    return sizes;
}

/// Prints the shocks of the field, node by node. \return 0, or the code of H_shock
int print_shocks(const char* title, const mesh& m, const dense2D<unsigned int>& edges,
                 const dense2D<double>& metrics) {
    dense1D<double, 16> shocks;
    const int code = H_shock(m.pos, edges, metrics, shocks);
    qv7::misc::histogram histo(0, 1, 10);
    histo.process(shocks);
    if (code == 0) example::print(title, histo);
    return code;
}

/// Prints the ratings of the mesh's edges in the field: 1 is as long as prescribed. \return 0, or the code of
/// edge_qualities
int print_edges(const char* title, const mesh& m, const dense2D<double>& metrics) {
    qv7::misc::histogram histo({0, 0.25, 0.5, 0.71, 1, 1.41, 2, 4, 8, 16});
    const int code =
        edge_qualities(m.pos, m.tetrahedra, ELEM_TETRA4, metrics, histo, dense2D<unsigned int>());
    if (code == 0) example::print(title, histo);
    return code;
}

std::string with_code(const char* step, int code) {
    return std::string(step) + ", code " + std::to_string(code);
}

int metric_field(int argc, char** argv) {
    const long cells = argc > 1 ? std::strtol(argv[1], nullptr, 10) : long(DEFAULT_CELLS);
    if (argc > 3 || cells < 1 || cells > long(MOST_CELLS)) {
        return example::usage("metric_field [CELLS (1 to 200) [OUTPUT without extension]]");
    }
    const std::string output = argc > 2 ? argv[2] : "metric_field";

    example::pending_file mesh_file(output + ".mesh"), scalars(output + ".size.sol"),
        tensors(output + ".sol");
    for (const auto* file : {&mesh_file, &scalars, &tensors}) {
        if (file->why_unwritable()) return example::fail(output, *file->why_unwritable());
    }

    const mesh m = box_of_tetrahedra(static_cast<unsigned int>(cells));
    dense2D<unsigned int> edges;
    int code = m.pos.empty() ? -199 : copy_edges(m.tetrahedra, ELEM_TETRA4, edges);
    if (code != 0) return example::fail("mesh", with_code("cannot be made", code));
    std::printf("%-20s %u\n%-20s %u\n%-20s %u\n", "nodes", m.pos.cols(), "tetrahedra", m.tetrahedra.cols(),
                "edges", edges.cols());

    dense2D<double> metrics = boundary_layer(m.pos);
    std::printf("%-20s %s\n", "layer alone",
                are_valid_metrics(metrics) ? "valid" : "invalid outside the layer");
    dense1D<double, 16> background(m.pos.cols());
    background = BACKGROUND_SIZE;
    code = overwrite_invalid_metrics(metrics, background);
    if (code == 0) code = bound_metrics(metrics, LOWEST_SIZE, HIGHEST_SIZE);
    if (code != 0) return example::fail("field", with_code("cannot be bounded", code));

    dense2D<double> around_corner;
    metrics_iso_to_aniso3d(sizes_around_corner(m.pos), around_corner);
    if (around_corner.cols() != metrics.cols()) return example::fail("field", "out of memory");
    intersect(metrics, around_corner);
    if (!are_valid_metrics(metrics)) return example::fail("field", "is not valid");
    std::printf("%-20s valid\n", "whole field");

    code = print_shocks("shocks", m, edges, metrics);
    if (code == 0) code = print_edges("edges", m, metrics);
    if (code != 0) return example::fail("field", with_code("cannot be rated", code));

    const int changed = bound_metric_gradation(m.pos, edges, metrics, MAX_SHOCK);
    if (changed < 0) return example::fail("field", with_code("cannot be graded", changed));
    std::printf("%-20s %d nodes changed\n", "gradation", changed);
    code = print_shocks("graded shocks", m, edges, metrics);
    if (code == 0) code = print_edges("edges in graded field", m, metrics);
    if (code != 0) return example::fail("graded field", with_code("cannot be rated", code));

    code = medit_output(mesh_file.path(), m.pos, m.tetrahedra, ELEM_TETRA4);
    if (code == 0) code = medit_scalar(scalars.path(), 3, smallest_sizes(metrics));
    if (code == 0) code = medit_tensor(tensors.path(), metrics);
    if (code != 0) return example::fail(output, with_code("cannot be written", code));
    for (auto* file : {&mesh_file, &scalars, &tensors}) {
        if (!file->commit()) return example::fail(output, *file->why_unwritable());
    }
    std::printf("%-20s %s.mesh, %s.size.sol, %s.sol\n", "written", output.c_str(), output.c_str(),
                output.c_str());
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    return example::guarded(metric_field, argc, argv);
}
