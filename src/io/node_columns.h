#pragma once

#include <plexo/containers.h>

#include <cstdint>

namespace qv7::plexo::io {

/// The coordinates of a file whose node IDs are columns, in whatever order the nodes come. Columns that no
/// node names are zero.
///
/// IDs may be as sparse as the formats let them, eight digits, whatever the size of the file: coordinates
/// that lie far apart are kept aside, and the columns between them are never touched. Larger IDs are taken
/// only as far as the file is long enough to number its nodes without gaps. So memory in use stays in
/// proportion to the file, and the address space within 2.4 GB or that proportion.
class node_columns {
public:
    explicit node_columns(std::uint64_t file_size) noexcept;

    /// Sets x, y, z of a node; the last call for an ID counts. False when the ID is beyond the bound or
    /// memory runs out.
    bool set(std::uint64_t ID, const double* xyz) noexcept;

    /// Hands over the 3-row matrix of all columns up to the largest ID. False when memory runs out.
    bool move_to(dense2D<double>& pos) noexcept;

private:
    std::uint64_t near_limit_; ///< IDs below it go straight to their column
    std::uint64_t limit_;      ///< IDs must be below it
    std::uint64_t cols_ = 0;   ///< largest ID plus one
    unsigned int near_room_ = 0;
    dense2D<double> near_;
    dense1D<unsigned int, 16> far_IDs_;
    dense2D<double> far_;
};

} // namespace qv7::plexo::io
