#include "ranged_mesh.h"

#include <plexo/io.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::read_and_write(bytes, size, qv7::plexo::FEMAP_input, qv7::plexo::FEMAP_output);
    return 0;
}
