#include <plexo/plexo.h>

#include <cstdio>
#include <cstring>

using namespace qv7::plexo;

// Uses something of each library that an installed package brings: containers, histogram, main library.
int main() {
    dense2D<unsigned int> triangles(3, 2);
    for (unsigned int k = 0; k < 6; ++k) triangles(k % 3, k / 3) = k % 4;

    qv7::misc::histogram ids(0, 4, 4);
    for (unsigned int k = 0; k < 6; ++k) ids.process(triangles(k % 3, k / 3));

    std::printf("version %s, %d nodes, largest %u\n", version(), count_unique_indices(triangles),
                max_ID(triangles));
    const bool right = std::strcmp(version(), "4.3") == 0 && count_unique_indices(triangles) == 4 &&
                       max_ID(triangles) == 3 && ids.count() == 6 && ids.bin(0) == 2;
    return right ? 0 : 1;
}
