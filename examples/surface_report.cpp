// Reads a triangulated surface from an STL file, reports on it and rates its triangles and edges, moves its
// centre to the origin with its longest side along x, and writes it as a MEDIT mesh.

#include "example_support.h"
#include "mesh_files.h"
#include "surface_rating.h"

#include <plexo/plexo.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <vector>

namespace {

using namespace qv7::plexo;

struct surface {
    dense2D<double> pos;
    dense2D<unsigned int> triangles;
};

struct box {
    vector_fixed<double, 3> min, max;

    double side(unsigned int k) const { return max[k] - min[k]; }
    double centre(unsigned int k) const { return min[k] / 2 + max[k] / 2; }
    bool finite() const {
        const auto is_finite = [](double x) { return std::isfinite(x); };
        return std::all_of(min.begin(), min.end(), is_finite) &&
               std::all_of(max.begin(), max.end(), is_finite);
    }
};

struct edge_counts {
    unsigned int boundary = 0;     ///< edges of one triangle
    unsigned int non_manifold = 0; ///< edges of three triangles or more
};

struct timing {
    const char* step;
    double seconds;
};

struct report {
    std::uint64_t facets_in_file = 0;
    unsigned int triangles = 0, nodes = 0;
    edge_counts edges;
    box before, after;
    example::surface_rating rating;
    std::vector<timing> timings;
};

/// The facets that an STL file holds before any is dropped: the count in the header of a binary file, which
/// its length confirms, else the facets that the lines of an ASCII file close.
std::uint64_t facets_in_file(const char* path) {
    constexpr std::size_t HEADER = 84, FACET = 50;
    std::ifstream file(path, std::ios::binary);
    unsigned char header[HEADER] = {};
    file.read(reinterpret_cast<char*>(header), HEADER);
    std::uint64_t count = 0;
    for (int k = 3; k >= 0; --k) count = count << 8 | header[80 + k];
    if (file && example::fs::file_size(path) == HEADER + FACET * count) return count;

    std::uint64_t closed = 0;
    file.clear();
    file.seekg(0);
    for (std::string line; std::getline(file, line) && line.find("endsolid") == std::string::npos;) {
        if (line.find("endfacet") != std::string::npos) ++closed;
    }
    return closed;
}

box bounding_box(const dense2D<double>& pos) {
    box b;
    b.min = std::numeric_limits<double>::infinity();
    b.max = -std::numeric_limits<double>::infinity();
    inc_bounding_box(pos, b.min, b.max);
    return b;
}

/// Tells the edges without a neighbour apart: `open_edges` lists an edge once for each triangle at it.
int count_edges(dense2D<unsigned int> open_edges, edge_counts& counts) {
    dense1D<unsigned int, 16> moved;
    if (const int code = sort_elfes(open_edges, moved); code != 0) return code;
    const auto same = [&](unsigned int j, unsigned int k) {
        return std::minmax(open_edges(0, j), open_edges(1, j)) ==
               std::minmax(open_edges(0, k), open_edges(1, k));
    };
    for (unsigned int first = 0, next = 0; first < open_edges.cols(); first = next) {
        while (next < open_edges.cols() && same(first, next)) ++next;
        ++(next - first == 1 ? counts.boundary : counts.non_manifold);
    }
    return 0;
}

/// Moves the centre of the box to the origin and turns its longest side into the x direction.
void centre(dense2D<double>& pos, const box& b) {
    translate(pos, vector_fixed<double, 3>{-b.centre(0), -b.centre(1), -b.centre(2)});
    constexpr double QUARTER = 1.5707963267948966; // pi / 2
    const vector_fixed<double, 3> origin{0, 0, 0};
    if (b.side(1) > b.side(0) && b.side(1) >= b.side(2)) {
        rotate(pos, origin, vector_fixed<double, 3>{0, 0, -QUARTER});
    } else if (b.side(2) > b.side(0)) {
        rotate(pos, origin, vector_fixed<double, 3>{0, QUARTER, 0});
    }
}

void print(const box& b, const char* label) {
    std::printf("%-20s", label);
    for (unsigned int k = 0; k < 3; ++k) std::printf(" [%g, %g]", b.min[k], b.max[k]);
    std::printf("\n");
}

void print(const report& r) {
    std::printf("%-20s %llu\n", "facets in file", static_cast<unsigned long long>(r.facets_in_file));
    std::printf("%-20s %llu\n", "facets dropped",
                static_cast<unsigned long long>(r.facets_in_file - r.triangles));
    std::printf("%-20s %u\n", "triangles", r.triangles);
    std::printf("%-20s %u\n", "nodes", r.nodes);
    std::printf("%-20s %u\n", "boundary edges", r.edges.boundary);
    std::printf("%-20s %u\n", "non-manifold edges", r.edges.non_manifold);
    if (r.triangles != 0) {
        print(r.before, "box before");
        print(r.after, "box after");
        example::print(r.rating);
    }
    for (const timing& t : r.timings) std::printf("time, %-14s %.3f ms\n", t.step, 1e3 * t.seconds);
}

int surface_report(int argc, char** argv) {
    if (argc < 2 || argc > 3) return example::usage("surface_report FILE.stl [OUTPUT.mesh]");
    const char* const input = argv[1];
    const example::fs::path output =
        argc == 3 ? argv[2] : example::fs::path(input).filename().replace_extension(".mesh");
    if (const auto reason = example::why_unreadable(input)) return example::fail(input, *reason);
    example::pending_file mesh_file(output);
    if (mesh_file.why_unwritable()) return example::fail(output.c_str(), *mesh_file.why_unwritable());

    report r;
    surface s;
    example::stopwatch clock;
    const auto done = [&](const char* step) { r.timings.push_back({step, clock.lap()}); };

    const int read = STL_input(input, s.pos, s.triangles);
    if (read < 0) return example::fail(input, example::why_STL_not_read(read));
    done("read");
    r.triangles = s.triangles.cols();
    r.nodes = s.pos.cols();

    dense2D<unsigned int> neighbors, open_edges;
    int code = get_neighbors(s.triangles, ELEM_TRIA3, false, neighbors);
    done("neighbours");
    if (code == 0) code = get_mesh_boundaries(s.triangles, neighbors, ELEM_TRIA3, open_edges);
    if (code == 0) code = count_edges(open_edges, r.edges);
    if (code != 0) return example::fail(input, "no neighbours, code " + std::to_string(code));
    done("boundary edges");

    code = example::rate(s.pos, s.triangles, r.rating);
    if (code != 0) return example::fail(input, "cannot be rated, code " + std::to_string(code));
    done("ratings");

    r.before = bounding_box(s.pos);
    if (r.triangles != 0 && !r.before.finite()) return example::fail(input, "has coordinates without bounds");
    if (r.triangles != 0) centre(s.pos, r.before);
    r.after = bounding_box(s.pos);
    done("centre");

    auto reason = example::why_mesh_not_written(
        mesh_file.path(), medit_output(mesh_file.path(), s.pos, s.triangles, ELEM_TRIA3));
    if (!reason && !mesh_file.commit()) reason = mesh_file.why_unwritable();
    if (reason) return example::fail(output.c_str(), *reason);
    done("write");

    r.facets_in_file = std::max<std::uint64_t>(facets_in_file(input), r.triangles);
    print(r);
    std::printf("%-20s %s\n", "written", output.c_str());
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    return example::guarded(surface_report, argc, argv);
}
