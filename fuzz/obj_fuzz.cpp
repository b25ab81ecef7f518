#include "fuzz_file.h"

#include <plexo/ids.h>
#include <plexo/io.h>

using namespace qv7::plexo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const fuzz::input_file file(bytes, size);
    dense2D<double> pos, normals, texture;
    dense2D<unsigned int> triangles, quads;
    const int status = WavefrontOBJ_input(file.path(), pos, normals, texture, triangles, quads);
    fuzz::require(status == 0 || status == -1 || status == -199);
    if (status != 0) {
        fuzz::require(pos.empty() && normals.empty() && texture.empty() && triangles.empty() &&
                      quads.empty());
        return 0;
    }
    fuzz::require(check_IDs(triangles, ELEM_TRIA3, pos.cols()) && check_IDs(quads, ELEM_QUAD4, pos.cols()));
    if (!pos.empty()) fuzz::require(WavefrontOBJ_output("/dev/null", pos, {}, {}, triangles, quads) == 0);
    return 0;
}
