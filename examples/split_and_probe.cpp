// Reads an STL file of several solids, splits it into the parts that hang together, writes each part as a
// block of one MEDIT mesh, tells how much of each lies on the positive side of a plane, and answers for every
// point on standard input which node is closest and which nodes are near.

#include "example_support.h"
#include "mesh_files.h"

#include <plexo/plexo.h>

#include <charconv>
#include <cmath>
#include <iostream>
#include <limits>
#include <vector>

namespace {

using namespace qv7::plexo;
using vector3 = vector_fixed<double, 3>;

constexpr const char* SYNOPSIS =
    "split_and_probe FILE.stl OUTPUT.mesh PX PY PZ NX NY NZ < points\n"
    "  P and N: a point and the normal of a plane; points: one \"x y z\" per line";

struct plane {
    vector3 point, normal;
};

/// The triangles of a surface in parts: part p is columns offsets[p] … offsets[p + 1] - 1.
struct split_surface {
    dense2D<double> pos;
    dense2D<unsigned int> triangles;
    dense1D<unsigned int, 16> offsets;

    unsigned int parts() const { return offsets.size() - 1; }
    dense2D<unsigned int> part(unsigned int p) {
        return triangles.sub_matrix(0, offsets[p], 3, offsets[p + 1] - offsets[p]);
    }
};

/// Reads exactly the numbers that the text holds, separated by blanks; false when they are not `count`.
bool read_numbers(std::string_view text, double* numbers, unsigned int count) {
    constexpr std::string_view BLANK = " \t\r";
    for (unsigned int k = 0; k < count; ++k) {
        const std::size_t begin = text.find_first_not_of(BLANK);
        if (begin == std::string_view::npos) return false;
        text.remove_prefix(begin);
        const std::string_view word = text.substr(0, text.find_first_of(BLANK));
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), numbers[k]);
        if (error != std::errc() || end != word.data() + word.size()) return false;
        text.remove_prefix(word.size());
    }
    return text.find_first_not_of(BLANK) == std::string_view::npos;
}

int read_and_split(const char* path, split_surface& s) {
    const int read = STL_input(path, s.pos, s.triangles);
    if (read < 0) return example::fail(path, example::why_STL_not_read(read));
    dense2D<unsigned int> neighbors;
    int code = get_neighbors(s.triangles, ELEM_TRIA3, false, neighbors);
    if (code == 0) code = get_subdomains(s.triangles, neighbors, s.offsets);
    return code == 0 ? EXIT_SUCCESS : example::fail(path, "cannot be split, code " + std::to_string(code));
}

/// Each part is a matrix of its own and so has a reference number of its own in the file.
int write_parts(const example::fs::path& path, example::pending_file& file, split_surface& s) {
    std::vector<dense2D<unsigned int>> parts;
    for (unsigned int p = 0; p < s.parts(); ++p) parts.push_back(s.part(p));
    const dense1D<int, 16> types(s.parts(), ELEM_TRIA3);
    const int code = medit_output(file.path(), s.pos, parts.data(), parts.data() + parts.size(), types);
    auto reason = example::why_mesh_not_written(file.path(), code);
    if (!reason && !file.commit()) reason = file.why_unwritable();
    return reason ? example::fail(path.c_str(), *reason) : EXIT_SUCCESS;
}

int print_parts(split_surface& s, const plane& cut) {
    std::printf("%u triangles, %u nodes, %u parts\n", s.triangles.cols(), s.pos.cols(), s.parts());
    for (unsigned int p = 0; p < s.parts(); ++p) {
        dense2D<unsigned int> clipped;
        const int code = clip(s.pos, s.part(p), cut.point, cut.normal, clipped);
        if (code == -4) return example::fail("the plane", "its normal has no length");
        if (code != 0) return example::fail("the plane", "cannot clip, code " + std::to_string(code));
        std::printf("part %u: %u triangles, %u on the positive side of the plane\n", p, s.part(p).cols(),
                    clipped.cols());
    }
    return EXIT_SUCCESS;
}

/// A hundredth of the diagonal of the bounding box, within which nodes count as near.
double near_distance(const dense2D<double>& pos) {
    vector3 low, high;
    low = std::numeric_limits<double>::infinity();
    high = -std::numeric_limits<double>::infinity();
    inc_bounding_box(pos, low, high);
    return pos.empty() ? 0 : std::hypot(high[0] - low[0], high[1] - low[1], high[2] - low[2]) / 100;
}

void probe(const node_detector& detector, const dense2D<double>& pos, const vector3& point, double near) {
    const unsigned int closest = detector.find_closest(point);
    if (closest == NO_ID) {
        std::printf("%g %g %g: no node\n", point[0], point[1], point[2]);
        return;
    }
    dense1D<unsigned int, 16> inside;
    detector.find_in_box(vector3{point[0] - near, point[1] - near, point[2] - near},
                         vector3{point[0] + near, point[1] + near, point[2] + near}, inside);
    const double* p = pos.col_data(closest);
    std::printf("%g %g %g: node %u at %g %g %g, distance %g; %u nodes within %g along each axis\n", point[0],
                point[1], point[2], closest, p[0], p[1], p[2],
                std::hypot(p[0] - point[0], p[1] - point[1], p[2] - point[2]), inside.size(), near);
}

/// Answers line after line; a malformed one is reported and passed over.
int probe_lines(std::istream& lines, const dense2D<double>& pos) {
    node_detector detector;
    if (const int code = detector.reinit(pos); code != 0)
        return example::fail("search tree", "code " + std::to_string(code));
    const double near = near_distance(pos);
    unsigned long number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        vector3 point;
        if (read_numbers(line, point.data(), 3))
            probe(detector, pos, point, near);
        else
            example::fail("line " + std::to_string(number), "not three numbers \"x y z\"");
    }
    return EXIT_SUCCESS;
}

int split_and_probe(int argc, char** argv) {
    if (argc != 9) return example::usage(SYNOPSIS);
    const char* const input = argv[1];
    const example::fs::path output = argv[2];
    plane cut;
    for (int k = 0; k < 6; ++k) {
        double& number = k < 3 ? cut.point[unsigned(k)] : cut.normal[unsigned(k - 3)];
        if (!read_numbers(argv[3 + k], &number, 1)) return example::fail(argv[3 + k], "not a number");
    }
    if (const auto reason = example::why_unreadable(input)) return example::fail(input, *reason);
    example::pending_file mesh_file(output);
    if (mesh_file.why_unwritable()) return example::fail(output.c_str(), *mesh_file.why_unwritable());

    split_surface s;
    int status = read_and_split(input, s);
    if (status == EXIT_SUCCESS) status = print_parts(s, cut);
    if (status == EXIT_SUCCESS) status = write_parts(output, mesh_file, s);
    if (status == EXIT_SUCCESS) status = probe_lines(std::cin, s.pos);
    return status;
}

} // namespace

int main(int argc, char** argv) {
    return example::guarded(split_and_probe, argc, argv);
}
