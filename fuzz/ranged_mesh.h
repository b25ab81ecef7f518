#pragma once

/// \file
/// What must hold for the meshes that the NASTRAN and FEMAP readers make of any bytes whatever.

#include "fuzz_file.h"

#include <plexo/containers.h>

namespace fuzz {

using namespace qv7::plexo;

using ranged_reader = int (*)(const char*, dense2D<double>&, dense2D<unsigned int>&,
                              dense1D<unsigned int, 16>&, dense1D<int, 16>&, dense1D<unsigned int, 16>&);
using ranged_writer = int (*)(const char*, const dense2D<double>&, const dense2D<unsigned int>&,
                              const dense1D<unsigned int, 16>&, const dense1D<int, 16>&,
                              const dense1D<unsigned int, 16>&);

/// Reads the bytes and writes what came out; a mesh that was read can always be written.
inline void read_and_write(const std::uint8_t* bytes, std::size_t size, ranged_reader read,
                           ranged_writer write) {
    const input_file file(bytes, size);
    dense2D<double> pos;
    dense2D<unsigned int> connectM;
    dense1D<unsigned int, 16> ranges, properties;
    dense1D<int, 16> types;
    const int count = read(file.path(), pos, connectM, ranges, types, properties);
    if (count < 0) {
        require(count == -1 || count == -199);
        require(pos.empty() && connectM.empty() && ranges.empty() && types.empty() && properties.empty());
        return;
    }
    const auto elements = static_cast<unsigned int>(count);
    require(connectM.cols() == elements && properties.size() == elements);
    require(ranges.size() == types.size() + 1 && ranges[0] == 0 && ranges[types.size()] == elements);
    for (unsigned int k = 0; k < types.size(); ++k) {
        require(ranges[k] < ranges[k + 1]);
        require(types[k] > 0 && types[k] < ELEMENT_TYPE_COUNT);
        require(NODES_PER_ELEMENT[types[k]] <= connectM.rows());
    }
    if (pos.empty() || pos.cols() > 10000) return; // sparse IDs: nothing new to write
    require(write("/dev/null", pos, connectM, ranges, types, properties) == 0);
}

} // namespace fuzz
