// Any bytes as an STL file: STL_input must not crash, and what it accepts must be a valid mesh that is
// written and read again.

#include <plexo/ids.h>
#include <plexo/io.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

using namespace qv7::plexo;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = "/tmp/plexo_stl_fuzz_" + std::to_string(getpid());
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (!file) std::abort();
    std::fwrite(data, 1, size, file);
    std::fclose(file);

    dense2D<double> pos;
    dense2D<unsigned int> connectM;
    const int triangles = STL_input(path.c_str(), pos, connectM);
    if (triangles > 0) {
        if (std::size_t(triangles) != connectM.cols()) std::abort();
        if (!check_IDs(connectM, ELEM_TRIA3, pos.cols())) std::abort();
        for (bool ascii : {true, false}) {
            if (STL_output(path.c_str(), pos, connectM, ascii) != 0) std::abort();
            dense2D<double> pos_again;
            dense2D<unsigned int> connectM_again;
            if (STL_input(path.c_str(), pos_again, connectM_again) < 0) std::abort();
        }
    }
    std::remove(path.c_str());
    return 0;
}
