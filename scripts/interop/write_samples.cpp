// Writes a file of two elements for every format and element type into the directory given, and prints a line
// for each: format, file, element type, nodes, elements. Node i lies at (i/2, i*i/4, (i mod 3)/8); the
// elements are the first nodes in order, and those from the second node on.

#include <plexo/plexo.h>

#include <cstdio>
#include <string>

namespace {

using namespace qv7::plexo;

std::string directory;

struct sample {
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
    element_type type;
};

sample sample_of(element_type type) {
    const unsigned int rows = NODES_PER_ELEMENT[type];
    sample s{dense2D<double>(3, rows + 1), dense2D<unsigned int>(rows, 2), type};
    for (unsigned int i = 0; i <= rows; ++i) {
        s.pos(0, i) = i * 0.5;
        s.pos(1, i) = i * i * 0.25;
        s.pos(2, i) = (i % 3) * 0.125;
    }
    for (unsigned int i = 0; i < rows; ++i) {
        s.connectM(i, 0) = i;
        s.connectM(i, 1) = i + 1;
    }
    return s;
}

template <typename Write>
void write(const char* format, const char* extension, const sample& s, Write write_file) {
    const std::string file = directory + "/" + format + "_" + std::to_string(s.type) + extension;
    const int code = write_file(file.c_str());
    if (code == 0)
        std::printf("%s %s %d %u %u\n", format, file.c_str(), int(s.type), s.pos.cols(), s.connectM.cols());
}

int femap(const char* path, const sample& s) {
    dense1D<unsigned int, 16> ranges(2, 0);
    ranges[1] = s.connectM.cols();
    return FEMAP_output(path, s.pos, s.connectM, ranges, dense1D<int, 16>(1, s.type),
                        dense1D<unsigned int, 16>(s.connectM.cols(), 1));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 1;
    directory = argv[1];
    for (int code = ELEM_EDGE2; code < ELEMENT_TYPE_COUNT; ++code) {
        if (NODES_PER_ELEMENT[code] == 0) continue;
        const sample s = sample_of(static_cast<element_type>(code));
        write("medit", ".mesh", s,
              [&](const char* path) { return medit_output(path, s.pos, s.connectM, s.type); });
        write("vtk", ".vtk", s,
              [&](const char* path) { return vtk_output(path, s.pos, s.connectM, s.type); });
        write("ensight", ".geo", s,
              [&](const char* path) { return ensight_output(path, s.pos, s.connectM, s.type); });
        write("nastran", ".bdf", s,
              [&](const char* path) { return NASTRAN_output(path, s.pos, s.connectM, s.type); });
        write("femap", ".neu", s, [&](const char* path) { return femap(path, s); });
        if (s.type == ELEM_TRIA3 || s.type == ELEM_QUAD4) {
            write("obj", ".obj", s,
                  [&](const char* path) { return WavefrontOBJ_output(path, s.pos, s.connectM, s.type); });
        }
        if (s.type == ELEM_TRIA3) {
            write("stl", "_ascii.stl", s,
                  [&](const char* path) { return STL_output(path, s.pos, s.connectM, true); });
            write("stl", "_binary.stl", s,
                  [&](const char* path) { return STL_output(path, s.pos, s.connectM, false); });
        }
    }
    return 0;
}
